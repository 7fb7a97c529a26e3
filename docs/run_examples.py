"""Runs the worked examples and puts their output into their pages.

A page is Markdown. In a code block that starts with ```console, every line beginning with "$ " is run by a shell in
the output folder, where `data` leads to the bundled curves and `xemfit` is the tool just built; what it prints follows
the line. A command that fails ends the run.

Usage: run_examples.py PAGES OUTPUT XEMFIT
"""

import os
import pathlib
import subprocess
import sys


def run(command, folder, path):
    done = subprocess.run(["sh", "-c", command], cwd=folder, env={**os.environ, "PATH": path}, capture_output=True,
                          text=True)
    if done.returncode != 0:
        sys.exit(f"example failed ({done.returncode}): {command}\n{done.stderr}")
    return done.stdout


def fill(page, folder, path):
    lines, in_console = [], False
    for line in page.read_text().splitlines():
        if line.startswith("```"):
            in_console = line == "```console"
        if in_console and not line.startswith(("```", "$ ")):
            continue  # output of an earlier run
        lines.append(line)
        if in_console and line.startswith("$ "):
            lines.extend(run(line[2:], folder, path).rstrip().splitlines())
    (folder / page.name).write_text("\n".join(lines) + "\n")


def main():
    pages, output, tool = pathlib.Path(sys.argv[1]), pathlib.Path(sys.argv[2]), pathlib.Path(sys.argv[3]).resolve()
    output.mkdir(parents=True, exist_ok=True)
    data = output / "data"
    if not data.exists():
        data.symlink_to(pathlib.Path("data").resolve())
    for page in sorted(pages.glob("*.md")):
        fill(page, output, f"{tool.parent}:{os.environ['PATH']}")
        print(f"docs: ran {page.name}")


main()
