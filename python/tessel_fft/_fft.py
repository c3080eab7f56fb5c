"""scipy.fft's functions over the library's drivers: argument handling and the column-major view."""
import math
import numbers
import operator
import os
import sys

import numpy as np

from . import _core
from ._doc import documented

try:
    from numpy.core.multiarray import normalize_axis_index
except ImportError:  # numpy 2 moved it
    from numpy.lib.array_utils import normalize_axis_index

_R2C, _C2R, _C2C, _R2C_HALF = 0, 1, 2, 3  # the library's 1-D FFT kinds; 0..2 are also its N-D kinds
_FORWARD, _BACKWARD = -1, 1  # FFTW's signs; the library divides by n under _BACKWARD
_NORMS = {None: 0, "backward": 0, "ortho": 1, "forward": 2}
_SERVED = frozenset(np.dtype(t) for t in (np.float32, np.float64, np.complex64, np.complex128))
_CPUS = os.cpu_count() or 1


def set_planner(name):
    """How new plans are made: "estimate" (FFTW_ESTIMATE, the default: no planning time), "measure"
    (FFTW_MEASURE: a first call of each shape takes longer, later ones may run faster) or "hybrid"
    (measure up to 8192 points, estimate above). Plans already cached stay as they are.

    Parameters
    ----------
    name : {"estimate", "measure", "hybrid"}

    Raises
    ------
    ValueError
        For any other name.
    """
    _core.set_plan_strategy(name)


def _inexact(x):
    """x as an array of the dtype scipy.fft computes in: float16 as float32, integers and booleans as
    float64, native byte order, aligned. Long double has no transforms here (TypeError)."""
    if type(x) is np.ndarray and x.dtype in _SERVED and x.flags.aligned:
        return x  # the common case, first: small calls pay for every check
    x = np.asarray(x)
    if x.dtype == np.float16:
        return x.astype(np.float32)
    if x.dtype.kind not in "fc":
        return np.asarray(x, np.float64)
    native = x.dtype.newbyteorder("=")
    if native not in _SERVED:
        raise TypeError(f"tessel_fft has no transforms in {x.dtype}")
    x = np.asarray(x, native)
    return x if x.flags.aligned else x.copy()


def _norm(norm, forward):
    """0 unscaled, 1 divided by sqrt(n), 2 divided by n, for this direction. An unhashable norm is
    scipy's TypeError."""
    try:
        inorm = _NORMS[norm]
    except KeyError:
        raise ValueError(f'Invalid norm value {norm!r}, should be "backward", "ortho" or "forward"') from None
    return inorm if forward else 2 - inorm


def _length(n, default):
    if n is None:
        n = default
    elif n.__class__ is not int:
        n = operator.index(n)
    if n < 1:
        raise ValueError(f"invalid number of data points ({n}) specified")
    return n


def _workers(workers):
    """scipy.fft's rule: None is the default of scipy.fft.set_workers (1 without scipy), negative counts
    back from the number of CPUs, zero is an error."""
    if workers is None:
        scipy_fft = sys.modules.get("scipy.fft")
        return scipy_fft.get_workers() if scipy_fft is not None else 1
    if workers.__class__ is not int:
        workers = operator.index(workers)
    if workers < 0:
        if workers < -_CPUS:
            raise ValueError(f"workers value out of range; got {workers}, must not be less than {-_CPUS}")
        workers += 1 + _CPUS
    elif workers == 0:
        raise ValueError("workers must not be zero")
    # More threads than CPUs cannot help, and FFTW would start them all for one long vector.
    return min(workers, _CPUS)


def _no_plan(plan):
    if plan is not None:
        raise NotImplementedError("Passing a precomputed plan is not supported")


def _contiguous(x):
    """x if it is C- or Fortran-contiguous, else a C copy: the library reads either where it lies."""
    flags = x.flags
    return x if flags.c_contiguous or flags.f_contiguous else np.ascontiguousarray(x)


