# Writes the scipy.ndimage references of grid_filter_test.cpp and
# kernel_factory_test.cpp; run in this directory with numpy and scipy.
import numpy as np
from scipy import ndimage

rng = np.random.default_rng(19)
MODES = ["nearest", "constant", "wrap", "reflect", "mirror"]
text = lambda arrays: " ".join(str(int(v)) for a in arrays for v in np.ravel(a))
ints = lambda shape, bound: rng.integers(-bound, bound + 1, size=shape).astype(float)
lines = []  # kind w h d kw kh kd, grid [z, y, x], kernel or rows x, y, z, one output per mode
for (w, h, d), (kw, kh, kd) in [((4, 1, 1), (13, 1, 1)), ((1, 1, 1), (5, 1, 1)),
                                ((3, 2, 1), (7, 5, 1)), ((3, 2, 2), (5, 5, 5)),
                                ((2, 3, 1), (3, 7, 3)), ((3, 3, 3), (3, 3, 3)),
                                # widths for the 64-, 32- and 8-wide blocks, the
                                # overlapping last block and the scalar tail
                                ((45, 6, 1), (5, 5, 1)), ((70, 1, 1), (1, 7, 1)),
                                ((37, 4, 3), (3, 5, 7)), ((83, 3, 1), (17, 3, 1)),
                                ((20, 3, 2), (3, 3, 1)), ((3, 2, 1), (9, 3, 1)),
                                # one inner column between two end blocks
                                ((17, 2, 1), (17, 3, 1))]:
    grid, kernel = ints((d, h, w), 9), ints((kd, kh, kw), 4)
    kernel = grid if (w, h, d) == (kw, kh, kd) else kernel  # the grid as its own kernel
    outs = [ndimage.correlate(grid, kernel, mode=m) for m in MODES]
    lines.append(f"F {w} {h} {d} {kw} {kh} {kd} " + text([grid, kernel] + outs))
# a line of 26 cells, a few short of a 32-wide block
for (w, h, d), taps in [((3, 2, 1), (7, 5, 1)), ((3, 2, 2), (5, 3, 7)), ((26, 2, 1), (5, 3, 1))]:
    grid, rows = ints((d, h, w), 9), [ints(t, 4) if t > 1 else np.ones(1) for t in taps]
    outs = []
    for m in MODES:
        outs.append(grid)
        for axis, row in enumerate(reversed(rows)):  # z, then y, then x
            outs[-1] = ndimage.correlate1d(outs[-1], row, axis=axis, mode=m)
    lines.append(f"S {w} {h} {d} {' '.join(map(str, taps))} " + text([grid] + rows + outs))
open("grid_filter_scipy.txt", "w").write("\n".join(lines) + "\n")

with open("gauss_rows_scipy.txt", "w") as f:  # sigma truncate weights: the impulse response
    for sigma, truncate in [(0.5, 4.0), (1.0, 4.0), (2.5, 4.0), (7.0, 4.0), (2.5, 1.5)]:
        impulse = np.zeros(2 * int(truncate * sigma + 0.5) + 1)
        impulse[len(impulse) // 2] = 1.0
        row = ndimage.gaussian_filter1d(impulse, sigma, truncate=truncate, mode="constant")
        f.write(f"{sigma} {truncate} " + " ".join(f"{v:.17g}" for v in row) + "\n")
