# References of the align, partial gpa and fit tests, made offline with
# numpy (run after make_gpa_references.R, which writes the inputs):
#   /usr/bin/python3 make_numpy_references.py
import numpy as np
from numpy.polynomial import Polynomial


def sections(path):
    out, name = {}, None
    for line in open(path):
        if line.startswith("@"):
            name, *rest = line[1:].split()
            out[name] = [float(v) for v in rest]
        else:
            out[name] += [float(v) for v in line.split()]
    return out


def rotation(a, b, reflect=False):
    """Row-vector R minimising |a - b R| for centred a, b (Umeyama 1991)."""
    u, w, vt = np.linalg.svd(b.T @ a)
    d = np.ones(len(w))
    if not reflect and np.linalg.det(u @ vt) < 0:
        d[-1] = -1
    return (u * d) @ vt, (w * d).sum()


def similarity(a, b, reflect=False):
    """target a = s * b R + t, least-squares s."""
    ca, cb = a.mean(0), b.mean(0)
    r, trace = rotation(a - ca, b - cb, reflect)
    s = trace / ((b - cb) ** 2).sum()
    t = ca - s * cb @ r
    rms = np.sqrt((((s * b @ r + t) - a) ** 2).sum(1).mean())
    return r, s, t, rms


def partial_gpa(x):
    """Every shape at unit size, rotated onto the mean, until it settles."""
    z = [(s - s.mean(0)) / np.linalg.norm(s - s.mean(0)) for s in x]
    mean = z[0]
    for _ in range(10000):
        aligned = [s @ rotation(mean, s)[0] for s in z]
        new = sum(aligned) / len(z)
        new /= np.linalg.norm(new)
        if np.abs(new - mean).max() < 1e-14:
            return new, aligned
        mean = new
    raise RuntimeError("no convergence")


with open("numpy_references.txt", "w") as out:
    def emit(name, values):
        out.write("@" + name + " " + " ".join(repr(float(v)) for v in np.ravel(values)) + "\n")

    for name in ("gorf", "macaques"):
        s = sections("gpa_%s.txt" % name)
        k, m, d = map(int, s["shape"])
        x = np.array(s["input"]).reshape(k, m, d)  # a landmark per line
        mean, aligned = partial_gpa(x)
        emit(name + "_partial_mean", mean)
        emit(name + "_partial_aligned", aligned)
        # align: shape 1 onto shape 0, least-squares similarity and rigid
        r, scale, t, rms = similarity(x[0], x[1])
        emit(name + "_align_similarity", np.concatenate([r.ravel(), [scale], t, [rms]]))
        # a mirror image (x negated) of shape 0 onto shape 0: no reflection
        # unless allowed
        mirror = x[0] * np.r_[-1, np.ones(d - 1)]
        for reflect in (False, True):
            r, _, t, _ = similarity(x[0], mirror, reflect)
            a, b = x[0] - x[0].mean(0), mirror - mirror.mean(0)
            rms = np.sqrt(((b @ r - a) ** 2).sum(1).mean())
            emit(name + "_mirror_%s" % ("reflect" if reflect else "proper"),
                 np.concatenate([r.ravel(), [rms]]))

    co2 = np.loadtxt("co2.txt").reshape(-1, 2)  # x y pairs, a year per line
    for degree in (2, 6, 8):
        p, (resid, *_) = Polynomial.fit(co2[:, 0], co2[:, 1], degree, full=True)
        # coefficients in u = (x - shift) / scale, and the least-squares chi-square
        emit("co2_degree_%d" % degree, np.concatenate([p.coef, resid]))
    # A large linear fit: y = 2.9993 + 1e-6 x + a saw-tooth of +-0.01 on
    # x = 0 .. 999999, the formula repeated in the test.
    i = np.arange(1000000, dtype=np.float64)
    y = 2.9993 + 1e-6 * i + 0.01 * (((i * 7919) % 101) - 50) / 50
    p, (resid, *_) = Polynomial.fit(i, y, 1, full=True)
    emit("linear_million", np.concatenate([p.convert().coef, resid]))
