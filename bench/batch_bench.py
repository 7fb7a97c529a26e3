#!/usr/bin/env python3
"""Wall-clock time of `xemfit batch` on many small relaxation files with one and with more workers, in turns; with --peers
also its processor time over that of the same fits in a loop over the fit layer.

Usage: batch_bench.py XEMFIT [--specimens 2000] [--repeats 3] [--jobs 2] [--recipe "prony fit --terms 2 {specimen}.csv"]
                      [--peers PEERS]
"""

import argparse
import math
import pathlib
import random
import resource
import subprocess
import tempfile
import time

TIMES = [10 ** (-2 + 0.25 * i) for i in range(25)]


def write_specimens(folder, count):
    """Two-term Prony series with the scatter of specimens and of readings."""
    generator = random.Random(1944)
    for number in range(1, count + 1):
        g1, g2 = (generator.gauss(mean, 0.02) for mean in (0.3, 0.25))
        tau1, tau2 = (generator.lognormvariate(math.log(mean), 0.1) for mean in (0.3, 60.0))
        with open(folder / f"S{number}.csv", "w") as file:
            file.write("time_s,g\n")
            for t in TIMES:
                g = 1 - g1 * (1 - math.exp(-t / tau1)) - g2 * (1 - math.exp(-t / tau2))
                file.write(f"{t:.6g},{g + generator.gauss(0, 0.002):.6f}\n")


def processor_seconds():
    """Of all programs that were started and have ended."""
    usage = resource.getrusage(resource.RUSAGE_CHILDREN)
    return usage.ru_utime + usage.ru_stime


def run(tool, folder, jobs):
    """Wall-clock and processor seconds of one batch from scratch, and its summary."""
    before, started = processor_seconds(), time.perf_counter()
    command = [tool, "batch", "recipe.txt", "tests", "--jobs", str(jobs), "--again", "--quiet", "--summary", "-"]
    summary = subprocess.run(command, cwd=folder, stdout=subprocess.PIPE).stdout
    return time.perf_counter() - started, processor_seconds() - before, summary


def wall_of_loops(command, count):
    """Of so many copies of a program at once, which have nothing in common but the machine."""
    started = time.perf_counter()
    for process in [subprocess.Popen(command, stdout=subprocess.DEVNULL) for _ in range(count)]:
        process.wait()
    return time.perf_counter() - started


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("tool", type=lambda path: str(pathlib.Path(path).resolve()))
    parser.add_argument("--specimens", type=int, default=2000)
    parser.add_argument("--repeats", type=int, default=3)
    parser.add_argument("--jobs", type=int, default=2)
    parser.add_argument("--recipe", default="prony fit --terms 2 {specimen}.csv")
    parser.add_argument("--peers", type=lambda path: str(pathlib.Path(path).resolve()), help="two Prony terms only")
    options = parser.parse_args()
    with tempfile.TemporaryDirectory() as name:
        folder = pathlib.Path(name)
        (folder / "tests").mkdir()
        (folder / "recipe.txt").write_text(options.recipe + "\n")
        write_specimens(folder / "tests", options.specimens)
        best = {}
        least = loop = math.inf
        loops = {1: math.inf, options.jobs: math.inf}
        summaries = set()
        files = sorted(str(file) for file in (folder / "tests").glob("S*.csv"))
        for repeat in range(options.repeats):
            for jobs in (1, options.jobs):
                wall, processor, summary = run(options.tool, folder, jobs)
                summaries.add(summary)
                best[jobs] = min(wall, best.get(jobs, wall))
                least = min(least, processor)
                print(f"turn {repeat + 1}: {jobs} worker(s) {wall:.2f} s wall, {processor:.2f} s processor")
            if options.peers:
                answer = subprocess.run([options.peers, "prony", "2", "1", *files], stdout=subprocess.PIPE, check=True)
                loop = min(loop, float(answer.stdout.split()[0]))
                for count in loops:
                    wall = wall_of_loops([options.peers, "prony", "2", "5", *files], count)
                    loops[count] = min(loops[count], wall)
        failed = sum(line.split(b",")[1] not in (b"fitted", b"summary") for line in summary.splitlines()[1:])
        print(f"{options.specimens} specimens, {failed} failed, "
              f"{'one summary' if len(summaries) == 1 else 'DIFFERENT SUMMARIES'}; "
              f"best times: {best[1]:.2f} s and {best[options.jobs]:.2f} s, ratio {best[options.jobs] / best[1]:.2f}")
        if options.peers:
            print(f"processor time per specimen {1e3 * least / options.specimens:.2f} ms, of the fit alone "
                  f"{1e3 * loop:.2f} ms, ratio {least / options.specimens / loop:.2f}")
            print(f"the machine: {options.jobs} loops over the fits at once, over {options.jobs} one after the other: "
                  f"{loops[options.jobs] / loops[1] / options.jobs:.2f}")


if __name__ == "__main__":
    main()
