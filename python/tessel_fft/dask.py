"""The transforms over dask arrays: each block is transformed by tessel_fft where it lies, on the worker
that holds it.

    import dask.array as da
    import tessel_fft.dask
    x = da.random.random((20, 4096, 100), chunks=(5, 4096, 50))
    y = tessel_fft.dask.fft(x, axis=1, workers=1).compute()

The functions take the arguments of their tessel_fft namesakes, positional or by keyword, and give a
lazy array whose shape and dtype are the result's. A transformed axis may be cut into several chunks:
the N-D functions transform the axes that are whole in every block, rechunk so that the cut ones become
whole (dask's all-to-all exchange, which may cut the axes done already), then transform those: a slab
decomposition, so that an array larger than one machine's memory can be transformed on a cluster. A
1-D function rechunks its axis whole first. Worker processes must be able to import tessel_fft (install
it, or set PYTHONPATH before the cluster starts).
"""
import functools
import inspect

import dask.array as da
import numpy as np

from . import _fft

__all__ = ["fft", "ifft", "rfft", "irfft", "hfft", "ihfft", "dct", "idct", "dst", "idst", "fft2", "ifft2",
           "rfft2", "irfft2", "hfft2", "ihfft2", "fftn", "ifftn", "rfftn", "irfftn", "hfftn", "ihfftn",
           "dctn", "idctn", "dstn", "idstn"]

# How each family changes the dtype, as scipy.fft does.
_COMPLEX, _REAL, _SAME = _fft._complex_of, _fft._real_of, (lambda dtype: dtype)
_DTYPES = {"fft": _COMPLEX, "ifft": _COMPLEX, "rfft": _COMPLEX, "ihfft": _COMPLEX, "irfft": _REAL,
           "hfft": _REAL, "dct": _SAME, "idct": _SAME, "dst": _SAME, "idst": _SAME}
_SWAPPED = {None: "forward", "backward": "forward", "ortho": "ortho", "forward": "backward"}


def _computed_dtype(x):
    """The dtype tessel_fft computes in for x's dtype (TypeError for long double, as tessel_fft)."""
    return _fft._inexact(np.empty(0, x.dtype)).dtype


def _documented(wrapper, function):
    """The tessel_fft function's docstring, said of dask arrays."""
    wrapper.__doc__ = (f"tessel_fft.{function.__name__} of a dask array, lazily: the result is a dask array "
                       "of the shape and dtype\nbelow, computed block by block on the workers.\n\n"
                       + function.__doc__.replace("out : ", "out : dask.array.Array of "))
    return wrapper


def _bind(function, x, args, kwargs):
    """The call's arguments by name, defaults applied, as the tessel_fft function would read them."""
    call = inspect.signature(function).bind(x, *args, **kwargs)
    call.apply_defaults()
    arguments = dict(call.arguments)
    del arguments["x"]
    return arguments


def _blockwise(x, name, lengths, arguments):
    """tessel_fft's `name` on every block of x, whose transformed axes (the keys of `lengths`, the output
    lengths) are whole."""
    dtype = _DTYPES[name.rstrip("n")](_computed_dtype(x))
    chunks = tuple((lengths[axis],) if axis in lengths else c for axis, c in enumerate(x.chunks))
    return x.map_blocks(functools.partial(getattr(_fft, name), **arguments), chunks=chunks, dtype=dtype,
                        meta=np.empty((0,) * x.ndim, dtype))


def _whole(x, axes, cut=()):
    """x rechunked so that `axes` are whole; the axes in `cut` may be cut by dask's automatic sizes."""
    chunks = {axis: "auto" for axis in cut}
    chunks.update({axis: -1 for axis in axes})
    return x if all(len(x.chunks[a]) == 1 for a in axes) else x.rechunk(chunks)


