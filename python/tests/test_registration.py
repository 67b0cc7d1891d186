"""align and gpa against scipy's Rotation.align_vectors, a numpy Umeyama
solution, and the tool.

The float library sees unit-size conditioned data, so rotations and
relative residuals agree with double references to about 1e-6.
"""
import numpy as np
import pytest
from scipy.spatial.transform import Rotation

import komath

TOL = 2e-6


def similarity(target, source, scale, reflect=False):
    """Least-squares rotation (row convention), scale and translation: Umeyama."""
    mt, ms = target.mean(0), source.mean(0)
    t, s = target - mt, source - ms
    u, sv, vt = np.linalg.svd(s.T @ t)
    d = np.ones(len(sv))
    if not reflect and np.linalg.det(u @ vt) < 0:
        d[-1] = -1
    rotation = u @ np.diag(d) @ vt
    c = (sv * d).sum() / (s**2).sum() if scale else 1.0
    return rotation, c, mt - c * ms @ rotation


def moved(points, rotation, scale, translation):
    return scale * points @ rotation + translation


def rms(a, b):
    return float(np.sqrt(np.mean(np.sum((a - b) ** 2, axis=1))))


def test_align_matches_scipy_and_umeyama():
    rng = np.random.default_rng(10)
    source = rng.normal(size=(50, 3))
    truth = Rotation.random(random_state=11)
    target = 1.7 * truth.apply(source) + [3, -2, 5] + rng.normal(0, 0.01, (50, 3))
    # scipy: centred target ~ R @ centred source as columns, so rows use R.T.
    scipy_rotation, _ = Rotation.align_vectors(target - target.mean(0), source - source.mean(0))
    r = komath.align(target, source)
    np.testing.assert_allclose(r.rotation, scipy_rotation.as_matrix().T, atol=TOL)
    assert r.scale == 1
    for scale in (True, "ratio"):
        rotation, c, translation = similarity(target, source, True)
        if scale == "ratio":
            c = np.sqrt(((target - target.mean(0)) ** 2).sum() / ((source - source.mean(0)) ** 2).sum())
            translation = target.mean(0) - c * source.mean(0) @ rotation
        r = komath.align(target, source, scale=scale)
        np.testing.assert_allclose(r.rotation, rotation, atol=TOL)
        assert r.scale == pytest.approx(c, rel=TOL)
        np.testing.assert_allclose(r.translation, translation, atol=TOL * 10)
        # matrix is the same motion for row vectors (x, y, z, 1).
        np.testing.assert_allclose(np.c_[source, np.ones(50)] @ r.matrix,
                                   np.c_[moved(source, r.rotation, r.scale, r.translation),
                                         np.ones(50)], atol=1e-12 * 10)
        assert r.rms_before == pytest.approx(rms(target, source), rel=1e-12)
        assert r.rms_after == pytest.approx(
            rms(target, moved(source, r.rotation, r.scale, r.translation)), rel=1e-9)
    t = komath.align(target, source, translation_only=True)
    np.testing.assert_array_equal(t.rotation, np.eye(3))
    np.testing.assert_allclose(t.translation, target.mean(0) - source.mean(0), atol=1e-12)


def test_planar_input_is_not_reflected_unless_asked():
    rng = np.random.default_rng(12)
    target = rng.normal(size=(30, 2))
    mirrored = target * [-1, 1] @ np.array([[0.6, 0.8], [-0.8, 0.6]]) + [4, 1]
    r = komath.align(target, mirrored)
    assert r.rotation.shape == (2, 2) and r.translation.shape == (2,)
    rotation, _, translation = similarity(target, mirrored, False)
    np.testing.assert_allclose(r.rotation, rotation, atol=TOL)
    assert np.linalg.det(r.rotation) == pytest.approx(1, abs=TOL)
    assert r.rms_after > 0.5
    f = komath.align(target, mirrored, allow_reflection=True)
    assert np.linalg.det(f.rotation) == pytest.approx(-1, abs=TOL)
    assert f.rms_after < 1e-6 * f.rms_before
    # 2-D points are the plane z = 0 of the 4 x 4 matrix.
    np.testing.assert_allclose(r.matrix[:2, :2], r.scale * r.rotation)
    np.testing.assert_allclose(r.matrix[3, :2], r.translation)


def test_offsets_and_units_keep_their_digits():
    rng = np.random.default_rng(13)
    source = rng.normal(size=(40, 3))
    target = Rotation.random(random_state=14).apply(source) + rng.normal(0, 0.05, (40, 3))
    base = komath.align(target, source, scale=True)
    for shift, unit in ((1e7, 1.0), (0.0, 1e-15), (0.0, 1e18), (1e7, 1e-3)):
        r = komath.align(unit * target + shift, unit * source + shift, scale=True)
        np.testing.assert_allclose(r.rotation, base.rotation, atol=TOL)
        assert r.scale == pytest.approx(base.scale, rel=TOL)
        assert r.rms_after / unit == pytest.approx(base.rms_after, rel=TOL)


