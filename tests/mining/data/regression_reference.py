#!/usr/bin/python3
# The reference for the linear-regression test, computed independently with numpy's
# least squares (Debian's python3-numpy). The data are made exactly as the test makes
# them: a 32-bit linear congruential generator (seed * 134775813 + 1 modulo 2^32,
# reals as seed * 2^-32) from seed 2024, 200 rows of
#   x1 = 10 r1, x2 = 5 r2 - 2, y = 3 + 2 x1 - 0.5 x2 + 0.1 (r3 - 0.5).
# Run: /usr/bin/python3 tests/mining/data/regression_reference.py
import numpy as np

seed = 2024


def rand():
    global seed
    seed = (seed * 134775813 + 1) % 2**32
    return seed * 2.3283064365386963e-10


rows = []
for _ in range(200):
    x1 = 10 * rand()
    x2 = 5 * rand() - 2
    y = 3 + 2 * x1 - 0.5 * x2 + 0.1 * (rand() - 0.5)
    rows.append((x1, x2, y))
data = np.array(rows)
design = np.column_stack([np.ones(len(data)), data[:, 0], data[:, 1]])
coefficients, residuals, rank, _ = np.linalg.lstsq(design, data[:, 2], rcond=None)
tss = ((data[:, 2] - data[:, 2].mean()) ** 2).sum()
print("coefficients", [repr(c) for c in coefficients])
print("r_squared", repr(1 - residuals[0] / tss))