# The complex and the real dtype of each served precision, looked up rather than made on every call.
_COMPLEX_OF = {t: np.dtype(np.complex64 if t.char in "fF" else np.complex128) for t in _SERVED}
_REAL_OF = {t: np.dtype(np.float32 if t.char in "fF" else np.float64) for t in _SERVED}


def _complex_of(dtype):
    return _COMPLEX_OF[dtype]


def _real_of(dtype):
    return _REAL_OF[dtype]


def _placed(x, axis, out_length, dtype):
    """(x, out, stride, input length, vectors) of a 1-D call along `axis`: x where it lies if it is C- or
    Fortran-contiguous (else a C copy), a new output in its layout, the column-major view of both. In
    one function, since small calls pay for every Python call."""
    flags = x.flags
    c_order = flags.c_contiguous
    if not (c_order or flags.f_contiguous):
        x = np.ascontiguousarray(x)
        c_order = True
    shape = x.shape
    length = shape[axis]
    stride = math.prod(shape[axis + 1:]) if c_order else math.prod(shape[:axis])
    if length != out_length:
        shape = shape[:axis] + (out_length,) + shape[axis + 1:]
    out = np.empty(shape, dtype, "C" if c_order else "F")
    return x, out, stride, length, out.size // out_length if out_length else 0


def _run_fft(kind, x, axis, n, out_length, dtype, sign, workers, scale):
    """The library's 1-D FFT along `axis` into a new array of out_length elements there, multiplied by
    `scale`."""
    x, out, stride, length, vectors = _placed(x, axis, out_length, dtype)
    if vectors:
        if length == 0:  # all padding
            out.fill(0)
        else:
            _core.fft(kind, dtype.char in "fF", x, out, stride, n, length, vectors, sign, workers, scale)
    return out


def _scale(inorm, n, divided):
    """The factor the norm wants beyond what the library did (nothing, or a division by n); the
    library's binding applies it to the output."""
    if inorm == (2 if divided else 0):
        return 1.0
    factor = (1.0, 1.0 / math.sqrt(n), 1.0 / n)[inorm]
    return factor * n if divided else factor


def _axis(axis, x):
    if axis.__class__ is not int:
        axis = operator.index(axis)
    return normalize_axis_index(axis, x.ndim)


def _c2c(forward, x, n, axis, norm, workers, plan):
    _no_plan(plan)
    x = _inexact(x)
    axis = _axis(axis, x)
    n = _length(n, x.shape[axis])
    inorm, workers = _norm(norm, forward), _workers(workers)
    dtype = x.dtype
    if dtype.kind == "f":
        dtype = _complex_of(dtype)
        if forward:
            # The full-spectrum r2c, whose division by n (under _BACKWARD) serves "forward".
            divided = inorm == 2
            return _run_fft(_R2C, x, axis, n, n, dtype, _BACKWARD if divided else _FORWARD, workers,
                            _scale(inorm, n, divided))
        x = x.astype(dtype)
    return _run_fft(_C2C, x, axis, n, n, dtype, _FORWARD if forward else _BACKWARD, workers,
                    _scale(inorm, n, not forward))


def _real(x):
    x = _inexact(x)
    if x.dtype.kind == "c":
        raise TypeError("x must be a real sequence")
    return x


def _r2c(inorm, x, n, axis, workers, plan):
    """The n//2+1 non-negative frequencies along `axis`, scaled as inorm says."""
    _no_plan(plan)
    x = _real(x)
    axis = _axis(axis, x)
    n = _length(n, x.shape[axis])
    divided = inorm == 2
    return _run_fft(_R2C_HALF, x, axis, n, n // 2 + 1, _complex_of(x.dtype),
                    _BACKWARD if divided else _FORWARD, _workers(workers), _scale(inorm, n, divided))


def _c2r(inorm, conjugate, x, n, axis, workers, plan):
    """The real signal of n points (default 2*(m-1)) whose half spectrum along `axis` is x, or its
    conjugate."""
    _no_plan(plan)
    x = _inexact(x)
    if x.dtype.kind == "f":
        x = x.astype(_complex_of(x.dtype))
    if conjugate:
        x = np.conjugate(x)
    axis = _axis(axis, x)
    n = _length(n, 2 * (x.shape[axis] - 1))
    divided = inorm == 2
    return _run_fft(_C2R, x, axis, n, n, _real_of(x.dtype), _BACKWARD if divided else _FORWARD,
                    _workers(workers), _scale(inorm, n, divided))


