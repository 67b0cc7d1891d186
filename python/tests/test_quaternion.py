"""slerp and the quaternion/matrix conversions against scipy's Rotation and Slerp.

The library computes in float: results agree with scipy to a few float
epsilons, and quaternions only up to sign (q and -q are one rotation).
"""
import numpy as np
import pytest
from scipy.spatial.transform import Rotation, Slerp

import komath
from conftest import EPS32

TOL = 16 * EPS32


def same_rotation(a, b):
    """|<a, b>| = 1 row by row: the same rotation whatever the signs."""
    dots = np.abs(np.sum(np.atleast_2d(a) * np.atleast_2d(b), axis=-1))
    np.testing.assert_allclose(dots, 1, rtol=0, atol=TOL)


def test_slerp_matches_scipy_along_the_shorter_arc():
    rng = np.random.default_rng(1)
    q0 = Rotation.random(40, random_state=2).as_quat()
    q1 = Rotation.random(40, random_state=3).as_quat()
    # Pairs close together take the linear branch (|dot| >= 0.95).
    q1[:10] = (Rotation.from_quat(q0[:10]) * Rotation.from_rotvec(
        rng.normal(size=(10, 3)) * 0.05)).as_quat()
    t = rng.uniform(0, 1, 40)
    expected = np.array([Slerp([0, 1], Rotation.from_quat([a, b]))(s).as_quat()
                         for a, b, s in zip(q0, q1, t)])
    got = komath.slerp(q0, q1, t)
    assert got.shape == (40, 4) and got.dtype == np.float64
    same_rotation(got, expected)
    # -q1 is the same rotation: the shorter arc is taken either way.
    same_rotation(komath.slerp(q0, -q1, t), expected)
    # The ends.
    same_rotation(komath.slerp(q0, q1, 0.0), q0)
    same_rotation(komath.slerp(q0, q1, 1.0), q1)


def test_slerp_broadcasts_one_quaternion_or_time_over_the_rows():
    a, b = Rotation.random(2, random_state=4).as_quat()
    t = np.linspace(0, 1, 5)
    expected = Slerp([0, 1], Rotation.from_quat([a, b]))(t).as_quat()
    assert komath.slerp(a, b, 0.25).shape == (4,)
    same_rotation(komath.slerp(a, b, t), expected)
    same_rotation(komath.slerp(np.tile(a, (5, 1)), b, t), expected)
    same_rotation(komath.slerp(a, np.tile(b, (5, 1)), 0.5), np.tile(expected[2], (5, 1)))
    with pytest.raises(ValueError, match="q1 has 3 rows"):
        komath.slerp(np.tile(a, (5, 1)), np.tile(b, (3, 1)), 0.5)
    with pytest.raises(ValueError, match="t has 4 rows"):
        komath.slerp(np.tile(a, (5, 1)), b, np.zeros(4))
    with pytest.raises(ValueError, match="t must be"):
        komath.slerp(a, b, np.zeros((2, 2)))
    for bad in (np.zeros(3), np.zeros((2, 5)), np.zeros((1, 1, 4)), ["x"] * 4, np.zeros(4, complex)):
        with pytest.raises(ValueError, match="q0"):
            komath.slerp(bad, b, 0.5)


def test_matrices_match_scipy_both_ways():
    r = Rotation.random(50, random_state=5)
    # Rotations of 180 degrees about each axis take the matrix-to-quaternion
    # branches of the largest diagonal element.
    r = Rotation.concatenate([r, Rotation.from_rotvec(np.pi * np.eye(3))])
    q = r.as_quat()
    m = komath.quaternion_to_matrix(q)
    assert m.shape == (53, 3, 3)
    np.testing.assert_allclose(m, r.as_matrix(), rtol=0, atol=TOL)
    # Scaled quaternions still give the rotation; the zero one the identity.
    np.testing.assert_allclose(komath.quaternion_to_matrix(3 * q[0]), r[0].as_matrix(), atol=TOL)
    np.testing.assert_array_equal(komath.quaternion_to_matrix([0, 0, 0, 0]), np.eye(3))
    back = komath.matrix_to_quaternion(r.as_matrix())
    assert back.shape == (53, 4)
    same_rotation(back / np.linalg.norm(back, axis=1, keepdims=True), q)
    # The upper 3 x 3 block of a 4 x 4 matrix is read, the rest ignored.
    m4 = np.full((4, 4), 7.0)
    m4[:3, :3] = r[7].as_matrix()
    same_rotation(komath.matrix_to_quaternion(m4), q[7])
    assert komath.matrix_to_quaternion(m4).shape == (4,)
    # As row vectors times the library's matrix: the inverse rotation.
    v = np.array([1.0, 0, 0])
    np.testing.assert_allclose(v @ komath.quaternion_to_matrix(q[9]), r[9].inv().apply(v),
                               atol=TOL)
    for bad in (np.eye(2), np.zeros((3, 4)), np.zeros((2, 2, 3, 3)), np.zeros(9)):
        with pytest.raises(ValueError, match="^m must have shape"):
            komath.matrix_to_quaternion(bad)
    with pytest.raises(ValueError, match="^q must have shape"):
        komath.quaternion_to_matrix(np.zeros((2, 3)))
