"""tessel_fft's functions against scipy.fft and numpy.fft: chosen cases, seeded random calls between them,
argument errors, threads and the plan cache."""
import concurrent.futures
from dataclasses import dataclass, field

import numpy as np
import pytest
import scipy.fft

import tessel_fft
from common import assert_close, make


@dataclass
class Case:
    why: str
    function: str
    shape: tuple
    axis: int = -1
    layout: str = "C"
    dtype: str = "complex128"
    kwargs: dict = field(default_factory=dict)


CASES = [
    Case("real input, full spectrum, padded, forward", "fft", (7, 33), dtype="float32",
         kwargs={"n": 50, "norm": "forward"}),
    Case("real input to irfft, padded", "irfft", (3, 5), dtype="float64", kwargs={"n": 20, "norm": "ortho"}),
    Case("DCT-III padded, weights without ortho", "dct", (12, 5), axis=0, dtype="float32",
         kwargs={"type": 3, "n": 16, "orthogonalize": True}),
    Case("DCT-I orthonormal, cut, weights in and out", "dct", (9, 4), axis=0, dtype="float64",
         kwargs={"type": 1, "n": 7, "norm": "ortho"}),
    Case("DCT-III orthonormal, complex, padded, F", "idct", (5, 6), layout="F", dtype="complex64",
         kwargs={"n": 8, "norm": "ortho"}),
    Case("DCT-II N-D, C", "dctn", (16, 12, 5), dtype="float64", kwargs={"norm": "ortho"}),
    Case("DCT-II N-D inverse, F", "idctn", (9, 14), layout="F", dtype="float64"),
    Case("DCT-II N-D, complex, forward", "dctn", (6, 10), dtype="complex64", kwargs={"norm": "forward"}),
    Case("DCT-II N-D inverse, view, forward", "idctn", (6, 10), layout="view", dtype="float32",
         kwargs={"norm": "forward"}),
    Case("DCT N-D over some axes with s", "dctn", (6, 5, 7), dtype="float64",
         kwargs={"type": 1, "axes": (0, 2), "s": (8, 4)}),
    Case("DST N-D inverse", "idstn", (6, 5), dtype="float64", kwargs={"type": 3, "norm": "forward"}),
    Case("integers as float64", "fft", (3, 8), dtype="int32"),
    Case("float16 as float32", "dct", (3, 8), dtype="float16"),
    Case("all workers", "fft", (64, 300), axis=0, kwargs={"workers": -1}),
    Case("just long enough to release the GIL", "ifft", (6, 1024), kwargs={"norm": "ortho"}),
    Case("empty batch", "fft", (0, 8), axis=1),
    Case("empty batch, padded from nothing", "dct", (3, 0), axis=1, dtype="float64", kwargs={"n": 4}),
    Case("empty batch, real", "rfft", (4, 0, 3), axis=0, dtype="float64"),
    Case("Hermitian, odd n", "hfft", (4, 6), axis=0, kwargs={"n": 9, "norm": "ortho"}),
    Case("inverse Hermitian, F", "ihfft", (5, 12), layout="F", dtype="float32", kwargs={"norm": "forward"}),
    Case("2-D", "fft2", (6, 10)),
    Case("3-D, F, axes reversed, padded and cut", "fftn", (5, 8, 6), layout="F",
         kwargs={"axes": (2, 0), "s": (9, 4), "norm": "ortho"}),
    Case("3-D inverse of a view", "ifftn", (4, 6, 5), layout="view", dtype="complex64",
         kwargs={"norm": "forward"}),
    Case("real input, two of three axes", "fftn", (6, 5, 4), dtype="float32", kwargs={"axes": (0, 1)}),
    Case("one axis of N", "ifftn", (6, 7), kwargs={"axes": (0,), "s": (9,)}),
    Case("half spectrum, odd last", "rfftn", (4, 6, 9), dtype="float64"),
    Case("half spectrum on the first axis, F", "rfftn", (10, 3, 7), layout="F", dtype="float32",
         kwargs={"axes": (2, 0), "s": (5, 12), "norm": "forward"}),
    Case("2-D half, view, cut and padded", "rfft2", (6, 13), layout="view", dtype="float64",
         kwargs={"s": (4, 11), "norm": "ortho"}),
    Case("real from half, even default", "irfftn", (4, 6, 5)),
    Case("real from half, odd, padded, F", "irfftn", (6, 4, 5), layout="F", dtype="complex64",
         kwargs={"axes": (1, 0), "s": (7, 9), "norm": "ortho"}),
    Case("real input to irfft2", "irfft2", (5, 6), dtype="float64", kwargs={"s": (6, 5), "norm": "forward"}),
    Case("Hermitian 2-D", "hfft2", (5, 6), kwargs={"s": (4, 9)}),
    Case("Hermitian N-D, F", "hfftn", (4, 5, 6), layout="F", dtype="complex64",
         kwargs={"axes": (0, 2), "norm": "forward"}),
    Case("inverse Hermitian N-D", "ihfftn", (4, 5, 7), dtype="float64", kwargs={"norm": "ortho"}),
    Case("inverse Hermitian 2-D, F, cut", "ihfft2", (8, 9), layout="F", dtype="float32",
         kwargs={"s": (8, 6)}),
    Case("N-D, all padding", "rfftn", (3, 0), dtype="float64", kwargs={"s": (3, 4)}),
    Case("N-D, empty batch", "fftn", (0, 4, 5), kwargs={"axes": (1, 2)}),
]


