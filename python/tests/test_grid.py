"""correlate and correlate_separable against scipy.ndimage.

The library sums in float, scipy in double: results agree within the float
rounding of the sums, bounded by (terms) * eps32 * sum |kernel * grid|.
"""
import threading
import time

import numpy as np
import pytest
from scipy import ndimage

import komath
from conftest import EPS32

SCIPY_MODE = {"clamp": ("nearest", {}), "zero": ("constant", {"cval": 0.0}),
              "wrap": ("grid-wrap", {}), "reflect": ("reflect", {}), "mirror": ("mirror", {})}


def check(got, expected, terms, bound):
    assert got.dtype == np.float32 and got.shape == expected.shape
    np.testing.assert_allclose(got, expected, rtol=0, atol=2 * terms * EPS32 * bound)


def test_correlate_matches_scipy_in_2d_and_3d():
    rng = np.random.default_rng(7)
    cases = [((13, 17), (3, 5)), ((6, 5), (1, 7)), ((3, 4), (7, 9)),  # kernel beyond the grid
             ((5, 6, 7), (3, 3, 5)), ((2, 3, 4), (5, 3, 7))]
    for shape, kshape in cases:
        grid = rng.uniform(-1, 1, shape).astype(np.float32)
        kernel = rng.uniform(-1, 1, kshape).astype(np.float32)
        for border, (mode, extra) in SCIPY_MODE.items():
            expected = ndimage.correlate(grid.astype(np.float64), kernel.astype(np.float64),
                                         mode=mode, **extra)
            got = komath.correlate(grid, kernel, border)
            check(got, expected, kernel.size, np.abs(kernel).sum())
    # Non-contiguous input is read as numpy sees it.
    grid = rng.uniform(-1, 1, (20, 30)).astype(np.float32)
    kernel = np.ones((3, 3), np.float32)
    check(komath.correlate(grid[::2, ::-3], kernel),
          ndimage.correlate(grid[::2, ::-3].astype(np.float64), kernel, mode="nearest"), 9, 9)


def test_separable_matches_scipy_correlate1d_along_each_axis():
    rng = np.random.default_rng(8)
    for shape, taps in (((31, 19), 5), ((4, 3), 9), ((9, 10, 11), 3), ((3, 2, 4), 7)):
        grid = rng.uniform(-1, 1, shape).astype(np.float32)
        row = rng.uniform(0, 1, taps).astype(np.float32)
        for border, (mode, extra) in SCIPY_MODE.items():
            expected = grid.astype(np.float64)
            for axis in range(grid.ndim):
                expected = ndimage.correlate1d(expected, row.astype(np.float64), axis=axis,
                                               mode=mode, **extra)
            got = komath.correlate_separable(grid, row, border)
            check(got, expected, grid.ndim * taps, row.sum() ** grid.ndim)
    # One row per axis, of different lengths.
    grid = rng.uniform(-1, 1, (6, 7, 8)).astype(np.float32)
    rows = [rng.uniform(0, 1, n).astype(np.float32) for n in (3, 5, 1)]
    expected = grid.astype(np.float64)
    for axis, row in enumerate(rows):
        expected = ndimage.correlate1d(expected, row.astype(np.float64), axis=axis, mode="mirror")
    check(komath.correlate_separable(grid, rows, "mirror"), expected, 9, np.prod([r.sum() for r in rows]))
    # An empty grid has nothing to filter.
    assert komath.correlate_separable(np.zeros((0, 4), np.float32),
                                      np.ones(3, np.float32)).shape == (0, 4)


def test_bad_grids_kernels_and_borders_raise_value_error():
    grid = np.zeros((4, 4), np.float32)
    kernel = np.ones((3, 3), np.float32)
    row = np.ones(3, np.float32)
    cases = [
        (lambda: komath.correlate(grid.astype(np.float64), kernel), "^grid must be a float32"),
        (lambda: komath.correlate(np.zeros(4, np.float32), kernel), "^grid must be two- or three"),
        (lambda: komath.correlate(grid, kernel.astype(int)), "^kernel must be a float32"),
        (lambda: komath.correlate(grid, np.ones((2, 3), np.float32)), "^kernel must be odd"),
        (lambda: komath.correlate(grid, np.ones((3, 3, 3), np.float32)), "^kernel must have as many"),
        (lambda: komath.correlate(grid, kernel, "reflekt"), "^border must be one of"),
        (lambda: komath.correlate_separable(grid, np.ones(4, np.float32)), "^row must be one-dim"),
        (lambda: komath.correlate_separable(grid, kernel), "^row must be one-dim"),
        (lambda: komath.correlate_separable(grid, row, "mirr"), "^border must be one of"),
        (lambda: komath.correlate_separable(grid, [row]), "^row must be one row or a list"),
        (lambda: komath.correlate_separable(grid, (row, row[:2])), "^row must be one-dim"),
    ]
    for call, message in cases:
        with pytest.raises(ValueError, match=message):
            call()


def test_the_gil_is_released_while_filtering():
    grid = np.random.default_rng(9).uniform(size=(48, 256, 256)).astype(np.float32)
    kernel = np.ones((5, 5, 5), np.float32)
    done = threading.Event()
    worker = threading.Thread(target=lambda: (komath.correlate(grid, kernel), done.set()))
    ticks = 0
    worker.start()
    while not done.is_set():
        ticks += 1
        time.sleep(0)
    worker.join()
    # Held, the GIL would let this loop run only before and after the call.
    assert ticks > 100