@documented("fft")
def fft(x, n=None, axis=-1, norm=None, overwrite_x=False, workers=None, *, plan=None):
    return _c2c(True, x, n, axis, norm, workers, plan)


@documented("ifft")
def ifft(x, n=None, axis=-1, norm=None, overwrite_x=False, workers=None, *, plan=None):
    return _c2c(False, x, n, axis, norm, workers, plan)


@documented("rfft")
def rfft(x, n=None, axis=-1, norm=None, overwrite_x=False, workers=None, *, plan=None):
    return _r2c(_norm(norm, True), x, n, axis, workers, plan)


@documented("irfft")
def irfft(x, n=None, axis=-1, norm=None, overwrite_x=False, workers=None, *, plan=None):
    return _c2r(_norm(norm, False), False, x, n, axis, workers, plan)


@documented("hfft")
def hfft(x, n=None, axis=-1, norm=None, overwrite_x=False, workers=None, *, plan=None):
    # scipy's definition: the irfft of the conjugate, scaled as a forward transform.
    return _c2r(_norm(norm, True), True, x, n, axis, workers, plan)


@documented("ihfft")
def ihfft(x, n=None, axis=-1, norm=None, overwrite_x=False, workers=None, *, plan=None):
    out = _r2c(_norm(norm, False), x, n, axis, workers, plan)
    return np.conjugate(out, out=out)


def _ints(values, name):
    """scipy's reading of `s` or `axes`: a number or an iterable of integers, else ValueError."""
    if values.__class__ is not tuple and values.__class__ is not list and isinstance(values, numbers.Number):
        values = (values,)
    try:
        return [v if v.__class__ is int else operator.index(v) for v in values]
    except TypeError as error:
        raise ValueError(f"{name} must be a scalar or iterable of integers") from error


def _shape_and_axes(x, s, axes):
    """scipy.fft's reading of `s` and `axes` for the N-D functions: lists of the lengths and of the
    axes (non-negative), in the caller's order."""
    ndim = x.ndim
    if s is None and axes is None:  # the common call first: every axis at its length
        s, axes = list(x.shape), list(range(ndim))
    else:
        if axes is not None:
            axes = [a + ndim if a < 0 else a for a in _ints(axes, "axes")]
            for a in axes:
                if a >= ndim or a < 0:
                    raise ValueError("axes exceeds dimensionality of input")
            if len(set(axes)) != len(axes):
                raise ValueError("all axes must be unique")
        if s is None:
            s = [x.shape[a] for a in axes]
        else:
            s = _ints(s, "shape")
            if axes and len(axes) != len(s):
                raise ValueError("when given, axes and shape arguments have to be of the same length")
            if axes is None:
                if len(s) > ndim:
                    raise ValueError("shape requires more axes than are present")
                axes = list(range(ndim - len(s), ndim))
            s = [x.shape[a] if m == -1 else m for m, a in zip(s, axes)]
    if s and min(s) < 1:
        raise ValueError(f"invalid number of data points ({s}) specified")
    return s, axes


