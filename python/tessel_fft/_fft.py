"""scipy.fft's functions over the library's drivers: argument handling and the column-major view."""
import math
import operator
import os
import sys

import numpy as np

from . import _core

try:
    from numpy.core.multiarray import normalize_axis_index
except ImportError:  # numpy 2 moved it
    from numpy.lib.array_utils import normalize_axis_index

_R2C, _C2R, _C2C = 0, 1, 2  # the library's FFT kinds
_FORWARD, _BACKWARD = -1, 1  # FFTW's signs; the library divides by n under _BACKWARD
_NORMS = {None: 0, "backward": 0, "ortho": 1, "forward": 2}
_SQRT2 = math.sqrt(2.0)
_SERVED = (np.float32, np.float64, np.complex64, np.complex128)


def set_planner(name):
    """How new plans are made: "estimate" (FFTW_ESTIMATE, the default: no planning time), "measure"
    (FFTW_MEASURE: a first call of each shape takes longer, later ones may run faster) or "hybrid"
    (measure up to 8192 points, estimate above). Plans already cached stay as they are."""
    _core.set_plan_strategy(name)


def _inexact(x):
    """x as an array of the dtype scipy.fft computes in: float16 as float32, integers and booleans as
    float64, native byte order. Long double has no transforms here (TypeError)."""
    x = np.asarray(x)
    if x.dtype == np.float16:
        return x.astype(np.float32)
    if x.dtype.kind not in "fc":
        return np.asarray(x, np.float64)
    native = x.dtype.newbyteorder("=")
    if native.type not in _SERVED:
        raise TypeError(f"tessel_fft has no transforms in {x.dtype}")
    x = np.asarray(x, native)
    return x if x.flags.aligned else x.copy()


def _norm(norm, forward):
    """0 unscaled, 1 divided by sqrt(n), 2 divided by n, for this direction."""
    try:
        inorm = _NORMS[norm]
    except (KeyError, TypeError):
        raise ValueError(f'Invalid norm value {norm!r}, should be "backward", "ortho" or "forward"') from None
    return inorm if forward else 2 - inorm


def _length(n, default):
    n = default if n is None else operator.index(n)
    if n < 1:
        raise ValueError(f"invalid number of data points ({n}) specified")
    return n


def _workers(workers):
    """scipy.fft's rule: None is the default of scipy.fft.set_workers (1 without scipy), negative counts
    back from the number of CPUs, zero is an error."""
    if workers is None:
        scipy_fft = sys.modules.get("scipy.fft")
        return scipy_fft.get_workers() if scipy_fft is not None else 1
    workers = operator.index(workers)
    cpus = os.cpu_count() or 1
    if workers < 0:
        if workers < -cpus:
            raise ValueError(f"workers value out of range; got {workers}, must not be less than {-cpus}")
        workers += 1 + cpus
    elif workers == 0:
        raise ValueError("workers must not be zero")
    # More threads than CPUs cannot help, and FFTW would start them all for one long vector.
    return min(workers, cpus)


def _no_plan(plan):
    if plan is not None:
        raise NotImplementedError("Passing a precomputed plan is not supported")


def _layout(x, axis):
    """(array, stride, order): a C- or Fortran-contiguous array is used where it lies, anything else is
    copied once to C order. A C array is the column-major array of the reversed shape, so the stride of
    `axis` is the product of the extents after it; in a Fortran array, of those before it."""
    if not (x.flags.c_contiguous or x.flags.f_contiguous):
        x = np.ascontiguousarray(x)
    if x.flags.c_contiguous:
        return x, math.prod(x.shape[axis + 1:]), "C"
    return x, math.prod(x.shape[:axis]), "F"


def _single(dtype):
    return dtype.char in "fF"


def _complex_of(dtype):
    return np.dtype(np.complex64 if _single(dtype) else np.complex128)


def _real_of(dtype):
    return np.dtype(np.float32 if _single(dtype) else np.float64)


