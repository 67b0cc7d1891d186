"""det_sign and det_exact against exact rational elimination (fractions) and the tool."""
from fractions import Fraction

import numpy as np
import pytest

import komath


def exact_det(a):
    """Bareiss elimination over Fractions: exact for the doubles of `a`."""
    m = [[Fraction(float(v)) for v in row] for row in a]
    n, sign, previous = len(m), 1, Fraction(1)
    for k in range(n - 1):
        if m[k][k] == 0:
            swap = next((i for i in range(k + 1, n) if m[i][k] != 0), None)
            if swap is None:
                return Fraction(0)
            m[k], m[swap] = m[swap], m[k]
            sign = -sign
        for i in range(k + 1, n):
            for j in range(k + 1, n):
                m[i][j] = (m[i][j] * m[k][k] - m[i][k] * m[k][j]) / previous
        previous = m[k][k]
    return sign * m[n - 1][n - 1]


def sign(value):
    return (value > 0) - (value < 0)


def matrices():
    rng = np.random.default_rng(3)
    yield np.array([[4503599627370497.0, 4503599627370496.0],
                    [4503599627370496.0, 4503599627370495.0]])  # doubles alone give 0
    yield rng.integers(-9, 10, (6, 6)).astype(float)
    yield rng.normal(size=(12, 12)) * 2.0 ** rng.integers(-40, 40, (12, 12))
    rank2 = rng.integers(-5, 6, (5, 2)) @ rng.integers(-5, 6, (2, 5))
    yield rank2.astype(float)  # singular
    hilbert = 1 / (np.arange(8)[:, None] + np.arange(8) + 1)
    yield hilbert  # condition number ~1e10: the rounded entries decide the sign
    near = np.ones((3, 3))
    near[2, 2] += 2.0**-52
    yield near  # det 2^-52, far below the rounding of a double elimination
    yield np.array([[5e-324, 1.0], [0.0, 2.0**1000]])  # subnormal times huge
    yield np.array([[-3.0]])


def test_exact_values_and_signs():
    for a in matrices():
        expected = exact_det(a)
        got = komath.det_exact(a)
        assert isinstance(got, Fraction) and got == expected
        assert komath.det_sign(a) == sign(expected)
    # Integer arrays and lists are read as doubles.
    assert komath.det_exact([[1, 2], [3, 4]]) == -2
    assert komath.det_exact(np.diag([0.5, 0.25])) == Fraction(1, 8)


def test_same_numbers_as_the_tool(tool):
    for a in matrices():
        document = tool("det", "--exact", inputs=[a])
        exact = document["exact"]
        value = Fraction(int(exact["integer"])) * Fraction(2) ** exact["power_of_two"]
        assert value == komath.det_exact(a)
        assert document["sign"] == komath.det_sign(a)


def test_bad_matrices_raise_value_error():
    message = r"^a must be a non-empty square matrix, not of shape \(4,\)$"
    with pytest.raises(ValueError, match=message):
        komath.det_sign(np.zeros(4))
    with pytest.raises(ValueError, match=r"not of shape \(2, 3\)$"):
        komath.det_exact(np.zeros((2, 3)))
    for bad in (np.zeros((2, 3)), np.zeros(4), np.zeros((0, 0)), [[1, np.nan], [0, 1]],
                [[np.inf]], np.eye(2, dtype=complex), [["1"]]):
        for function in (komath.det_sign, komath.det_exact):
            with pytest.raises(ValueError, match="^a "):
                function(bad)
