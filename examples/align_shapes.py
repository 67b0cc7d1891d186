#!/usr/bin/python3
"""Aligns a set of shapes with komath.gpa and draws them before and after.

    PYTHONPATH=build/python examples/align_shapes.py [--input FILE] [--output PNG]

Without --input the shapes are 12 noisy outlines of a leaf, each turned,
scaled and moved at random. FILE holds shapes as `komath gpa` reads them:
one landmark per line (x y), shapes separated by blank lines. The picture
shows the shapes as given (left) and aligned by full Procrustes analysis,
drawn over their mean (right).
"""
import argparse

import matplotlib

matplotlib.use("Agg")  # files only, no display needed
import matplotlib.pyplot as plt  # noqa: E402
import numpy as np  # noqa: E402

import komath  # noqa: E402


def leaf_shapes(count, landmarks=24, seed=1):
    rng = np.random.default_rng(seed)
    t = np.linspace(0, 2 * np.pi, landmarks, endpoint=False)
    leaf = np.c_[np.sin(t) * (1 + 0.3 * np.cos(3 * t)), 2 * np.cos(t) * (1 - 0.2 * np.sin(t))]
    shapes = []
    for _ in range(count):
        a = rng.uniform(0, 2 * np.pi)
        rotation = np.array([[np.cos(a), np.sin(a)], [-np.sin(a), np.cos(a)]])
        noisy = leaf + rng.normal(0, 0.06, leaf.shape)
        shapes.append(rng.uniform(0.5, 2) * noisy @ rotation + rng.uniform(-6, 6, 2))
    return np.array(shapes)


def read_shapes(path):
    blocks, block = [], []
    with open(path) as file:
        for line in file:
            fields = line.split("#")[0].replace(",", " ").split()
            if fields:
                block.append([float(v) for v in fields])
            elif block and not line.strip():
                blocks.append(block)
                block = []
    if block:
        blocks.append(block)
    return np.array(blocks)


def draw(axes, shapes, title):
    for shape in shapes:
        closed = np.vstack([shape, shape[:1]])
        axes.plot(closed[:, 0], closed[:, 1], lw=0.8, alpha=0.7)
    axes.set_title(title)
    axes.set_aspect("equal")


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n")[0])
    parser.add_argument("--input", help="shapes in komath gpa's format (default: leaves)")
    parser.add_argument("--output", default="align_shapes.png", help="the picture (PNG, SVG, PDF)")
    options = parser.parse_args()
    shapes = read_shapes(options.input) if options.input else leaf_shapes(12)
    result = komath.gpa(shapes, method="full")
    figure, (before, after) = plt.subplots(1, 2, figsize=(10, 5))
    draw(before, shapes, f"{len(shapes)} shapes as given")
    draw(after, result.aligned, f"aligned (full Procrustes, {result.rounds} rounds)")
    mean = np.vstack([result.mean, result.mean[:1]])
    after.plot(mean[:, 0], mean[:, 1], "k-", lw=2.5, label="mean")
    after.legend()
    figure.tight_layout()
    figure.savefig(options.output, dpi=120)
    spread = np.sqrt(np.mean(np.sum((result.aligned - result.mean) ** 2, axis=2)))
    print(f"{len(shapes)} shapes of {shapes.shape[1]} landmarks aligned in {result.rounds} rounds; "
          f"rms distance to the mean {spread:.4g}; picture in {options.output}")


if __name__ == "__main__":
    main()
