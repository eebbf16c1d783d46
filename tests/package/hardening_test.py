#!/usr/bin/env python3
"""What the built files show of their hardening: each option that the compiler accepted has left its trace in them.

Status 77: this machine lacks the reader of such files.
"""

import argparse
import re
import shutil
import subprocess
import sys
from pathlib import Path

SKIPPED = 77
PROGRAMS = ["sorvane-hook", "sorvane-doctor", "sorvane-pixels", "sorvane-pixels-extra"]
# Objects of ours: what is linked to them may bring canaries and checked lengths of its own.
HELPER = "CMakeFiles/sorvane_helper.dir/identity/decoder_process.cpp.o"
# A jump out of a library is the one checked call that no compiler can prove away.
JUMPING = "decoder/formats/CMakeFiles/sorvane_common_formats.dir/png/png.cpp.o"
DECODER = "decoder/CMakeFiles/sorvane_decoder_core.dir/pixel_digest.cpp.o"
MARKS = {"-fcf-protection": "x86 feature: IBT, SHSTK", "-mbranch-protection=standard": "AArch64 feature: BTI, PAC"}


def read(file, *words):
    return subprocess.run(["readelf", "--wide", *words, file], capture_output=True, check=True, text=True).stdout


def faults_of_program(program):
    text = read(program, "--file-header", "--program-headers", "--dynamic")
    expected = {
        "is loaded at one address": r"Flags: .*\bPIE\b",
        "binds its symbols late": r"Flags: .*\bNOW\b",
        "has tables that can be written to": r"GNU_RELRO",
        "has a stack that can be executed": r"GNU_STACK +(0x\w+ +){5}RW +",
    }
    faults = [fault for fault, pattern in expected.items() if not re.search(pattern, text)]
    if re.search(r"LOAD +(0x\w+ +){5}RWE", text):
        faults.append("has memory that is written to and executed")
    return faults


def faults_of_object(file, options):
    symbols = read(file, "--syms")
    faults = [f"does not mark its jump targets ({option})" for option, mark in MARKS.items()
              if option in options and mark not in read(file, "--notes")]
    if "-fstack-protector-strong" in options and "__stack_chk_fail" not in symbols:
        faults.append("has no canaries")
    # GCC writes its options down where it writes debug information.
    producer = re.search(r"DW_AT_producer.*GNU.*", read(file, "--debug-dump=info", "--dwarf-depth=1"))
    zeroed = "-ftrivial-auto-var-init=zero"
    if zeroed in options and producer and zeroed not in producer[0]:
        faults.append("leaves variables unset")
    return faults


def faults_of_calls(file, options):
    checked = any(option.startswith("-D_FORTIFY_SOURCE") for option in options)
    return ["calls without checks"] if checked and "__longjmp_chk" not in read(file, "--syms") else []


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--build", type=Path, required=True, help="the build folder")
    parser.add_argument("options", nargs="*", help="the compiler's options; those of the decoder too")
    parameters, options = parser.parse_known_args()
    if shutil.which("readelf") is None:
        print("skipped: readelf is needed")
        return SKIPPED
    options += parameters.options
    of_both = [option for option in options if not option.startswith("-ftrivial")]
    faults = [f"{name} {fault}" for name in PROGRAMS for fault in faults_of_program(parameters.build / name)]
    for name, its in ((HELPER, of_both), (DECODER, options)):
        faults += [f"{name} {fault}" for fault in faults_of_object(parameters.build / name, its)]
    faults += [f"{JUMPING} {fault}" for fault in faults_of_calls(parameters.build / JUMPING, options)]
    print("\n".join(faults))
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main())