def _run_fftn(kind, x, s, axes, dtype, sign, workers, scale):
    """The library's N-D FFT over `axes` (the last is the half-spectrum one of the real kinds) into a
    new array in the layout of x, multiplied by `scale`. A C array is the column-major array of the
    reversed shape, so numpy axis a is column-major dimension ndim-1-a there, and a in a Fortran array.
    The library takes the half-spectrum dimension first, the others as given."""
    flags = x.flags
    c_order = flags.c_contiguous
    if not (c_order or flags.f_contiguous):
        x = np.ascontiguousarray(x)
        c_order = True
    lengths = list(x.shape)
    for length, axis in zip(s, axes):
        lengths[axis] = length
    half = axes[-1]
    shape = lengths
    if kind == _R2C:
        shape = lengths.copy()
        shape[half] = s[-1] // 2 + 1
    out = np.empty(shape, dtype, "C" if c_order else "F")
    if out.size:
        if x.size == 0:  # all padding
            out.fill(0)
        elif c_order:
            last = x.ndim - 1
            _core.fftn(kind, x.dtype.char in "fF", x, out, lengths[::-1], x.shape[::-1],
                       [last - half] + [last - a for a in axes[:-1]], sign, workers, scale)
        else:
            _core.fftn(kind, x.dtype.char in "fF", x, out, lengths, x.shape, [half] + axes[:-1], sign, workers,
                       scale)
    return out


def _c2cn(forward, x, s, axes, norm, workers, plan):
    _no_plan(plan)
    original = x
    x = _inexact(x)
    s, axes = _shape_and_axes(x, s, axes)
    inorm, workers = _norm(norm, forward), _workers(workers)
    if not axes:
        return original
    if len(axes) == 1:
        return _c2c(forward, x, s[0], axes[0], norm, workers, None)
    if x.dtype.kind == "f":
        x = x.astype(_complex_of(x.dtype))
    return _run_fftn(_C2C, x, s, axes, x.dtype, _FORWARD if forward else _BACKWARD, workers,
                     _scale(inorm, math.prod(s), not forward))


def _r2cn(inorm, x, s, axes, workers, plan):
    _no_plan(plan)
    x = _real(x)
    s, axes = _shape_and_axes(x, s, axes)
    workers = _workers(workers)
    if not axes:
        raise ValueError("at least 1 axis must be transformed")
    if len(axes) == 1:  # the 1-D call costs less per call (scipy.signal's 1-D convolutions come here)
        return _r2c(inorm, x, s[0], axes[0], workers, None)
    divided = inorm == 2
    return _run_fftn(_R2C, x, s, axes, _complex_of(x.dtype), _BACKWARD if divided else _FORWARD, workers,
                     _scale(inorm, math.prod(s), divided))


def _c2rn(inorm, conjugate, x, s, axes, workers, plan):
    _no_plan(plan)
    x = _inexact(x)
    given = s is not None
    s, axes = _shape_and_axes(x, s, axes)
    workers = _workers(workers)
    if not axes:
        raise ValueError("at least 1 axis must be transformed")
    if len(axes) == 1:
        return _c2r(inorm, conjugate, x, s[0] if given else None, axes[0], workers, None)
    if x.dtype.kind == "f":
        x = x.astype(_complex_of(x.dtype))
    if conjugate:
        x = np.conjugate(x)
    if not given:
        s[-1] = 2 * (x.shape[axes[-1]] - 1)
        if s[-1] < 1:
            raise ValueError(f"invalid number of data points ({s[-1]}) specified")
    divided = inorm == 2
    return _run_fftn(_C2R, x, s, axes, _real_of(x.dtype), _BACKWARD if divided else _FORWARD, workers,
                     _scale(inorm, math.prod(s), divided))


@documented("fftn")
def fftn(x, s=None, axes=None, norm=None, overwrite_x=False, workers=None, *, plan=None):
    return _c2cn(True, x, s, axes, norm, workers, plan)


@documented("ifftn")
def ifftn(x, s=None, axes=None, norm=None, overwrite_x=False, workers=None, *, plan=None):
    return _c2cn(False, x, s, axes, norm, workers, plan)


@documented("rfftn")
def rfftn(x, s=None, axes=None, norm=None, overwrite_x=False, workers=None, *, plan=None):
    return _r2cn(_norm(norm, True), x, s, axes, workers, plan)


@documented("irfftn")
def irfftn(x, s=None, axes=None, norm=None, overwrite_x=False, workers=None, *, plan=None):
    return _c2rn(_norm(norm, False), False, x, s, axes, workers, plan)


@documented("hfftn")
def hfftn(x, s=None, axes=None, norm=None, overwrite_x=False, workers=None, *, plan=None):
    return _c2rn(_norm(norm, True), True, x, s, axes, workers, plan)


