"""Checks who includes whom: each folder may lean only on those below it."""

import pathlib
import re
import sys

KERNELS = "kernels/kernels.h"  # the rest is compiled for particular processors
ALLOWED = {
    "kernels": [],
    "solver/linalg": [KERNELS],
    "testdata": ["solver/linalg", KERNELS],
    "testfunctions": ["testdata", "solver/linalg", KERNELS],
    "solver": ["testfunctions/test_function_base.h", "solver/linalg", KERNELS],
    "hyperelastic": ["solver", "testfunctions", "testdata"],
    "viscoelastic": ["hyperelastic", "solver", "testfunctions", "testdata", KERNELS],
    "stability": ["testdata", "solver/linalg", KERNELS],
    "dynamic": ["solver", "testfunctions", "testdata", KERNELS],
    "soil": ["solver", "testfunctions", "testdata", KERNELS],
    "sheetmetal": [],
    "boundary": ["solver", "testdata", "testfunctions", "hyperelastic", "viscoelastic", "stability", "dynamic", "soil",
                 "sheetmetal"],
    "text": [],
    "reading": ["text"],
    "fit": ["solver", "testdata", "testfunctions", "hyperelastic", "viscoelastic", "stability", "dynamic", "soil",
            "sheetmetal", "text", KERNELS],
}
# The rooms of the command-line tool. Files outside of them put the tool together; of those a room knows only what all
# rooms share.
ROOMS = {
    "command": [],
    "input": ["shared_files.h"],
    "output": [],
    "verbs": ["command", "input", "output"],
    "batch": ["command", "input", "output"],
    "platform": ["batch", "shared_files.h"],
}
SHARED_BY_ROOMS = ["failure.h", "numbers.h", "process.h", "text.h", "utf8.h", "text"]
FROM_WEB = "page_assets.h"  # made by web/
PARSER = re.compile(r'^\s*#include\s+[<"]CLI/', re.MULTILINE)
INCLUDE = re.compile(r'^\s*#include\s+"([^"]+)"', re.MULTILINE)
FORTRAN = re.compile(r"\bd(gesvd|sysv|syev|getrf|getri|getrs|gemm|gemv|dot)_\b|\bddot_\b")


def folder_of(path):
    return "solver/linalg" if str(path).startswith("solver/linalg") else path.parts[0]


def fits(included, allowed):
    return any(included == a or included.startswith(a + "/") for a in allowed)


def tool_offences(tool):
    for source in sorted(tool.rglob("*.[hc]*")):
        relative = source.relative_to(tool)
        room = relative.parts[0] if len(relative.parts) > 1 else ""
        text = source.read_text()
        if PARSER.search(text) and str(relative) != "command/parser.cpp":
            yield f"apps/xemfit/{relative}: only command/parser.cpp may include the parser of the command line"
        if not room and relative.with_suffix(".h").name not in SHARED_BY_ROOMS:
            continue
        allowed = [*([room, *ROOMS[room]] if room else []), *SHARED_BY_ROOMS, FROM_WEB]
        for included in INCLUDE.findall(text):
            if not included.startswith("xem/") and not fits(included, allowed):
                yield f"apps/xemfit/{relative}: {room or 'what all rooms share'} may not include {included}"


def offences(root):
    for source in sorted((root / "src").rglob("*.[hc]*")):
        if source.suffix not in (".h", ".cpp"):
            continue
        relative = source.relative_to(root / "src")
        folder = folder_of(relative)
        text = source.read_text()
        for included in INCLUDE.findall(text):
            if included.startswith("xem/"):
                if included.startswith("xem/fit/") and folder not in ("fit", "reading"):
                    yield f"src/{relative}: only src/fit and src/reading may include {included}"
                continue
            own = included.startswith(folder + "/")
            if not own and not fits(included, ALLOWED[folder]):
                yield f"src/{relative}: {folder} may not include {included}"
        if FORTRAN.search(text) and source.name != "lapack.cpp":
            yield f"src/{relative}: names a Fortran symbol"
    for outer in ("apps", "examples", "python"):
        for source in sorted((root / outer).rglob("*.[hc]*")):
            for included in INCLUDE.findall(source.read_text()):
                folder = included.split("/")[0]
                if folder in {f.split("/")[0] for f in ALLOWED} and not (outer == "apps" and folder == "text"):
                    yield f"{source.relative_to(root)}: may include public headers only, not {included}"


    yield from tool_offences(root / "apps/xemfit")


found = list(offences(pathlib.Path(sys.argv[1])))
print("\n".join(found) if found else "every include line keeps to the layers")
sys.exit(1 if found else 0)
