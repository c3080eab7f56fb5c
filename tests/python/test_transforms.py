"""tessel_fft's functions against scipy.fft and numpy.fft: chosen cases, seeded random calls between them,
argument errors, threads and the plan cache."""
import concurrent.futures
from dataclasses import dataclass, field

import numpy as np
import pytest
import scipy.fft

import tessel_fft


def assert_close(actual, expected, n):
    """Same shape and dtype, relative L2 error below C * epsilon * log2(n)."""
    assert actual.shape == expected.shape and actual.dtype == expected.dtype
    if expected.size == 0:
        return
    scale = max(np.linalg.norm(expected), np.finfo(expected.dtype).tiny)
    error = np.linalg.norm(actual - expected) / scale
    assert error < 16 * np.finfo(expected.dtype).eps * max(np.log2(n), 1.0), error


def make(rng, shape, dtype, layout):
    """An array of `shape` in C order, F order, or as a strided view of a larger array."""
    dtype = np.dtype(dtype)
    big = tuple(2 * s + 1 for s in shape) if layout == "view" else shape
    x = rng.standard_normal(big) * 10 if dtype.kind in "iu" else rng.standard_normal(big)
    if dtype.kind == "c":
        x = x + 1j * rng.standard_normal(big)
    x = x.astype(dtype)
    if layout == "view":
        return x[tuple(slice(1, None, 2) for _ in shape)]
    return np.asfortranarray(x) if layout == "F" else x


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
    Case("middle axis of a C array", "ifft", (5, 48, 3), axis=1),
    Case("first axis of an F array, cut", "fft", (40, 6, 2), axis=0, layout="F", kwargs={"n": 30, "norm": "ortho"}),
    Case("real input, full spectrum, padded, forward", "fft", (7, 33), dtype="float32",
         kwargs={"n": 50, "norm": "forward"}),
    Case("inverse of real input", "ifft", (9, 16), axis=0, dtype="float64", kwargs={"norm": "forward"}),
    Case("odd n along the first axis", "rfft", (41, 6), axis=0, dtype="float64"),
    Case("strided view", "rfft", (8, 20), axis=1, layout="view", dtype="float32", kwargs={"norm": "ortho"}),
    Case("half spectrum to even n", "irfft", (4, 17, 5), axis=1, dtype="complex64", kwargs={"norm": "forward"}),
    Case("half spectrum cut to odd n, F", "irfft", (6, 12), layout="F", kwargs={"n": 15}),
    Case("real input to irfft, padded", "irfft", (3, 5), dtype="float64", kwargs={"n": 20, "norm": "ortho"}),
    Case("DCT-I cut", "dct", (10, 7), axis=0, dtype="float64", kwargs={"type": 1, "n": 6, "norm": "ortho"}),
    Case("DCT-II inverse, F", "idct", (6, 30), axis=1, layout="F", dtype="float64", kwargs={"norm": "ortho"}),
    Case("DCT-III padded, weights without ortho", "dct", (12, 5), axis=0, dtype="float32",
         kwargs={"type": 3, "n": 16, "orthogonalize": True}),
    Case("DCT-IV on complex data", "dct", (3, 25), dtype="complex128", kwargs={"type": 4, "norm": "forward"}),
    Case("DST-I", "dst", (4, 9, 3), axis=1, dtype="float64", kwargs={"type": 1, "norm": "ortho"}),
    Case("DST-II inverse, view", "idst", (7, 11), axis=0, layout="view", dtype="float64", kwargs={"type": 2}),
    Case("DST-III forward norm", "dst", (5, 16), dtype="float32", kwargs={"type": 3, "norm": "forward"}),
    Case("DST-IV inverse, padded", "idst", (5, 13), dtype="float64", kwargs={"type": 4, "n": 20}),
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
    Case("empty batch", "fft", (0, 8), axis=1),
    Case("empty batch, padded from nothing", "dct", (3, 0), axis=1, dtype="float64", kwargs={"n": 4}),
    Case("empty batch, real", "rfft", (4, 0, 3), axis=0, dtype="float64"),
]


