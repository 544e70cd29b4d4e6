"""batch.py PROGRAM: a million samples from Python take at most 1.3 times the batch of PROGRAM.

Both are timed in turn, and the least counts: on a busy machine only that says something.
"""
import subprocess
import sys
import time

import numpy as np

import core

curve = core.Parameter([(i, i % 7, core.Interpolation.HERMITE) for i in range(1000)])
times = 0.001 * np.arange(1_000_000)
least, least_of_batch = float("inf"), float("inf")
for _ in range(20):
    nanoseconds, last = subprocess.check_output(sys.argv[1], text=True).split()
    least_of_batch = min(least_of_batch, float(nanoseconds))
    for _ in range(10):
        start = time.perf_counter_ns()
        values = curve.sample(times)
        least = min(least, (time.perf_counter_ns() - start) / len(times))
    assert values[-1] == float(last)
    if least <= 1.3 * least_of_batch:
        break
print(f"{least:.2f} ns a sample, {least_of_batch:.2f} ns in C++: {least / least_of_batch:.2f}")
sys.exit(least > 1.3 * least_of_batch)