def _output(x, axis, length, dtype, order):
    shape = list(x.shape)
    shape[axis] = length
    return np.empty(shape, dtype, order=order)


def _run_fft(kind, x, axis, n, dtype, sign, workers):
    """quillFFT1D along `axis` into a new array of n elements there, in the layout of x."""
    x, stride, order = _layout(x, axis)
    out = _output(x, axis, n, dtype, order)
    if out.size:
        if x.shape[axis] == 0:  # all padding
            out.fill(0)
        else:
            _core.fft(kind, _single(x.dtype), x, out, stride, n, x.shape[axis], out.size // n, sign, workers)
    return out


def _scaled(out, inorm, n, divided):
    """Applies what the norm wants beyond what the library did (nothing, or a division by n)."""
    wanted = (1.0, 1.0 / math.sqrt(n), 1.0 / n)[inorm]
    factor = wanted * n if divided else wanted
    if factor != 1.0:
        np.multiply(out, factor, out=out)
    return out


def _c2c(forward, x, n, axis, norm, workers, plan):
    _no_plan(plan)
    x = _inexact(x)
    axis = normalize_axis_index(operator.index(axis), x.ndim)
    n = _length(n, x.shape[axis])
    inorm, workers = _norm(norm, forward), _workers(workers)
    if x.dtype.kind == "f" and forward:
        # The r2c entry gives the full spectrum, and its division by n (under _BACKWARD) serves "forward".
        divided = inorm == 2
        out = _run_fft(_R2C, x, axis, n, _complex_of(x.dtype), _BACKWARD if divided else _FORWARD, workers)
        return _scaled(out, inorm, n, divided)
    x = x.astype(_complex_of(x.dtype), copy=False)
    out = _run_fft(_C2C, x, axis, n, x.dtype, _FORWARD if forward else _BACKWARD, workers)
    return _scaled(out, inorm, n, not forward)


def fft(x, n=None, axis=-1, norm=None, overwrite_x=False, workers=None, *, plan=None):
    """scipy.fft.fft: the DFT along `axis`; real input gives the full spectrum."""
    return _c2c(True, x, n, axis, norm, workers, plan)


def ifft(x, n=None, axis=-1, norm=None, overwrite_x=False, workers=None, *, plan=None):
    """scipy.fft.ifft: the inverse DFT along `axis`."""
    return _c2c(False, x, n, axis, norm, workers, plan)


def rfft(x, n=None, axis=-1, norm=None, overwrite_x=False, workers=None, *, plan=None):
    """scipy.fft.rfft: the n//2+1 non-negative frequencies of the DFT of real input."""
    _no_plan(plan)
    x = _inexact(x)
    if x.dtype.kind == "c":
        raise TypeError("x must be a real sequence")
    axis = normalize_axis_index(operator.index(axis), x.ndim)
    n = _length(n, x.shape[axis])
    inorm, workers = _norm(norm, True), _workers(workers)
    divided = inorm == 2
    # The library's r2c writes the full Hermitian spectrum; the non-negative half is its first rows.
    full = _run_fft(_R2C, x, axis, n, _complex_of(x.dtype), _BACKWARD if divided else _FORWARD, workers)
    half = full[(slice(None),) * axis + (slice(0, n // 2 + 1),)]
    return _scaled(np.array(half, order="K"), inorm, n, divided)


def irfft(x, n=None, axis=-1, norm=None, overwrite_x=False, workers=None, *, plan=None):
    """scipy.fft.irfft: the real signal of n points (default 2*(m-1)) whose rfft is x."""
    _no_plan(plan)
    x = _inexact(x)
    x = x.astype(_complex_of(x.dtype), copy=False)
    axis = normalize_axis_index(operator.index(axis), x.ndim)
    n = _length(n, 2 * (x.shape[axis] - 1))
    inorm, workers = _norm(norm, False), _workers(workers)
    divided = inorm == 2
    out = _run_fft(_C2R, x, axis, n, _real_of(x.dtype), _BACKWARD if divided else _FORWARD, workers)
    return _scaled(out, inorm, n, divided)


def _resized(x, axis, n):
    """A new array with x cut or zero padded to n along axis."""
    out = _output(x, axis, n, x.dtype, "C")
    kept = min(n, x.shape[axis])
    out[(slice(None),) * axis + (slice(kept, None),)] = 0
    out[(slice(None),) * axis + (slice(0, kept),)] = x[(slice(None),) * axis + (slice(0, kept),)]
    return out


# The orthogonalising weights by (sine, type): the input elements multiplied by sqrt(2) before the
# transform and the output elements divided by it after (-1 the last). On the first element of the cosine
# kinds and the last of the sine kinds, they make every orthonormal transform orthogonal; scipy 1.10
# weights the first element of DST-II and DST-III too, and the backend leaves those calls to scipy.
_WEIGHTS = {
    (False, 1): ((0, -1), (0, -1)),
    (False, 2): ((), (0,)),
    (False, 3): ((0,), ()),
    (True, 2): ((), (-1,)),
    (True, 3): ((-1,), ()),
}


def _r2r(sine, forward, x, type, n, axis, norm, workers, orthogonalize):
    if type not in (1, 2, 3, 4):
        raise ValueError(f"invalid {'DST' if sine else 'DCT'} type {type!r}")
    x = _inexact(x)
    axis = normalize_axis_index(operator.index(axis), x.ndim)
    n = _length(n, x.shape[axis])
    inorm, workers = _norm(norm, forward), _workers(workers)
    if not forward and type in (2, 3):
        type = 5 - type  # the inverse of II is III and back; I and IV are their own
    if type == 1 and not sine and n == 1:
        raise ValueError("DCT-I is not defined for 1 point")
    logical = 2 * (n - 1) if type == 1 and not sine else 2 * (n + 1) if type == 1 else 2 * n
    if orthogonalize is None or x.dtype.kind == "c":  # complex input follows the norm alone, as in scipy
        orthogonalize = inorm == 1
    weighted_in, weighted_out = _WEIGHTS.get((sine, type), ((), ())) if orthogonalize else ((), ())
    if weighted_in:
        x = _resized(x, axis, n)
        for element in weighted_in:
            x[(slice(None),) * axis + (element,)] *= _SQRT2
    kind = type - 1 + (4 if sine else 0)
    x, stride, order = _layout(x, axis)
    out = _output(x, axis, n, x.dtype, order)
    if out.size:
        if x.shape[axis] == 0:
            out.fill(0)
        else:
            _core.dcst(kind, _single(x.dtype), x, out, stride, n, x.shape[axis], out.size // n,
                       1 if inorm == 2 else 0, x.dtype.kind == "c", workers)
    if inorm == 1:
        np.multiply(out, 1.0 / math.sqrt(logical), out=out)
    for element in weighted_out:
        out[(slice(None),) * axis + (element,)] *= 1.0 / _SQRT2
    return out


def dct(x, type=2, n=None, axis=-1, norm=None, overwrite_x=False, workers=None, orthogonalize=None):
    """scipy.fft.dct: the DCT of type 1 to 4 along `axis`."""
    return _r2r(False, True, x, type, n, axis, norm, workers, orthogonalize)


def idct(x, type=2, n=None, axis=-1, norm=None, overwrite_x=False, workers=None, orthogonalize=None):
    """scipy.fft.idct: the inverse of dct of the same type and norm."""
    return _r2r(False, False, x, type, n, axis, norm, workers, orthogonalize)


def dst(x, type=2, n=None, axis=-1, norm=None, overwrite_x=False, workers=None, orthogonalize=None):
    """scipy.fft.dst: the DST of type 1 to 4 along `axis`."""
    return _r2r(True, True, x, type, n, axis, norm, workers, orthogonalize)


def idst(x, type=2, n=None, axis=-1, norm=None, overwrite_x=False, workers=None, orthogonalize=None):
    """scipy.fft.idst: the inverse of dst of the same type and norm."""
    return _r2r(True, False, x, type, n, axis, norm, workers, orthogonalize)


def _shape_and_axes(x, s, axes):
    """scipy.fft's reading of `s` and `axes` for the N-D functions."""
    if axes is not None:
        axes = [operator.index(a) for a in np.atleast_1d(np.asarray(axes, dtype=object))]
        axes = [normalize_axis_index(a, x.ndim) for a in axes]
        if len(set(axes)) != len(axes):
            raise ValueError("all axes must be unique")
    if s is not None:
        s = [operator.index(m) for m in np.atleast_1d(np.asarray(s, dtype=object))]
        if axes is not None and len(axes) != len(s):
            raise ValueError("when given, axes and shape arguments have to be of the same length")
        if axes is None:
            if len(s) > x.ndim:
                raise ValueError("shape requires more axes than are present")
            axes = list(range(x.ndim - len(s), x.ndim))
        s = [x.shape[a] if m == -1 else m for m, a in zip(s, axes)]
    else:
        axes = list(range(x.ndim)) if axes is None else axes
        s = [x.shape[a] for a in axes]
    if any(m < 1 for m in s):
        raise ValueError(f"invalid number of data points ({s}) specified")
    return s, axes


def _r2rn(sine, forward, x, type, s, axes, norm, workers, orthogonalize):
    original = x
    x = _inexact(x)
    s, axes = _shape_and_axes(x, s, axes)
    if not axes:
        return original
    inorm = _norm(norm, forward)
    whole = sorted(axes) == list(range(x.ndim)) and tuple(s) == x.shape
    weights_as_norm = orthogonalize is None or x.dtype.kind == "c" or bool(orthogonalize) == (inorm == 1)
    if sine or type != 2 or not whole or not weights_as_norm:
        for length, axis in zip(s, axes):
            x = _r2r(sine, forward, x, type, length, axis, norm, workers, orthogonalize)
        return x
    threads = _workers(workers)
    if not (x.flags.c_contiguous or x.flags.f_contiguous):
        x = np.ascontiguousarray(x)
    order = "C" if x.flags.c_contiguous else "F"
    out = np.empty(x.shape, x.dtype, order=order)
    _core.dctn(x, out, list(x.shape[::-1] if order == "C" else x.shape), not forward, inorm == 1, threads)
    if inorm != 1:
        # Unnormalised forward, divided by the product of 2n inverse; the norm may want the other.
        total = math.prod(2 * m for m in x.shape)
        wanted = 1.0 if inorm == 0 else 1.0 / total
        factor = wanted if forward else wanted * total
        if factor != 1.0:
            np.multiply(out, factor, out=out)
    return out


def dctn(x, type=2, s=None, axes=None, norm=None, overwrite_x=False, workers=None, orthogonalize=None):
    """scipy.fft.dctn: the DCT over `axes` (all by default); type 2 over every axis is one N-D call."""
    return _r2rn(False, True, x, type, s, axes, norm, workers, orthogonalize)


def idctn(x, type=2, s=None, axes=None, norm=None, overwrite_x=False, workers=None, orthogonalize=None):
    """scipy.fft.idctn: the inverse of dctn of the same type and norm."""
    return _r2rn(False, False, x, type, s, axes, norm, workers, orthogonalize)


def dstn(x, type=2, s=None, axes=None, norm=None, overwrite_x=False, workers=None, orthogonalize=None):
    """scipy.fft.dstn: the DST over `axes`, one axis after another."""
    return _r2rn(True, True, x, type, s, axes, norm, workers, orthogonalize)


def idstn(x, type=2, s=None, axes=None, norm=None, overwrite_x=False, workers=None, orthogonalize=None):
    """scipy.fft.idstn: the inverse of dstn of the same type and norm."""
    return _r2rn(True, False, x, type, s, axes, norm, workers, orthogonalize)