@pytest.mark.parametrize("case", CASES, ids=[c.why for c in CASES])
def test_matches_scipy(case):
    x = make(np.random.default_rng(len(case.why)), case.shape, case.dtype, case.layout)
    kwargs = dict(case.kwargs)
    if not case.function.endswith("n"):
        kwargs["axis"] = case.axis
    expected = getattr(scipy.fft, case.function)(x, **kwargs)
    actual = getattr(tessel_fft, case.function)(x, **kwargs)
    assert_close(actual, expected, max(x.shape + expected.shape))
    if case.function in ("fft", "ifft", "rfft", "irfft"):
        kwargs.pop("workers", None)
        assert_close(actual, getattr(np.fft, case.function)(x, **kwargs).astype(expected.dtype), max(x.shape))


def test_random_calls():
    rng = np.random.default_rng(2024)
    functions = ["fft", "ifft", "rfft", "irfft", "dct", "idct", "dst", "idst"]
    for _ in range(60):
        function = functions[rng.integers(len(functions))]
        shape = tuple(int(s) for s in rng.integers(1, 24, rng.integers(1, 4)))
        real = function in ("rfft", "dct", "idct", "dst", "idst") or rng.random() < 0.3
        dtype = ("float32" if rng.random() < 0.5 else "float64") if real else "complex128"
        x = make(rng, shape, dtype, ("C", "F", "view")[rng.integers(3)])
        kwargs = {"axis": int(rng.integers(-len(shape), len(shape))),
                  "norm": (None, "backward", "ortho", "forward")[rng.integers(4)]}
        if rng.random() < 0.5:
            kwargs["n"] = int(rng.integers(2, 40))
        if function in ("dct", "idct", "dst", "idst"):
            kwargs["type"] = int(rng.integers(1, 5))
            if function.endswith("dst") and kwargs["type"] in (2, 3) and kwargs["norm"] == "ortho":
                kwargs["orthogonalize"] = False  # scipy 1.10 weights another element (see the backend)
            if kwargs["type"] == 1 and function.endswith("dct") and x.shape[kwargs["axis"]] < 2:
                kwargs["n"] = 2
        if function == "irfft" and "n" not in kwargs and x.shape[kwargs["axis"]] < 2:
            kwargs["n"] = 4
        expected = getattr(scipy.fft, function)(x, **kwargs)
        assert_close(getattr(tessel_fft, function)(x, **kwargs), expected, 64)


def test_orthonormal_dst_is_orthogonal():
    # scipy 1.10 differs here (its DST-II/III weights sit on the first element), so the check is algebra.
    for function in (tessel_fft.dst, tessel_fft.idst):
        for type in (2, 3):
            matrix = function(np.eye(12), type=type, norm="ortho", axis=0)
            assert_close(matrix.T @ matrix, np.eye(12), 12)


ERRORS = [
    (ValueError, lambda x: tessel_fft.fft(x, axis=2)),
    (ValueError, lambda x: tessel_fft.dct(x, n=0)),
    (ValueError, lambda x: tessel_fft.fft(np.zeros(0))),
    (ValueError, lambda x: tessel_fft.irfft(x[:, :1])),
    (ValueError, lambda x: tessel_fft.ifft(x, norm="unitary")),
    (ValueError, lambda x: tessel_fft.fft(x, workers=0)),
    (ValueError, lambda x: tessel_fft.fft(x, workers=-1000)),
    (ValueError, lambda x: tessel_fft.dst(x, type=5)),
    (ValueError, lambda x: tessel_fft.dctn(x, axes=(0, 0))),
    (TypeError, lambda x: tessel_fft.rfft(x + 1j)),
    (TypeError, lambda x: tessel_fft.fft(x.astype(np.longdouble))),
    (TypeError, lambda x: tessel_fft.fft(x, n=2.5)),
    (NotImplementedError, lambda x: tessel_fft.fft(x, plan=object())),
]


@pytest.mark.parametrize("error, call", ERRORS)
def test_errors(error, call):
    with pytest.raises(error):
        call(np.ones((3, 4)))


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
    """Python threads transforming at once, the same shapes and different ones, get scipy's answers."""
    rng = np.random.default_rng(5)
    inputs = [make(rng, (30 + 7 * (i % 3), 200, 4), "complex128", "CF"[i % 2]) for i in range(12)]
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
