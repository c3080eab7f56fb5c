"""The one tolerance of the Python tests."""
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