@documented("ihfftn")
def ihfftn(x, s=None, axes=None, norm=None, overwrite_x=False, workers=None, *, plan=None):
    out = _r2cn(_norm(norm, False), x, s, axes, workers, plan)
    return np.conjugate(out, out=out)


@documented("fft2")
def fft2(x, s=None, axes=(-2, -1), norm=None, overwrite_x=False, workers=None, *, plan=None):
    return _c2cn(True, x, s, axes, norm, workers, plan)


@documented("ifft2")
def ifft2(x, s=None, axes=(-2, -1), norm=None, overwrite_x=False, workers=None, *, plan=None):
    return _c2cn(False, x, s, axes, norm, workers, plan)


@documented("rfft2")
def rfft2(x, s=None, axes=(-2, -1), norm=None, overwrite_x=False, workers=None, *, plan=None):
    return rfftn(x, s, axes, norm, overwrite_x, workers, plan=plan)


@documented("irfft2")
def irfft2(x, s=None, axes=(-2, -1), norm=None, overwrite_x=False, workers=None, *, plan=None):
    return irfftn(x, s, axes, norm, overwrite_x, workers, plan=plan)


@documented("hfft2")
def hfft2(x, s=None, axes=(-2, -1), norm=None, overwrite_x=False, workers=None, *, plan=None):
    return hfftn(x, s, axes, norm, overwrite_x, workers, plan=plan)


@documented("ihfft2")
def ihfft2(x, s=None, axes=(-2, -1), norm=None, overwrite_x=False, workers=None, *, plan=None):
    return ihfftn(x, s, axes, norm, overwrite_x, workers, plan=plan)


# The orthogonalising weights by (sine, type), as the binding's bits (1 and 2: the first and the last
# input element multiplied by sqrt(2) before the transform; 4 and 8: the first and the last output
# element divided by it after). On the first element of the cosine kinds and the last of the sine kinds,
# they make every orthonormal transform orthogonal; scipy 1.10 weights the first element of DST-II and
# DST-III too, and the backend leaves those calls to scipy.
_WEIGHTS = {
    (False, 1): 1 | 2 | 4 | 8,
    (False, 2): 4,
    (False, 3): 1,
    (True, 2): 8,
    (True, 3): 2,
}


def _type(type, sine):
    """scipy's rule: an integer from 1 to 4 (True counts as 1); other types are a TypeError."""
    if type.__class__ is not int:
        try:
            type = operator.index(type)
        except TypeError:
            raise TypeError(f"{'DST' if sine else 'DCT'} type must be an integer, not {type!r}") from None
    if type not in (1, 2, 3, 4):
        raise ValueError(f"invalid {'DST' if sine else 'DCT'} type {type!r}")
    return type


def _orthogonalize(orthogonalize):
    """None or anything with a truth value that is a number or a boolean, as scipy accepts."""
    if orthogonalize is None or isinstance(orthogonalize, (bool, np.bool_, numbers.Number)):
        return orthogonalize
    raise TypeError(f"orthogonalize must be None or a boolean, not {orthogonalize!r}")


def _r2r(sine, forward, x, type, n, axis, norm, workers, orthogonalize):
    type = _type(type, sine)
    orthogonalize = _orthogonalize(orthogonalize)
    x = _inexact(x)
    axis = _axis(axis, x)
    return _run_r2r(sine, forward, x, type, _length(n, x.shape[axis]), axis, _norm(norm, forward),
                    _workers(workers), orthogonalize)


