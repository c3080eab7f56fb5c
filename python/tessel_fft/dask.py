"""The transforms over dask arrays: each block is transformed by tessel_fft where it lies, on the worker
that holds it, so the array may be chunked along every axis but the transformed ones.

    import dask.array as da
    import tessel_fft.dask
    x = da.random.random((20, 4096, 100), chunks=(5, 4096, 50))
    y = tessel_fft.dask.fft(x, axis=1, workers=1).compute()

The arguments are those of the tessel_fft function of the same name. An axis that is cut into several
chunks is a ValueError, as in dask.array.fft; rechunk it first (x.rechunk({axis: -1})). Worker processes
must be able to import tessel_fft (install it, or set PYTHONPATH before the cluster starts).
"""
import functools
import operator

import dask.array as da
import numpy as np

from . import _fft

# function name: (output length along the axis from the input length and n, output dtype from input).
_ONE_AXIS = {
    "fft": (lambda m, n: n or m, lambda t: _fft._complex_of(t)),
    "ifft": (lambda m, n: n or m, lambda t: _fft._complex_of(t)),
    "rfft": (lambda m, n: (n or m) // 2 + 1, lambda t: _fft._complex_of(t)),
    "irfft": (lambda m, n: n or 2 * (m - 1), lambda t: _fft._real_of(t)),
    "dct": (lambda m, n: n or m, lambda t: t),
    "idct": (lambda m, n: n or m, lambda t: t),
    "dst": (lambda m, n: n or m, lambda t: t),
    "idst": (lambda m, n: n or m, lambda t: t),
}


def _dtype_of(x):
    """The dtype tessel_fft computes in for x's dtype."""
    return _fft._inexact(np.empty(0, x.dtype)).dtype


def _one_axis(name):
    function = getattr(_fft, name)
    length, dtype = _ONE_AXIS[name]

    @functools.wraps(function)
    def wrapper(x, *args, axis=-1, n=None, **kwargs):
        x = da.asarray(x)
        axis = _fft.normalize_axis_index(operator.index(axis), x.ndim)
        if len(x.chunks[axis]) != 1:
            raise ValueError(f"axis {axis} is cut into {len(x.chunks[axis])} chunks; rechunk it to one")
        chunks = list(x.chunks)
        chunks[axis] = (length(x.shape[axis], n),)
        return x.map_blocks(function, *args, axis=axis, n=n, **kwargs, chunks=tuple(chunks),
                            dtype=dtype(_dtype_of(x)))

    return wrapper


fft, ifft, rfft, irfft = (_one_axis(name) for name in ("fft", "ifft", "rfft", "irfft"))
dct, idct, dst, idst = (_one_axis(name) for name in ("dct", "idct", "dst", "idst"))