def check_gpa(shapes, g, method):
    k, m, d = shapes.shape
    assert g.mean.shape == (m, d) and g.aligned.shape == (k, m, d)
    assert g.rotations.shape == (k, d, d) and g.scales.shape == (k,)
    assert g.translations.shape == (k, d) and g.rounds >= 1
    # aligned_i = s_i shape_i R_i + t_i, with proper rotations.
    np.testing.assert_allclose(
        g.aligned, g.scales[:, None, None] * shapes @ g.rotations + g.translations[:, None, :],
        atol=1e-9 * np.abs(g.aligned).max())
    np.testing.assert_allclose(np.linalg.det(g.rotations), 1, atol=TOL)
    if method == "rigid":
        np.testing.assert_array_equal(g.scales, 1)
    for shape, aligned in zip(shapes, g.aligned):
        # Each aligned shape is the Procrustes fit of its shape onto the mean
        # (least-squares scale for "full"; rigid fit up to scale otherwise).
        rotation, c, translation = similarity(g.mean, shape, method == "full")
        if method != "full":
            c = np.sqrt(((aligned - aligned.mean(0)) ** 2).sum() / ((shape - shape.mean(0)) ** 2).sum())
            translation = g.mean.mean(0) - c * shape.mean(0) @ rotation
        np.testing.assert_allclose(aligned, moved(shape, rotation, c, translation),
                                   atol=1e-4 * np.abs(g.mean).max())


def noisy_copies(k, m, d, seed):
    rng = np.random.default_rng(seed)
    base = rng.normal(size=(m, d))
    shapes = []
    for i in range(k):
        rotation = Rotation.random(random_state=seed + i).as_matrix()[:d, :d]
        if d == 2:
            a = rng.uniform(0, 2 * np.pi)
            rotation = np.array([[np.cos(a), np.sin(a)], [-np.sin(a), np.cos(a)]])
        shapes.append(rng.uniform(0.5, 2) * (base + rng.normal(0, 0.05, (m, d))) @ rotation
                      + rng.normal(0, 10, d))
    return np.array(shapes)


def test_gpa_estimators_in_2d_and_3d():
    for d in (2, 3):
        shapes = noisy_copies(6, 12, d, 20 + d)
        for method in ("full", "partial", "rigid"):
            check_gpa(shapes, komath.gpa(shapes, method=method), method)


def test_same_numbers_as_the_tool(tool):
    rng = np.random.default_rng(15)
    target = rng.normal(size=(8, 3)) * 1e3 + 1e6
    source = target[:, ::-1] + rng.normal(0, 1, (8, 3))
    for options, kwargs in (([], {}), (["--scale"], {"scale": True}),
                            (["--scale=ratio"], {"scale": "ratio"}),
                            (["--allow-reflection"], {"allow_reflection": True})):
        document = tool("align", *options, inputs=[target, source])
        r = komath.align(target, source, **kwargs)
        assert document["rotation"] == r.rotation.tolist()
        assert document["translation"] == r.translation.tolist()
        assert document["scale"] == r.scale
        assert document["matrix"] == r.matrix.tolist()
    shapes = noisy_copies(4, 7, 2, 30)
    for options, method in (([], "full"), (["--partial"], "partial"), (["--rigid"], "rigid")):
        document = tool("gpa", *options, inputs=[list(shapes)])
        g = komath.gpa(shapes, method=method)
        assert document["mean_shape"] == g.mean.tolist()
        assert document["aligned"] == g.aligned.tolist()


def test_bad_arguments_raise_value_error():
    p = np.random.default_rng(16).normal(size=(5, 3))
    cases = [
        (lambda: komath.align(p[:, :1], p[:, :1]), "^target must have shape"),
        (lambda: komath.align(p, p[:4]), "^source must have the shape of target"),
        (lambda: komath.align(p, p[:, :2]), "^source must have the shape of target"),
        (lambda: komath.align(np.where(p > 1, np.inf, p), p), "^target holds a non-finite"),
        (lambda: komath.align(p, p.astype(complex)), "^source must hold real numbers"),
        (lambda: komath.align(p, p, scale="lsq"), "^scale must be False, True or"),
        (lambda: komath.align(p[:2], p[:2]), "^align: "),
        (lambda: komath.align(np.ones((4, 3)), p[:4]), "^align: "),
        (lambda: komath.gpa(p), "^shapes must have shape"),
        (lambda: komath.gpa(np.stack([p, p]), method="procrustes"), "^method must be"),
        (lambda: komath.gpa(np.stack([p, p]), reference=2), "^reference must index"),
        (lambda: komath.gpa(np.stack([p, p]), tolerance=-1e-3), "^tolerance must be finite"),
        (lambda: komath.gpa(np.stack([p, p[::-1] * 0]), method="rigid"), "^gpa: all landmarks"),
    ]
    for call, message in cases:
        with pytest.raises(ValueError, match=message):
            call()