def _run_r2r(sine, forward, x, type, n, axis, inorm, workers, orthogonalize):
    """The transform of x (of a served dtype) along a non-negative axis, with checked arguments."""
    if not forward and type in (2, 3):
        type = 5 - type  # the inverse of II is III and back; I and IV are their own
    if type == 1 and not sine and n == 1:
        raise ValueError("DCT-I is not defined for 1 point")
    logical = 2 * (n - 1) if type == 1 and not sine else 2 * (n + 1) if type == 1 else 2 * n
    if orthogonalize is None or x.dtype.kind == "c":  # complex input follows the norm alone, as in scipy
        orthogonalize = inorm == 1
    dtype = x.dtype
    x, out, stride, length, vectors = _placed(x, axis, n, dtype)
    if vectors:
        if length == 0:
            out.fill(0)
        else:
            _core.dcst(type - 1 + (4 if sine else 0), dtype.char in "fF", x, out, stride, n, length, vectors,
                       1 if inorm == 2 else 0, dtype.kind == "c", workers,
                       1.0 / math.sqrt(logical) if inorm == 1 else 1.0,
                       _WEIGHTS.get((sine, type), 0) if orthogonalize else 0)
    return out


@documented("dct")
def dct(x, type=2, n=None, axis=-1, norm=None, overwrite_x=False, workers=None, orthogonalize=None):
    return _r2r(False, True, x, type, n, axis, norm, workers, orthogonalize)


@documented("idct")
def idct(x, type=2, n=None, axis=-1, norm=None, overwrite_x=False, workers=None, orthogonalize=None):
    return _r2r(False, False, x, type, n, axis, norm, workers, orthogonalize)


@documented("dst")
def dst(x, type=2, n=None, axis=-1, norm=None, overwrite_x=False, workers=None, orthogonalize=None):
    return _r2r(True, True, x, type, n, axis, norm, workers, orthogonalize)


@documented("idst")
def idst(x, type=2, n=None, axis=-1, norm=None, overwrite_x=False, workers=None, orthogonalize=None):
    return _r2r(True, False, x, type, n, axis, norm, workers, orthogonalize)


def _r2rn(sine, forward, x, type, s, axes, norm, workers, orthogonalize):
    original = x
    type = _type(type, sine)
    orthogonalize = _orthogonalize(orthogonalize)
    x = _inexact(x)
    s, axes = _shape_and_axes(x, s, axes)
    if not axes:
        return original
    inorm, threads = _norm(norm, forward), _workers(workers)
    # The N-D DCT-II serves all axes at their lengths with the weights that the norm implies.
    if (sine or type != 2 or tuple(s) != x.shape or sorted(axes) != list(range(x.ndim))
            or not (orthogonalize is None or x.dtype.kind == "c" or bool(orthogonalize) == (inorm == 1))):
        for length, axis in zip(s, axes):
            x = _run_r2r(sine, forward, x, type, length, axis, inorm, threads, orthogonalize)
        return x
    x = _contiguous(x)
    order = "C" if x.flags.c_contiguous else "F"
    out = np.empty(x.shape, x.dtype, order=order)
    factor = 1.0
    if inorm != 1:
        # Unnormalised forward, divided by the product of 2n inverse; the norm may want the other.
        total = math.prod(2 * m for m in x.shape)
        wanted = 1.0 if inorm == 0 else 1.0 / total
        factor = wanted if forward else wanted * total
    _core.dctn(x, out, list(x.shape[::-1] if order == "C" else x.shape), not forward, inorm == 1, threads,
               factor)
    return out


@documented("dctn")
def dctn(x, type=2, s=None, axes=None, norm=None, overwrite_x=False, workers=None, orthogonalize=None):
    return _r2rn(False, True, x, type, s, axes, norm, workers, orthogonalize)


@documented("idctn")
def idctn(x, type=2, s=None, axes=None, norm=None, overwrite_x=False, workers=None, orthogonalize=None):
    return _r2rn(False, False, x, type, s, axes, norm, workers, orthogonalize)


@documented("dstn")
def dstn(x, type=2, s=None, axes=None, norm=None, overwrite_x=False, workers=None, orthogonalize=None):
    return _r2rn(True, True, x, type, s, axes, norm, workers, orthogonalize)


@documented("idstn")
def idstn(x, type=2, s=None, axes=None, norm=None, overwrite_x=False, workers=None, orthogonalize=None):
    return _r2rn(True, False, x, type, s, axes, norm, workers, orthogonalize)
