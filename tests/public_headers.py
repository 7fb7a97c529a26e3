"""Compiles every public header twice, warnings being errors: alone with the newest standard, whose library includes least by
itself, and all of a folder together with every standard and compiler.
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


def complaints(compiler, standard, headers):
    command = [compiler, f"-std=c++{standard}", f"-I{include}", *FLAGS]
    # Twice, because the second time the guard must hold.
    source = "".join(f'#include "{header}"\n' * 2 for header in headers) + "int main() {}\n"
    run = subprocess.run(command, input=source, capture_output=True, text=True)
    names = " ".join(map(str, headers))
    return f"{compiler} -std=c++{standard} {names}:\n{run.stderr}" if run.returncode else ""


cases = []
for folder, standards in STANDARDS.items():
    headers = [header.relative_to(include) for header in sorted((include / folder).glob("*.h"))]
    assert headers, folder
    cases += [(compilers[-1], standards[-1], [header]) for header in headers]
    cases += [(compiler, standard, headers) for compiler in compilers for standard in standards]
with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
    found = [text for text in pool.map(lambda case: complaints(*case), cases) if text]
print("".join(found) or f"{len(cases)} compilations of public headers without a word from {' and '.join(compilers)}")
sys.exit(1 if found else 0)
