"""Writes the licences of all that is inside the page.

Usage: licences.py ROOT SOURCES OUTPUT
    ROOT      the project
    SOURCES   what scripts/web has fetched: LAPACK, cminpack, libmd
"""

import pathlib
import re
import sys

root, sources, output = map(pathlib.Path, sys.argv[1:])
DOCUMENTS = pathlib.Path("/usr/share/doc")


def fetched(pattern):
    return next(sources.glob(pattern)).read_text()


def whole(package):
    """A Debian copyright file."""
    return (DOCUMENTS / package / "copyright").read_text()


def paragraphs(package, *beginnings):
    """Of a Debian copyright file: those that begin so, the last where there are several."""
    parts = whole(package).split("\n\n")
    chosen = []
    for beginning in beginnings:
        found = [part for part in parts if re.sub(r"\s+", " ", part).startswith(beginning)]
        if not found:
            sys.exit(f"licences: {package} has no paragraph {beginning}")
        chosen.append(found[-1])
    return "\n\n".join(chosen)


PARTS = {
    "xemfit": (root / "LICENSE").read_text(),
    "LAPACK, in C by f2c": fetched("lapack-*/LICENSE"),
    "f2c.h, its declarations": whole("f2c"),
    "cminpack": fetched("cminpack-*/CopyrightMINPACK.txt"),
    "libmd": fetched("libmd-*/COPYING"),
    "Boost": paragraphs("libboost1.74-dev", "License: BSL-1.0"),
    "CLI11": whole("libcli11-dev"),
    "JSON for Modern C++": whole("nlohmann-json3-dev"),
    "fmt": paragraphs("libfmt-dev", "Files: * ", "License: Expat with embedded exception Permission"),
    "emscripten": paragraphs("emscripten", "Files: * ", "License: Expat Permission"),
    "musl, its C library": pathlib.Path("/usr/share/emscripten/system/lib/libc/musl/COPYRIGHT").read_text(),
    "libc++ and compiler-rt, its C++ library": whole("clang-14"),
}
output.write_text("\n".join(f"{title}\n{'=' * len(title)}\n\n{text.strip()}\n\n" for title, text in PARTS.items()))
