"""fit against numpy's Polynomial.fit, smooth against an exact reference, both against the tool."""
import numpy as np
import pytest
from numpy.polynomial import Polynomial

import komath
from conftest import EPS32


def chi_square(coefficients, x, y, sigma):
    return float(np.sum(((y - Polynomial(coefficients)(x)) / sigma) ** 2))


def monthly_series():
    # The shape of a monthly record over 39 years: x is the year itself,
    # where a power basis in x is hopeless in float.
    rng = np.random.default_rng(5)
    x = 1959 + np.arange(468) / 12
    t = x - 1959
    y = 315 + 0.8 * t + 0.012 * t**2 + 3 * np.sin(2 * np.pi * x) + rng.normal(0, 0.3, x.size)
    sigma = rng.uniform(0.2, 0.6, x.size)
    return x, y, sigma


def test_fit_reaches_the_least_squares_minimum_of_numpy():
    x, y, sigma = monthly_series()
    for degree in (1, 2, 6):
        for s in (None, sigma):
            weights = None if s is None else 1 / s
            reference = Polynomial.fit(x, y, degree, w=weights)
            r = komath.fit(x, y, degree, sigma=s)
            # Domain [min, max] mapped to [-1, 1], as numpy's window.
            assert (r.shift, r.scale) == pytest.approx(tuple(
                [(x.max() + x.min()) / 2, (x.max() - x.min()) / 2]), rel=1e-15)
            sig = np.ones_like(x) if s is None else s
            minimum = np.sum(((y - reference(x)) / sig) ** 2)
            scaled = Polynomial(r.scaled_coefficients)((x - r.shift) / r.scale)
            # The float fit of conditioned data reaches the minimum within
            # float rounding, and chi_square describes the returned polynomial;
            # its power-basis form in x evaluates accurately in double only
            # when not flagged (degree 6 at x ~ 2000 cancels ~1e20 terms).
            assert np.sum(((y - scaled) / sig) ** 2) <= minimum * (1 + 64 * EPS32)
            assert r.chi_square == pytest.approx(np.sum(((y - scaled) / sig) ** 2), rel=1e-9)
            assert r.ill_conditioned == (degree == 6)
            if not r.ill_conditioned:
                assert r.chi_square == pytest.approx(chi_square(r.coefficients, x, y, sig),
                                                     rel=1e-9)
            np.testing.assert_allclose(r.scaled_coefficients, reference.coef, rtol=0,
                                       atol=64 * EPS32 * np.abs(y).max())
            assert len(r.coefficients) == degree + 1


def tent_reference(x, y, h, period=None):
    """The tent smoothing integrated exactly in double: each sample's value holds
    between the midpoints with its neighbours; F(u) = (1 - |u|/2) u is the tent's
    antiderivative on [-1, 1]."""
    y = y.reshape(len(x), -1)
    F = lambda u: (1 - np.abs(u) / 2) * u  # noqa: E731
    if period is None:
        cells = [(x, y)]
        inner = (x[1:] + x[:-1]) / 2
        lo, hi = np.r_[-np.inf, inner], np.r_[inner, np.inf]
    else:
        xs = np.r_[x[-1] - period, x, x[0] + period]
        mids = (xs[1:] + xs[:-1]) / 2
        lo, hi = mids[:-1], mids[1:]
        # Copies of the circle one period to each side cover every reach.
        lo = np.concatenate([lo + k * period for k in (-1, 0, 1)])
        hi = np.concatenate([hi + k * period for k in (-1, 0, 1)])
        y = np.concatenate([y] * 3)
    out = []
    for xi in x:
        w = F(np.clip((hi - xi) / h, -1, 1)) - F(np.clip((lo - xi) / h, -1, 1))
        out.append(w @ y)
    return np.array(out)


def test_smooth_matches_the_exact_tent_integral():
    rng = np.random.default_rng(6)
    x = np.sort(rng.uniform(0, 10, 60))
    y = rng.normal(size=(60, 3))
    for h in (0.05, 0.7, 4.0):
        np.testing.assert_allclose(komath.smooth(x, y, h), tent_reference(x, y, h),
                                   rtol=0, atol=256 * EPS32)
        single = komath.smooth(x, y[:, 0], h)
        assert single.shape == (60,)
        np.testing.assert_allclose(single, tent_reference(x, y[:, 0], h)[:, 0], rtol=0,
                                   atol=256 * EPS32)
    # On a circle of length 12 the ends meet.
    np.testing.assert_allclose(komath.smooth(x, y, 1.5, period=12.0),
                               tent_reference(x, y, 1.5, 12.0), rtol=0, atol=256 * EPS32)
    # Repeated positions are allowed (an empty cell between them).
    xr = np.array([0.0, 1.0, 1.0, 2.0, 3.5])
    yr = np.array([1.0, -2.0, 4.0, 0.5, 3.0])
    np.testing.assert_allclose(komath.smooth(xr, yr, 1.2), tent_reference(xr, yr, 1.2)[:, 0],
                               rtol=0, atol=64 * EPS32)
    # The README's ring.
    np.testing.assert_allclose(komath.smooth(np.arange(5.0), [10, 0, 0, 0, 0], 1.5, period=5),
                               [50 / 9, 20 / 9, 0, 0, 20 / 9], rtol=0, atol=16 * EPS32)


def test_same_numbers_as_the_tool(tool):
    x, y, sigma = monthly_series()
    r = komath.fit(x, y, 3, sigma=sigma)
    document = tool("fit", "--degree", "3", inputs=[np.c_[x, y, sigma]])
    assert document["coefficients"] == list(r.coefficients)
    assert document["chi_square"] == r.chi_square
    assert document["scaled"] == {"shift": r.shift, "scale": r.scale,
                                  "coefficients": list(r.scaled_coefficients)}
    xs = np.sort(np.random.default_rng(8).uniform(0, 5, 40))
    ys = np.c_[np.sin(xs), np.cos(xs)]
    document = tool("smooth", "--half-width", "0.75", "--period", "6", inputs=[np.c_[xs, ys]])
    smoothed = komath.smooth(xs, ys, 0.75, period=6.0)
    assert document["positions"] == xs.tolist()
    assert document["values"] == smoothed.tolist()


def test_bad_arguments_raise_value_error():
    x = np.arange(5.0)
    cases = [
        (lambda: komath.fit(x, x[:4], 1), "^y has 4 values where x has 5"),
        (lambda: komath.fit(x.reshape(5, 1), x, 1), "^x must be one-dimensional"),
        (lambda: komath.fit(x, x, -1), "^degree must be >= 0"),
        (lambda: komath.fit(x, [1, 2, np.nan, 4, 5], 1), "^y holds a non-finite"),
        (lambda: komath.fit(x, x, 1, sigma=np.ones(3)), "^sigma has 3 values"),
        (lambda: komath.fit(x, x, 1, sigma=[1, 1, 0, 1, 1]), "^fit: "),
        (lambda: komath.fit(np.ones(5), x, 1), "^fit: "),
        (lambda: komath.smooth(x, np.ones((5, 4)), 1.0), "^y must have shape"),
        (lambda: komath.smooth(x, np.ones(4), 1.0), "^y must have shape"),
        (lambda: komath.smooth(x[::-1], x, 1.0), "^x must not decrease"),
        (lambda: komath.smooth(x, x, 0.0), "^half_width must be positive"),
        (lambda: komath.smooth(x, x, 1.0, period=-1.0), "^period must be positive"),
    ]
    for call, message in cases:
        with pytest.raises(ValueError, match=message):
            call()
