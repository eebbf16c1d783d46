"""Compares the lower case of every scalar with Python's own, which comes from another reading of the
same tables. Usage: compare_lowercase.py PROGRAM, where PROGRAM prints a line a scalar, "41 61".

Scalars that only one of the two knows are skipped: they were assigned in a later version of
Unicode than the other's.
"""

import subprocess
import sys
import unicodedata

# All assigned scalars of any version that may be met, and far from none at all.
LEAST_COMPARED = 250_000


def scalars(text):
    return "+".join(f"{ord(character):X}" for character in text)


def main(program):
    table = subprocess.run([program], check=True, capture_output=True, text=True).stdout
    compared = changed = 0
    differences = []
    for line in table.splitlines():
        scalar, ours = line.split(" ")
        character = chr(int(scalar, 16))
        if unicodedata.category(character) == "Cn":
            continue
        theirs = scalars(character.lower())
        compared += 1
        changed += theirs != scalar
        if ours != theirs:
            differences.append(f"U+{scalar}: {ours}, Python {theirs}")
    print(f"{compared} compared, {changed} with a lower case, {len(differences)} different")
    print("\n".join(differences[:20]))
    return 0 if not differences and compared >= LEAST_COMPARED and changed > 1000 else 1


if __name__ == "__main__":
    sys.exit(main(sys.argv[1]))
