"""The uarray backend through which scipy.fft calls this package."""
import inspect
import numbers

import numpy as np

from . import _fft

_NAMES = ("fft", "ifft", "rfft", "irfft", "hfft", "ihfft", "fft2", "ifft2", "rfft2", "irfft2", "hfft2",
          "ihfft2", "fftn", "ifftn", "rfftn", "irfftn", "hfftn", "ihfftn", "dct", "idct", "dst", "idst",
          "dctn", "idctn", "dstn", "idstn")
_SERVED = {name: getattr(_fft, name) for name in _NAMES}
_SINE = {name: inspect.signature(_SERVED[name]) for name in ("dst", "idst", "dstn", "idstn")}
_ARRAYS = (np.ndarray, np.generic, list, tuple, numbers.Number)


def _scipy_weights_differ(name, args, kwargs):
    """True for a DST of type 2 or 3 with orthogonalising weights. Ours weight the element that makes
    the transform orthogonal (the last, for the sine kinds); scipy up to 1.10 weights the first, as for
    the cosine kinds. Such calls go to scipy, which then answers with its own convention."""
    call = _SINE[name].bind(*args, **kwargs)
    call.apply_defaults()
    arguments = call.arguments
    orthogonalize = arguments["orthogonalize"]
    weights = arguments["norm"] == "ortho" if orthogonalize is None else bool(orthogonalize)
    return weights and arguments["type"] in (2, 3)


def _scipy_answer(method, args, kwargs):
    """scipy's own implementation of the call, whatever scipy.fft's backends are at the moment: its
    result, or its exception."""
    from scipy.fft import _backend

    return _backend._ScipyBackend.__ua_function__(method, args, kwargs)


class _ScipyBackend:
    """scipy.fft backend, set for a block or for the whole process::

        with scipy.fft.set_backend(tessel_fft.scipy_backend):
            ...
        scipy.fft.set_global_backend(tessel_fft.scipy_backend)

    It computes the transforms this package has for numpy arrays (and sequences and scalars) of
    float32, float64, complex64 and complex128, after scipy's conversions of other dtypes. Every other
    call it answers with scipy's own implementation, so that the one-line global form needs no backend
    behind it: other functions (fht, ifht), other array types (as scipy alone would: converted to
    numpy), long double, the orthonormal DST-II and DST-III, whose convention differs
    (_scipy_weights_differ), and invalid arguments, so that the exception is scipy's own.
    """

    __ua_domain__ = "numpy.scipy.fft"

    @staticmethod
    def __ua_function__(method, args, kwargs):
        name = method.__name__
        function = _SERVED.get(name)
        if function is not None and isinstance(args[0] if args else kwargs.get("x"), _ARRAYS):
            try:
                if not (name in _SINE and _scipy_weights_differ(name, args, kwargs)):
                    return function(*args, **kwargs)
            except (TypeError, ValueError, NotImplementedError):
                pass
        return _scipy_answer(method, args, kwargs)

    def __repr__(self):
        return "tessel_fft.scipy_backend"


scipy_backend = _ScipyBackend()
