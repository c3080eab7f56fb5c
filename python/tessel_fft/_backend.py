"""The uarray backend through which scipy.fft calls this package."""
import inspect
import numbers

import numpy as np

from . import _fft

_SERVED = {name: getattr(_fft, name) for name in
           ("fft", "ifft", "rfft", "irfft", "dct", "idct", "dst", "idst", "dctn", "idctn", "dstn", "idstn")}


_SIGNATURES = {name: inspect.signature(function) for name, function in _SERVED.items()}


def _scipy_weights_differ(name, args, kwargs):
    """True for a DST of type 2 or 3 with orthogonalising weights. Ours weight the element that makes
    the transform orthogonal (the last, for the sine kinds); scipy up to 1.10 weights the first, as for
    the cosine kinds. Such calls go to scipy, which then answers with its own convention."""
    if name not in ("dst", "idst", "dstn", "idstn"):
        return False
    call = _SIGNATURES[name].bind(*args, **kwargs)
    call.apply_defaults()
    arguments = call.arguments
    orthogonalize = arguments["orthogonalize"]
    weights = arguments["norm"] == "ortho" if orthogonalize is None else bool(orthogonalize)
    return weights and arguments["type"] in (2, 3)


class _ScipyBackend:
    """scipy.fft backend: ``with scipy.fft.set_backend(tessel_fft.scipy_backend): ...``.

    It serves the functions this package has for numpy arrays (and sequences and scalars) of float32,
    float64, complex64 and complex128, after scipy's conversions of other dtypes. Everything else it
    declines with NotImplemented, and scipy's next backend answers: other functions, other array types
    (a GPU or dask array is left to its own backend, never converted here), long double, and any call
    whose arguments are invalid, so that the error is scipy's own, and the orthonormal DST-II and DST-III,
    whose convention differs (_scipy_weights_differ).
    """

    __ua_domain__ = "numpy.scipy.fft"

    @staticmethod
    def __ua_function__(method, args, kwargs):
        function = _SERVED.get(method.__name__)
        if function is None:
            return NotImplemented
        x = args[0] if args else kwargs.get("x")
        if not isinstance(x, (np.ndarray, np.generic, list, tuple, numbers.Number)):
            return NotImplemented
        try:
            if _scipy_weights_differ(method.__name__, args, kwargs):
                return NotImplemented
            return function(*args, **kwargs)
        except (TypeError, ValueError, NotImplementedError):
            return NotImplemented

    def __repr__(self):
        return "tessel_fft.scipy_backend"


scipy_backend = _ScipyBackend()
