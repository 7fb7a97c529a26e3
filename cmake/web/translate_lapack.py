"""Translates the reference LAPACK's routines that are named, and all that these call, from Fortran to C.

Usage: translate_lapack.py SOURCES OUTPUT PROVIDED.c ROUTINE...
    SOURCES   the unpacked sources of the reference LAPACK
    OUTPUT    a folder: one C file per routine, and nothing else
    PROVIDED  C file with the routines that f2c cannot read; those are not translated
"""

import itertools
import pathlib
import re
import subprocess
import sys

sources, output, provided = map(pathlib.Path, sys.argv[1:4])
FOLDERS = ("SRC", "BLAS/SRC", "INSTALL")


def fortran_77(text):
    """Without what a later standard has brought: the word RECURSIVE (f2c -a keeps nothing between calls) and EXIT."""
    text = re.sub(r"^( +)RECURSIVE ", r"\1", text, flags=re.MULTILINE)
    labels = itertools.count(9001)
    leave = None
    lines = []
    for line in text.splitlines():
        if re.search(r"\) EXIT$", line):
            leave = next(labels)
            line = line.replace("EXIT", f"GO TO {leave}")
        lines.append(line)
        if leave and re.fullmatch(r" +END DO", line):
            lines.append(f" {leave} CONTINUE")
            leave = None
    return "\n".join(lines) + "\n"


def to_c(name):
    path = next((path for folder in FOLDERS if (path := sources / folder / f"{name}.f").exists()), None)
    if path is None:
        sys.exit(f"translate_lapack: no source of {name} in {sources}")
    run = subprocess.run(["f2c", "-a", "-A"], input=fortran_77(path.read_text(errors="replace")), capture_output=True,
                         text=True, check=False)
    if run.returncode != 0:
        sys.exit(f"translate_lapack: f2c refuses {path}:\n{run.stderr}")
    # Callers know subroutines as functions without a result; WebAssembly wants both sides to agree.
    code = run.stdout.replace("/* Subroutine */ int", "/* Subroutine */ void")
    return re.sub(r"\breturn 0;", "return;", code)


done = set(re.findall(r"\b([a-z0-9]+)_\([^;{]*\) *\{", provided.read_text()))
wanted = sys.argv[4:]
output.mkdir(parents=True, exist_ok=True)
kept = set()
while wanted:
    routine = wanted.pop()
    if routine in done:
        continue
    done.add(routine)
    translated = to_c(routine)
    path = output / f"{routine}.c"
    if not path.exists() or path.read_text() != translated:  # what is the same need not be compiled again
        path.write_text(translated)
    kept.add(path)
    wanted += re.findall(r"\b([a-z][a-z0-9]*)_\(", translated)
for path in set(output.iterdir()) - kept:
    path.unlink()