def _one_axis(name):
    function = getattr(_fft, name)

    @functools.wraps(function)
    def wrapper(x, *args, **kwargs):
        x = da.asarray(x)
        arguments = _bind(function, x, args, kwargs)
        axis = _fft._axis(arguments["axis"], x)
        m = x.shape[axis]
        n = _fft._length(arguments["n"], 2 * (m - 1) if name in ("irfft", "hfft") else m)
        arguments.update(axis=axis, n=n)
        return _blockwise(_whole(x, [axis]), name, {axis: n // 2 + 1 if name in ("rfft", "ihfft") else n},
                          arguments)

    return _documented(wrapper, function)


def _phase(x, name, s, axes, arguments):
    """One N-D call of tessel_fft over `axes`, all whole in x."""
    lengths = {axis: length for length, axis in zip(s, axes)}
    if name in ("rfftn", "ihfftn"):
        lengths[axes[-1]] = s[-1] // 2 + 1
    return _blockwise(x, name, lengths, dict(arguments, s=list(s), axes=list(axes)))


def _slabs(name, first, last, x, s, axes, arguments):
    """`name` over `axes`, in one call of it where they are all whole in x; else in two phases, of the
    families `first` and `last`: first the axes whole in x (the half-spectrum one of r2c with them),
    then, rechunked, the others (the half-spectrum one of c2r with them)."""
    whole = [len(x.chunks[a]) == 1 for a in axes]
    if all(whole):
        return _phase(x, name, s, axes, arguments)
    if name == "rfftn":
        early = [i for i in range(len(axes) - 1) if whole[i]] + [len(axes) - 1]
    elif name == "irfftn":
        early = [i for i in range(len(axes) - 1) if whole[i]]
    else:
        early = [i for i in range(len(axes)) if whole[i]] or list(range(1, len(axes)))
    late = [i for i in range(len(axes)) if i not in early]
    if early:
        x = _whole(x, [axes[i] for i in early], [axes[i] for i in late])
        x = _phase(x, first, [s[i] for i in early], [axes[i] for i in early], arguments)
    x = _whole(x, [axes[i] for i in late], [axes[i] for i in early])
    return _phase(x, last, [s[i] for i in late], [axes[i] for i in late], arguments)


# For each N-D function: the family of its first phase and of its last.
_PHASES = {"fftn": ("fftn", "fftn"), "ifftn": ("ifftn", "ifftn"), "rfftn": ("rfftn", "fftn"),
           "irfftn": ("ifftn", "irfftn"), "dctn": ("dctn", "dctn"), "idctn": ("idctn", "idctn"),
           "dstn": ("dstn", "dstn"), "idstn": ("idstn", "idstn")}


def _n_axes(name, two=False):
    function = getattr(_fft, name.replace("n", "2") if two else name)

    @functools.wraps(function)
    def wrapper(x, *args, **kwargs):
        x = da.asarray(x)
        arguments = _bind(function, x, args, kwargs)
        # scipy's definitions: hfftn is irfftn of the conjugate, ihfftn the conjugate of rfftn, each
        # scaled as the other direction.
        own = {"hfftn": "irfftn", "ihfftn": "rfftn"}.get(name, name)
        _fft._norm(arguments["norm"], True)
        if own != name:
            arguments["norm"] = _SWAPPED[arguments["norm"]]
        given = arguments["s"] is not None
        s, axes = _fft._shape_and_axes(x, arguments.pop("s"), arguments.pop("axes"))
        if not axes:
            if own in ("rfftn", "irfftn"):
                raise ValueError("at least 1 axis must be transformed")
            return x
        if own == "irfftn" and not given:
            s[-1] = _fft._length(None, 2 * (x.shape[axes[-1]] - 1))
        if own == "rfftn":
            _fft._real(np.empty(0, x.dtype))
        first, last = _PHASES[own]
        out = _slabs(own, first, last, x.conj() if name == "hfftn" else x, s, axes, arguments)
        return out.conj() if name == "ihfftn" else out

    return _documented(wrapper, function)


fft, ifft, rfft, irfft, hfft, ihfft = (
    _one_axis(n) for n in ("fft", "ifft", "rfft", "irfft", "hfft", "ihfft"))
dct, idct, dst, idst = (_one_axis(n) for n in ("dct", "idct", "dst", "idst"))
fftn, ifftn, rfftn, irfftn, hfftn, ihfftn = (
    _n_axes(n) for n in ("fftn", "ifftn", "rfftn", "irfftn", "hfftn", "ihfftn"))
fft2, ifft2, rfft2, irfft2, hfft2, ihfft2 = (
    _n_axes(n, two=True) for n in ("fftn", "ifftn", "rfftn", "irfftn", "hfftn", "ihfftn"))
dctn, idctn, dstn, idstn = (_n_axes(n) for n in ("dctn", "idctn", "dstn", "idstn"))
