"""The numpydoc docstrings of the transforms, assembled from one table of parameters, so that twenty-six
functions with six shared arguments describe each argument once."""

_X = ("x : array_like\n    Input array. float16 is computed in float32, integers and booleans in float64, "
      "float32 and complex64\n    stay single precision.")
_PARAMETERS = {
    "x": _X,
    "x_real": _X.replace("Input array.", "Real input array."),
    "n": ("n : int, optional\n    Length of the transformed axis of the output; the input is cropped or "
          "zero-padded to it.\n    Default: the input's length along `axis`."),
    "n_half": ("n : int, optional\n    Length of the real output along `axis` (default 2*(m-1), m the "
               "input's length there);\n    the input is cropped or zero-padded to n//2+1 there."),
    "axis": "axis : int, optional\n    Axis over which to compute (default -1).",
    "s": ("s : sequence of ints, optional\n    Length of each transformed axis of the output (-1 keeps "
          "the input's); the input is\n    cropped or zero-padded to it. Default: the input's lengths."),
    "s_half": ("s : sequence of ints, optional\n    Lengths of the real output along `axes`; the last "
               "defaults to 2*(m-1), m the input's\n    length there, where the input is cropped or "
               "zero-padded to s[-1]//2+1."),
    "axes": ("axes : sequence of ints, optional\n    Axes over which to compute, unique (default: the last "
             "len(s) axes, or all)."),
    "axes2": "axes : sequence of ints, optional\n    Axes over which to compute (default (-2, -1)).",
    "type": "type : {1, 2, 3, 4}, optional\n    Type of the transform (default 2).",
    "norm": ('norm : {"backward", "ortho", "forward"}, optional\n    Normalization mode (default None, '
             'which is "backward").'),
    "overwrite_x": ("overwrite_x : bool, optional\n    Accepted for scipy's signature; the input is never "
                    "overwritten."),
    "workers": ("workers : int, optional\n    Threads of the library's call; negative values count back "
                "from os.cpu_count().\n    Default: scipy.fft.get_workers() (1 without scipy). Counts "
                "above the CPUs run on as many\n    threads as there are CPUs."),
    "orthogonalize": ('orthogonalize : bool, optional\n    Whether to use the orthogonalized weights '
                      '(default: when norm is "ortho").'),
    "plan": "plan : None, optional\n    Must be None: precomputed plans are not supported.",
}

_FFT = ("x", "n", "axis", "norm", "overwrite_x", "workers", "plan")
_FFTN = ("x", "s", "axes", "norm", "overwrite_x", "workers", "plan")
_DCST = ("x", "type", "n", "axis", "norm", "overwrite_x", "workers", "orthogonalize")
_DCSTN = ("x", "type", "s", "axes", "norm", "overwrite_x", "workers", "orthogonalize")


def _real_input(parameters):
    return ("x_real",) + parameters[1:]


def _half(parameters):
    return tuple({"n": "n_half", "s": "s_half"}.get(p, p) for p in parameters)


def _two(parameters):
    return tuple("axes2" if p == "axes" else p for p in parameters)


_COMPLEX_OUT = ("complex ndarray\n    The transform, complex64 for single precision input, complex128 "
                "otherwise.")
_REAL_OUT = "ndarray\n    The real transform, float32 for single precision input, float64 otherwise."
_SAME_OUT = "ndarray\n    The transform, of the input's dtype (after the conversions above)."
_ORTHO_DST = ("\n\nNotes\n-----\nWith orthogonalizing weights (norm=\"ortho\" by default) types 2 and 3 "
              "weight the last element,\nwhich makes the transform orthogonal; scipy 1.10 weights the "
              "first. Through scipy_backend such\ncalls are left to scipy.")
_HALF = " along the last of `axes`"

