"""komath.MT19937 against numpy's RandomState (the reference MT19937) and the tool."""
import struct
import threading

import numpy as np
import pytest

import komath

# Integer seeds at both ends of the range and key seeds of several lengths
# (longer and shorter than the 624 state words).
SEEDS = [0, 1, 5489, 2**32 - 1, [0x123, 0x234, 0x345, 0x456], [7], list(range(700))]


def reference(seed):
    return np.random.RandomState(seed)


def raw(seed, n):
    return reference(seed).randint(0, 2**32, n, dtype=np.uint32)


def record(words, position, left):
    """The library's state record, built from its documented layout."""
    return (struct.pack("<Ii", 0, 624) + np.asarray(words, "<u4").tobytes()
            + struct.pack("<qi", position, left))


def parse(state):
    version, length = struct.unpack_from("<Ii", state)
    words = np.frombuffer(state, "<u4", 624, 8)
    position, left = struct.unpack_from("<qi", state, 8 + 4 * 624)
    return version, length, words, position, left


def test_outputs_are_those_of_the_reference_generator():
    for seed in SEEDS:
        # 1500 outputs cross two regenerations of the state.
        words = raw(seed, 1500)
        g = komath.MT19937(seed)
        np.testing.assert_array_equal(g.random_uint32(1500), words)
        g.seed(seed)
        got = g.random_uint32(1500)
        assert got.dtype == np.uint32
        np.testing.assert_array_equal(got, words)
    # numpy integers and arrays seed like Python ints and lists.
    np.testing.assert_array_equal(komath.MT19937(np.uint32(9)).random_uint32(3), raw(9, 3))
    key = np.array([3, 1, 4], dtype=np.uint64)
    np.testing.assert_array_equal(komath.MT19937(key).random_uint32(3), raw([3, 1, 4], 3))


def test_doubles_come_from_the_raw_outputs():
    words = raw(2024, 2000).astype(np.float64)
    g = komath.MT19937(2024)
    u = g.random(1000)
    np.testing.assert_array_equal(u, words[:1000] * 2.0**-32)
    assert u.dtype == np.float64 and u.min() >= 0 and u.max() < 1
    # Box-Muller on the next pairs of words: u1 = (w1 + 0.5) 2^-32, u2 = w2 2^-32.
    w1, w2 = words[1000::2], words[1001::2]
    expected = np.cos(w2 * 2.0**-32 * 2 * np.pi) * np.sqrt(-2 * np.log(1 - (w1 + 0.5) * 2.0**-32))
    z = komath.MT19937(2024)
    z.random(1000)
    got = z.normal(500, mean=3.0, sd=2.0)
    # Different libm calls: a few ulps of the magnitude sqrt(-2 log(...)) <= 6.7.
    np.testing.assert_allclose(got, 2.0 * expected + 3.0, rtol=0, atol=64 * np.finfo(float).eps)


def test_state_record_layout_matches_the_reference_state():
    for seed in SEEDS:
        g = komath.MT19937(seed)
        r = reference(seed)
        for drawn in (1, 623, 1):  # inside the block, at its end, after the next regeneration
            g.random_uint32(drawn)
            r.randint(0, 2**32, drawn, dtype=np.uint32)
            version, length, words, position, left = parse(g.getstate())
            _, key, pos, _, _ = r.get_state()
            assert (version, length) == (0, 624)
            np.testing.assert_array_equal(words, key)
            assert position == pos and left == 624 - pos


def test_setstate_continues_any_sequence():
    # A record made from numpy's state continues numpy's sequence.
    r = reference(77)
    r.randint(0, 2**32, 100, dtype=np.uint32)
    _, key, pos, _, _ = r.get_state()
    g = komath.MT19937(0)
    g.setstate(record(key, pos, 624 - pos))
    np.testing.assert_array_equal(g.random_uint32(1000), r.randint(0, 2**32, 1000, dtype=np.uint32))
    # getstate / setstate round trip, into the same and into another generator.
    state = g.getstate()
    ahead = g.random(700)
    other = komath.MT19937([1, 2])
    other.setstate(state)
    g.setstate(state)
    np.testing.assert_array_equal(g.random(700), ahead)
    np.testing.assert_array_equal(other.random(700), ahead)


def test_bad_seeds_sizes_and_records_raise_value_error():
    for seed in (-1, 2**32, [2**32], [-1], [], [[1, 2]], 1.5, "5", [0.5], None):
        with pytest.raises(ValueError, match="seed"):
            komath.MT19937(seed)
    g = komath.MT19937(5)
    state = g.getstate()
    for method in (g.random_uint32, g.random, g.normal):
        with pytest.raises(ValueError, match="n must be >= 0"):
            method(-1)
    with pytest.raises(ValueError, match="sd"):
        g.normal(1, sd=-1.0)
    with pytest.raises(ValueError, match="mean"):
        g.normal(1, mean=float("nan"))
    words = parse(state)[2]
    bad = [
        state[:-1],  # truncated
        state + b"\0",  # a stray byte after the record
        struct.pack("<I", 1) + state[4:],  # another version
        record(words, 625, 0),  # position past the state
        record(words, 600, 100),  # position + left past the state
    ]
    for b in bad:
        with pytest.raises(ValueError, match="state"):
            g.setstate(b)
        # Refused records leave the generator as it was.
        assert g.getstate() == state
    assert komath.MT19937(5).random_uint32(0).shape == (0,)


def test_same_numbers_as_the_tool(tool):
    for seed, option in ((2**32 - 1, ["--seed", str(2**32 - 1)]), ([5, 6, 7], ["--key", "5,6,7"])):
        assert tool("rng", *option, "--count", "700")["numbers"] == list(
            komath.MT19937(seed).random_uint32(700))
        assert tool("rng", *option, "--count", "50", "--uniform")["numbers"] == list(
            komath.MT19937(seed).random(50))
        assert tool("rng", *option, "--count", "50", "--normal", "-2,0.5")["numbers"] == list(
            komath.MT19937(seed).normal(50, -2.0, 0.5))


def test_threads_share_a_generator_without_losing_numbers():
    g = komath.MT19937(11)
    parts = []

    def draw():
        for _ in range(20):
            parts.append(g.random_uint32(5000))

    threads = [threading.Thread(target=draw) for _ in range(4)]
    for t in threads:
        t.start()
    for t in threads:
        t.join()
    # Each draw is a contiguous run of the one sequence, and together they
    # hand out every number once.
    sequence = raw(11, 400000)
    starts = []
    for p in parts:
        starts += [int(c) for c in np.flatnonzero(sequence == p[0])
                   if np.array_equal(sequence[c:c + 5000], p)]
    assert sorted(starts) == list(range(0, 400000, 5000))
