"""The properties of the machine that decide its speed at this work."""

import os
import platform
from pathlib import Path


def processor_words():
    """The processor's own description, a word for each line's key, as far as the system tells."""
    try:
        lines = Path("/proc/cpuinfo").read_text().splitlines()
    except OSError:
        return {}
    pairs = [line.split(":", 1) for line in lines if ":" in line]
    return {key.strip(): value.strip() for key, value in pairs}


def sha_instructions(words):
    features = set((words.get("flags", "") + " " + words.get("Features", "")).split())
    if not features:
        return "unknown"
    return "yes" if features & {"sha_ni", "sha2"} else "no"


def load():
    return "%.2f %.2f %.2f" % os.getloadavg()


def facts():
    words = processor_words()
    return {
        "processor": f"{words.get('model name', platform.processor() or 'unknown')}, {platform.machine()}",
        "cores": os.cpu_count(),
        "SHA instructions": sha_instructions(words),
        "system": f"{platform.system()} {platform.release()}",
        "load": load(),
    }
