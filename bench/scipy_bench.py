#!/usr/bin/python3
"""The fit layer against SciPy's least_squares (bounds, its own differences, a start near the truth) on a Prony series of
three terms and 50 points: processor time, loosest tolerance that reaches the same sum of squares. Ratios above 1 are in
favour of the fit layer.

Usage: scipy_bench.py PEERS
"""

import pathlib
import subprocess
import sys
import tempfile
import time

import numpy
from scipy.optimize import least_squares

TRUTH = numpy.array([0.25, 0.2, 0.15, 0.05, 2.0, 60.0])


def series(parameters, t):
    shares, times = parameters[:3], parameters[3:]
    return 1.0 - (shares * (1.0 - numpy.exp(-t[:, None] / times))).sum(axis=1)


def main():
    t = numpy.geomspace(1e-2, 1e3, 50)
    g = series(TRUTH, t) + numpy.random.default_rng(1944).normal(0.0, 1e-3, t.size)
    with tempfile.TemporaryDirectory() as name:
        file = pathlib.Path(name) / "relaxation.csv"
        file.write_text("time_s,g\n" + "".join(f"{x:.17g},{y:.17g}\n" for x, y in zip(t, g)))
        compare([sys.argv[1], "prony", "3", "100", str(file)], t, g)


def compare(command, t, g):
    def run():
        answer = subprocess.run(command, stdout=subprocess.PIPE, check=True).stdout.split()
        return float(answer[0]), float(answer[1])

    sse = run()[1]

    def solve(tolerance):
        return least_squares(lambda p: series(p, t) - g, 1.3 * TRUTH, bounds=(0.0, numpy.inf),
                             ftol=tolerance, xtol=tolerance, gtol=tolerance)

    reached = [10.0**-k for k in range(1, 16) if 2.0 * solve(10.0**-k).cost <= sse * (1.0 + 1e-6)]
    if not reached:
        sys.exit("scipy_bench: SciPy does not reach the sum of squares of the fit layer")

    def seconds(tolerance):
        begin = time.process_time()
        solve(tolerance)
        return time.process_time() - begin

    # In turns, as the speed of a machine may change from one second to the next.
    turns = [(run()[0], min(seconds(reached[0]) for _ in range(5)), min(seconds(1e-8) for _ in range(5)))
             for _ in range(10)]
    own, loosest, default = (min(column) for column in zip(*turns))
    print(f"fit layer, Prony, 3 terms, 50 points         {1e3 * own:10.4g} ms | SciPy {loosest / own:.2f} "
          f"(tolerance {reached[0]:.0e}), {default / own:.2f} (its own, 1e-08)")


if __name__ == "__main__":
    main()