# name: (summary, parameters, returns, a note where it differs from scipy)
_FUNCTIONS = {
    "fft": ("The 1-D discrete Fourier transform; real input gives the full spectrum.", _FFT, _COMPLEX_OUT,
            ""),
    "ifft": ("The 1-D inverse discrete Fourier transform.", _FFT, _COMPLEX_OUT, ""),
    "rfft": ("The n//2+1 non-negative frequencies of the 1-D DFT of real input.", _real_input(_FFT),
             _COMPLEX_OUT, ""),
    "irfft": ("The real signal of n points whose rfft is x.", _half(_FFT), _REAL_OUT, ""),
    "hfft": ("The real spectrum of a Hermitian-symmetric signal given by its first half (irfft of the "
             "conjugate,\nscaled as a forward transform).", _half(_FFT), _REAL_OUT, ""),
    "ihfft": ("The inverse of hfft: the first n//2+1 values of the inverse DFT of real input.",
              _real_input(_FFT), _COMPLEX_OUT, ""),
    "fftn": ("The N-D discrete Fourier transform over `axes`.", _FFTN, _COMPLEX_OUT, ""),
    "ifftn": ("The N-D inverse discrete Fourier transform over `axes`.", _FFTN, _COMPLEX_OUT, ""),
    "rfftn": ("The N-D DFT of real input, with the non-negative frequencies only" + _HALF + ".",
              _real_input(_FFTN), _COMPLEX_OUT, ""),
    "irfftn": ("The inverse of rfftn: real output from the half spectrum" + _HALF + ".", _half(_FFTN),
               _REAL_OUT, ""),
    "hfftn": ("The N-D DFT of a Hermitian-symmetric signal given by its half" + _HALF + ".",
              _half(_FFTN), _REAL_OUT, ""),
    "ihfftn": ("The inverse of hfftn: the half spectrum" + _HALF + " of the inverse DFT of real input.",
               _real_input(_FFTN), _COMPLEX_OUT, ""),
    "dct": ("The discrete cosine transform of type 1 to 4 along `axis`.", _DCST, _SAME_OUT, ""),
    "idct": ("The inverse of dct of the same type and norm.", _DCST, _SAME_OUT, ""),
    "dst": ("The discrete sine transform of type 1 to 4 along `axis`.", _DCST, _SAME_OUT, _ORTHO_DST),
    "idst": ("The inverse of dst of the same type and norm.", _DCST, _SAME_OUT, _ORTHO_DST),
    "dctn": ("The N-D discrete cosine transform over `axes`; type 2 over every axis is one N-D call.",
             _DCSTN, _SAME_OUT, ""),
    "idctn": ("The inverse of dctn of the same type and norm.", _DCSTN, _SAME_OUT, ""),
    "dstn": ("The N-D discrete sine transform over `axes`, one axis after another.", _DCSTN, _SAME_OUT,
             _ORTHO_DST),
    "idstn": ("The inverse of dstn of the same type and norm.", _DCSTN, _SAME_OUT, _ORTHO_DST),
}
for _name in ("fft", "ifft", "rfft", "irfft", "hfft", "ihfft"):
    _summary, _parameters, _returns, _note = _FUNCTIONS[_name + "n"]
    _FUNCTIONS[_name + "2"] = (_summary.replace("N-D", "2-D"), _two(_parameters), _returns, _note)

_RAISES = {
    "plan": "NotImplementedError\n    If `plan` is not None.\n",
    "type": ("TypeError\n    If `type` is not an integer, or `orthogonalize` not a boolean (scipy 1.10 "
             "raises RuntimeError).\n"),
    "x_real": "TypeError\n    If x is complex.\n",
    "s_half": "ValueError\n    If the default length of the real axis is below 1.\n",
}


def _docstring(name):
    summary, parameters, returns, note = _FUNCTIONS[name]
    raises = ("ValueError\n    For an axis out of range, repeated axes, a length below 1, an `s` or `axes` "
              "that is not\n    integers, or a bad `norm` or `workers` value.\nTypeError\n    For long "
              "double input, a non-integer `n`, `axis` or `workers`, an unhashable `norm`.\n")
    raises += "".join(_RAISES[p] for p in parameters if p in _RAISES)
    return (f"{summary}\n\nAs scipy.fft.{name}, computed by the library's FFTW plans.\n\n"
            "Parameters\n----------\n" + "\n".join(_PARAMETERS[p] for p in parameters)
            + f"\n\nReturns\n-------\nout : {returns}\n\nRaises\n------\n{raises.rstrip()}{note}\n")


def documented(name):
    """Gives the decorated function its docstring."""
    def decorate(function):
        function.__doc__ = _docstring(name)
        return function
    return decorate