@pytest.mark.parametrize("case", CASES, ids=[c.why for c in CASES])
def test_matches_scipy(case):
    x = make(np.random.default_rng(len(case.why)), case.shape, case.dtype, case.layout)
    kwargs = dict(case.kwargs)
    if case.function[-1] not in "n2":
        kwargs["axis"] = case.axis
    expected = getattr(scipy.fft, case.function)(x, **kwargs)
    actual = getattr(tessel_fft, case.function)(x, **kwargs)
    assert_close(actual, expected, max(x.shape + expected.shape))
    if hasattr(np.fft, case.function) and x.dtype.kind in "fc":
        kwargs.pop("workers", None)
        assert_close(actual, getattr(np.fft, case.function)(x, **kwargs).astype(expected.dtype), max(x.shape))


def test_random_nd_calls():
    rng = np.random.default_rng(2025)
    functions = ["fftn", "ifftn", "rfftn", "irfftn", "hfftn", "ihfftn"]
    for _ in range(60):
        function = functions[rng.integers(len(functions))]
        shape = tuple(int(m) for m in rng.integers(1, 12, rng.integers(1, 5)))
        axes = [int(a) for a in rng.permutation(len(shape))[: rng.integers(1, len(shape) + 1)]]
        real = function in ("rfftn", "ihfftn") or rng.random() < 0.3
        dtype = ("float32", "float64", "complex64", "complex128")[rng.integers(2) + (0 if real else 2)]
        x = make(rng, shape, dtype, ("C", "F", "view")[rng.integers(3)])
        kwargs = {"axes": axes, "norm": (None, "backward", "ortho", "forward")[rng.integers(4)]}
        if rng.random() < 0.5 or (function in ("irfftn", "hfftn") and x.shape[axes[-1]] < 2):
            kwargs["s"] = [int(m) for m in rng.integers(1, 16, len(axes))]
        expected = getattr(scipy.fft, function)(x, **kwargs)
        assert_close(getattr(tessel_fft, function)(x, **kwargs), expected, 256)


def test_next_fast_len_is_the_next_7_smooth():
    def smooth(n):
        for p in (2, 3, 5, 7):
            while n % p == 0:
                n //= p
        return n == 1

    for target in [1, 7, 11, 1001, 4097, 2**20 + 1] + list(np.random.default_rng(6).integers(1, 10**6, 50)):
        fast = tessel_fft.next_fast_len(target)
        assert fast == tessel_fft.next_fast_len(target, real=True)
        assert smooth(fast) and not any(smooth(m) for m in range(int(target), fast))


def test_orthonormal_dst_is_orthogonal():
    # scipy 1.10 differs here (its DST-II/III weights sit on the first element), so the check is algebra.
    for function in (tessel_fft.dst, tessel_fft.idst):
        for type in (2, 3):
            matrix = function(np.eye(12), type=type, norm="ortho", axis=0)
            assert_close(matrix.T @ matrix, np.eye(12), 12)


