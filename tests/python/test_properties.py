"""tessel_fft's functions against scipy.fft on calls hypothesis draws: shapes, axes, n and s, norms, dtypes
and layouts (C, F, strided, reversed, transposed). Derandomized, so every run draws the same calls."""
import math

import numpy as np
import scipy.fft
from hypothesis import HealthCheck, given, settings
from hypothesis import strategies as st

import tessel_fft
from common import assert_close, make

EXAMPLES = settings(max_examples=80, derandomize=True, database=None, deadline=None,
                    suppress_health_check=[HealthCheck.too_slow])
NORMS = st.sampled_from([None, "backward", "ortho", "forward"])
REAL, COMPLEX = ["float32", "float64"], ["complex64", "complex128"]


@st.composite
def arrays(draw, dtypes):
    """An array of a drawn shape and dtype in one of the layouts a caller may hand over."""
    shape = tuple(draw(st.lists(st.one_of(st.integers(1, 24), st.integers(25, 70)), min_size=1,
                                max_size=3)))
    dtype = np.dtype(draw(st.sampled_from(dtypes)))
    layout = draw(st.sampled_from(["C", "F", "view", "reversed", "transposed"]))
    return make(np.random.default_rng(draw(st.integers(0, 2**32 - 1))), shape, dtype, layout)


@given(data=st.data(), function=st.sampled_from(["fft", "ifft", "rfft", "irfft"]))
@settings(EXAMPLES)
def test_fft(data, function):
    x = data.draw(arrays(REAL if function == "rfft" else REAL + COMPLEX))
    axis = data.draw(st.integers(-x.ndim, x.ndim - 1))
    kwargs = {"axis": axis, "norm": data.draw(NORMS), "workers": data.draw(st.sampled_from([None, 1, 2]))}
    n = data.draw(st.one_of(st.none(), st.integers(1, 80)))
    if function == "irfft" and n is None and x.shape[axis] < 2:
        n = 2
    if n is not None:
        kwargs["n"] = n
    expected = getattr(scipy.fft, function)(x, **kwargs)
    assert_close(getattr(tessel_fft, function)(x, **kwargs), expected, max(x.shape[axis], n or 1))


def r2r_options(data, function, sides, complex_input):
    """type, norm and orthogonalize for a DCT or DST of data whose transformed axes have lengths `sides`.
    scipy 1.10 weights another element of the orthonormal DST-II and DST-III: those calls go unweighted,
    and on complex data, where scipy ignores orthogonalize, another type."""
    sine = "dst" in function
    kwargs = {"type": data.draw(st.sampled_from([1, 2, 3, 4] if sine or min(sides) > 1 else [2, 3, 4])),
              "norm": data.draw(NORMS), "orthogonalize": data.draw(st.sampled_from([None, True, False]))}
    if sine and kwargs["type"] in (2, 3) and (kwargs["orthogonalize"] or kwargs["norm"] == "ortho"):
        kwargs["orthogonalize"] = False
        if complex_input and kwargs["norm"] == "ortho":
            kwargs["type"] = 4
    return kwargs


@given(data=st.data(), function=st.sampled_from(["dct", "idct", "dst", "idst"]))
@settings(EXAMPLES)
def test_dcst(data, function):
    x = data.draw(arrays(REAL + COMPLEX))
    axis = data.draw(st.integers(-x.ndim, x.ndim - 1))
    n = data.draw(st.one_of(st.none(), st.integers(2, 80)))
    kwargs = dict(r2r_options(data, function, [n or x.shape[axis]], x.dtype.kind == "c"), axis=axis, n=n,
                  workers=data.draw(st.sampled_from([None, 1, 2])))
    expected = getattr(scipy.fft, function)(x, **kwargs)
    assert_close(getattr(tessel_fft, function)(x, **kwargs), expected, max(x.shape[axis], n or 1))


@given(data=st.data(), function=st.sampled_from(["dctn", "idctn", "dstn", "idstn"]))
@settings(EXAMPLES)
def test_dcst_nd(data, function):
    x = data.draw(arrays(REAL + COMPLEX))
    axes = data.draw(st.one_of(st.none(), st.lists(st.integers(0, x.ndim - 1), min_size=1, unique=True)))
    kwargs = {}
    if axes is not None:
        kwargs["axes"] = [a - x.ndim if data.draw(st.booleans()) else a for a in axes]
        if data.draw(st.booleans()):
            kwargs["s"] = [data.draw(st.integers(2, 40)) for _ in axes]
    sides = kwargs.get("s") or [x.shape[a] for a in (axes if axes is not None else range(x.ndim))]
    kwargs.update(r2r_options(data, function, sides, x.dtype.kind == "c"))
    expected = getattr(scipy.fft, function)(x, **kwargs)
    assert_close(getattr(tessel_fft, function)(x, **kwargs), expected, math.prod(sides))
