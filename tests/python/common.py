"""What the Python tests share: their one tolerance, and arrays in every layout a caller may hand over."""
import math

import numpy as np


def assert_close(actual, expected, n):
    """Same shape and dtype, relative L2 error below C * epsilon * log2(n)."""
    assert actual.shape == expected.shape and actual.dtype == expected.dtype
    if expected.size == 0:
        return
    scale = max(np.linalg.norm(expected), np.finfo(expected.dtype).tiny)
    error = np.linalg.norm(actual - expected) / scale
    assert error < 16 * np.finfo(expected.dtype).eps * max(math.log2(n), 1.0), error


def make(rng, shape, dtype, layout):
    """An array of `shape` as a caller may hand it over: in C or F order, a strided view of a larger array,
    reversed along every axis, or the transpose of a C array."""
    dtype = np.dtype(dtype)
    big = (tuple(2 * s + 1 for s in shape) if layout == "view" else shape[::-1] if layout == "transposed"
           else shape)
    x = rng.standard_normal(big) * 10 if dtype.kind in "iu" else rng.standard_normal(big)
    if dtype.kind == "c":
        x = x + 1j * rng.standard_normal(big)
    x = x.astype(dtype)
    if layout == "view":
        return x[tuple(slice(1, None, 2) for _ in shape)]
    if layout == "reversed":
        return x[tuple(slice(None, None, -1) for _ in shape)]
    return np.asfortranarray(x) if layout == "F" else x.T if layout == "transposed" else x