X = np.ones((3, 4))
# (exception, function, input, keyword arguments); scipy raises the same unless the row says otherwise.
ERRORS = [
    (IndexError, "fft", X, {"axis": 2}),
    (ValueError, "dct", X, {"n": 0}),
    (ValueError, "fft", np.zeros(0), {}),
    (ValueError, "irfft", X[:, :1], {}),
    (ValueError, "ifft", X, {"norm": "unitary"}),
    (ValueError, "fft", X, {"workers": 0}),
    (ValueError, "fft", X, {"workers": -1000}),
    (ValueError, "dst", X, {"type": 5}),
    (ValueError, "dctn", X, {"axes": (0, 0)}),
    (ValueError, "fftn", X, {"s": (2.0, 2)}),
    (ValueError, "ifft2", X, {"axes": (0.0, 1)}),
    (ValueError, "rfftn", X, {"axes": [2]}),
    (ValueError, "irfftn", X, {"axes": ()}),
    (ValueError, "hfft2", X, {"s": (3, 0)}),
    (ValueError, "fftn", X, {"s": (3, 3, 3)}),
    (ValueError, "next_fast_len", -1, {}),
    (TypeError, "next_fast_len", 1.5, {}),
    (TypeError, "rfft", X + 1j, {}),
    (TypeError, "ihfftn", X + 1j, {}),
    (TypeError, "fft", X, {"n": 2.5}),
    (TypeError, "dct", X, {"type": "2"}),
    (TypeError, "dctn", X, {"type": 2.0}),
    (TypeError, "fft", X, {"norm": ["ortho"]}),
    (NotImplementedError, "fft", X, {"plan": object()}),
    (TypeError, "fft", X.astype(np.longdouble), {"scipy": "computes it"}),
    (TypeError, "dct", X, {"orthogonalize": "yes", "scipy": "RuntimeError"}),
]


@pytest.mark.parametrize("error, function, x, kwargs", ERRORS)
def test_errors(error, function, x, kwargs):
    kwargs = dict(kwargs)
    differs = kwargs.pop("scipy", None)
    with pytest.raises(error):
        getattr(tessel_fft, function)(x, **kwargs)
    if not differs:
        with pytest.raises(error):
            getattr(scipy.fft, function)(x, **kwargs)


def test_backend_serves_or_leaves_to_scipy():
    x = np.random.default_rng(3).standard_normal((8, 6))
    with scipy.fft.set_backend(tessel_fft.scipy_backend, only=True):
        assert_close(scipy.fft.dct(x, axis=0), tessel_fft.dct(x, axis=0), 8)
        # Not served here, answered by scipy's own implementation: another function, long double.
        assert scipy.fft.fht(x[0], 0.1, 0.0).shape == (6,)
        assert scipy.fft.fft(x.astype(np.longdouble)).dtype == np.clongdouble
        with pytest.raises(ValueError, match="data points"):
            scipy.fft.fft(x, n=-1)


def test_threads():
    """Python threads transforming at once, the same shapes and different ones, long enough to release the
    GIL and too short to, get scipy's answers."""
    rng = np.random.default_rng(5)
    inputs = [make(rng, (30 + 7 * (i % 3), 200 if i % 4 else 16, 4), "complex128", "CF"[i % 2])
              for i in range(12)]
    expected = [scipy.fft.fft(x, axis=1) for x in inputs]

    def run(i):
        for _ in range(5):
            assert_close(tessel_fft.fft(inputs[i], axis=1, workers=1 + i % 2), expected[i], 200)

    with concurrent.futures.ThreadPoolExecutor(6) as pool:
        list(pool.map(run, range(len(inputs))))


def test_second_call_plans_nothing():
    x = np.ones((3, 262, 2), np.complex64)  # a shape and kind no other test uses, so the cache has room
    before = tessel_fft._core.cached_plans()
    tessel_fft.irfft(x, axis=1)
    planned = tessel_fft._core.cached_plans()
    tessel_fft.irfft(x, axis=1)
    assert before < planned == tessel_fft._core.cached_plans()


def test_wisdom_round_trip_and_rejection(tmp_path):
    """Measured wisdom survives a file round trip; a bad text or file raises and changes nothing."""
    tessel_fft.set_planner("measure")
    try:
        tessel_fft.fft(np.ones((3, 96, 2), np.complex128), axis=1)
    finally:
        tessel_fft.set_planner("estimate")
    path = tmp_path / "wisdom"
    tessel_fft.export_wisdom_to_file(str(path))
    def lines():  # FFTW may list the same wisdom in another order
        return sorted(tessel_fft.export_wisdom().splitlines())

    saved = lines()
    tessel_fft.forget_wisdom()
    tessel_fft.import_wisdom_from_file(str(path))
    assert lines() == saved
    text = tessel_fft.export_wisdom()
    with pytest.raises(ValueError):
        tessel_fft.import_wisdom(text[: len(text) // 2])
    with pytest.raises(ValueError):
        tessel_fft.import_wisdom_from_file(str(tmp_path / "missing"))
    with pytest.raises(OSError):
        tessel_fft.export_wisdom_to_file(str(tmp_path / "no" / "such" / "dir"))
    assert lines() == saved
