"""Compiles every public header alone, with every standard that hosts may have and warnings as errors: those of the flat
interface with every compiler, those of the fit layer with other compilers than the first by the oldest standard.
Usage: public_headers.py SOURCE_DIR COMPILER..."""

import concurrent.futures
import os
import pathlib
import subprocess
import sys

STANDARDS = {"xem": [11, 17, 20], "xem/fit": [17, 20]}
FLAGS = "-fsyntax-only -Wall -Wextra -Wpedantic -Wconversion -Werror -x c++ -".split()

include = pathlib.Path(sys.argv[1]) / "include"
compilers = sys.argv[2:]


def complaints(compiler, standard, header):
    command = [compiler, f"-std=c++{standard}", f"-I{include}", *FLAGS]
    # Twice, because the second time the guard must hold.
    source = f'#include "{header}"\n' * 2 + "int main() {}\n"
    run = subprocess.run(command, input=source, capture_output=True, text=True)
    return f"{compiler} -std=c++{standard} {header}:\n{run.stderr}" if run.returncode else ""


cases = [(compiler, standard, header.relative_to(include))
         for folder, standards in STANDARDS.items()
         for header in sorted((include / folder).glob("*.h"))
         for standard in standards
         for compiler in (compilers if folder == "xem" or standard == standards[0] else compilers[:1])]
with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
    found = [text for text in pool.map(lambda case: complaints(*case), cases) if text]
print("".join(found) or f"{len(cases)} compilations of public headers without a word from {' and '.join(compilers)}")
sys.exit(1 if found or not cases else 0)
