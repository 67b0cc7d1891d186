#!/usr/bin/python3
"""Times komath against its Python peers; prints each pair and the ratio.

    PYTHONPATH=build-release/python python/bench/python_bench.py [--repeat 3]

- komath.align on 1e6 point pairs against scipy's Rotation.align_vectors
  (given the centred points, as it finds a rotation only);
- komath.gpa on 1000 shapes of 100 landmarks (3-D) against a batched numpy
  full Procrustes analysis (the same estimator, every round one batched SVD);
- komath.correlate_separable against scipy.ndimage.correlate1d applied
  along each axis, on a 3-D and a 2-D float32 grid.

Every figure is the best of --repeat runs (the machine may be shared: the
ratios within one run are what to compare). A ratio above 1 means komath is
faster.
"""
import argparse
import time

import numpy as np
from scipy import ndimage
from scipy.spatial.transform import Rotation

import komath


def best(function, repeat):
    times = []
    for _ in range(repeat):
        start = time.perf_counter()
        function()
        times.append(time.perf_counter() - start)
    return min(times)


def numpy_gpa(shapes, tolerance=1e-6, rounds=100):
    """Full Procrustes analysis in numpy: centre, unit size, then align every
    shape with its least-squares similarity onto the mean until it settles."""
    x = shapes - shapes.mean(axis=1, keepdims=True)
    x /= np.sqrt((x**2).sum(axis=(1, 2), keepdims=True))
    mean = x[0]
    for _ in range(rounds):
        u, s, vt = np.linalg.svd(np.swapaxes(x, 1, 2) @ mean)
        d = np.ones_like(s)
        d[:, -1] = np.sign(np.linalg.det(u @ vt))
        rotations = u * d[:, None, :] @ vt
        scales = (s * d).sum(axis=1) / (x**2).sum(axis=(1, 2))
        aligned = scales[:, None, None] * x @ rotations
        new = aligned.mean(axis=0)
        new /= np.sqrt((new**2).sum())
        moved = np.sqrt(((new - mean) ** 2).sum())
        mean = new
        if moved < tolerance:
            break
    return mean, aligned


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n")[0])
    parser.add_argument("--repeat", type=int, default=3)
    repeat = parser.parse_args().repeat
    rng = np.random.default_rng(1)
    rows = []

    source = rng.normal(size=(1_000_000, 3))
    target = Rotation.random(random_state=2).apply(source) + [1, 2, 3]
    target += rng.normal(0, 0.01, target.shape)

    def scipy_align():
        Rotation.align_vectors(target - target.mean(0), source - source.mean(0))

    rows.append(("align, 1e6 points (3-D)", best(lambda: komath.align(target, source), repeat),
                 "Rotation.align_vectors", best(scipy_align, repeat)))

    base = rng.normal(size=(100, 3))
    shapes = np.array([rng.uniform(0.5, 2) * (base + rng.normal(0, 0.05, base.shape))
                       @ Rotation.random(random_state=10 + i).as_matrix() + rng.normal(0, 5, 3)
                       for i in range(1000)])
    rows.append(("gpa full, 1000 x 100 landmarks", best(lambda: komath.gpa(shapes), repeat),
                 "numpy batched-SVD GPA", best(lambda: numpy_gpa(shapes), repeat)))

    row = np.array([1, 4, 6, 4, 1], np.float32) / 16
    for shape in ((128, 256, 256), (4096, 4096)):
        grid = rng.uniform(size=shape).astype(np.float32)

        def scipy_separable():
            out = grid
            for axis in range(grid.ndim):
                out = ndimage.correlate1d(out, row, axis=axis, mode="nearest")
            return out

        rows.append((f"correlate_separable {'x'.join(map(str, shape))} (5 taps)",
                     best(lambda: komath.correlate_separable(grid, row), repeat),
                     "ndimage.correlate1d per axis", best(scipy_separable, repeat)))

    print(f"{'komath':44} {'seconds':>9}   {'peer':30} {'seconds':>9}  {'peer/komath':>11}")
    for name, seconds, peer, peer_seconds in rows:
        print(f"{name:44} {seconds:9.4f}   {peer:30} {peer_seconds:9.4f}  "
              f"{peer_seconds / seconds:11.2f}")


if __name__ == "__main__":
    main()
