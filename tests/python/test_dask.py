"""tessel_fft.dask on a local cluster of two worker processes."""
import numpy as np
import pytest
import scipy.fft

da = pytest.importorskip("dask.array")
distributed = pytest.importorskip("distributed")

import tessel_fft.dask  # noqa: E402

rng = np.random.default_rng(11)
X = rng.standard_normal((12, 40, 30)) + 1j * rng.standard_normal((12, 40, 30))
# (function, positional arguments, keyword arguments, chunks): the cut axes decide the phases.
CALLS = [
    ("fft", (50,), {"axis": 1, "norm": "ortho"}, (4, 40, 10)),  # positional n; axis whole
    ("idct", (3, 200, 1), {}, (4, 40, 10)),  # positional type, n and axis on the real part
    ("rfft", (), {"axis": 1}, (4, 10, 30)),  # a cut axis, rechunked whole
    ("fftn", (), {}, (12, 40, 30)),  # one block
    ("fftn", ((16, 20), (2, 0)), {}, (4, 20, 30)),  # one cut axis of two, padded and cut
    ("ifftn", (), {"norm": "forward"}, (4, 10, 10)),  # every axis cut
    ("rfftn", (), {"axes": (0, 1)}, (12, 10, 15)),  # the half-spectrum axis cut: it goes first
    ("rfft2", ((9, 11),), {}, (4, 40, 15)),
    ("irfftn", (), {"axes": (1, 2), "norm": "ortho"}, (6, 40, 10)),  # the half axis cut: it goes last
    ("irfft2", ((10, 9), (2, 0)), {}, (12, 20, 30)),  # the half axis whole, the other cut
    ("hfftn", (), {"axes": (0, 2)}, (4, 20, 10)),
    ("ihfft2", (), {}, (12, 10, 15)),
    ("dctn", (1,), {"axes": (0, 2)}, (4, 40, 10)),
    ("idstn", (), {"type": 3, "s": (5, 7)}, (12, 20, 10)),
]


def test_cluster_matches_scipy():
    inputs = [X.real if name in ("rfftn", "rfft2", "ihfft2", "rfft", "idct", "dctn", "idstn") else X
              for name, *_ in CALLS]
    lazy = [getattr(tessel_fft.dask, name)(da.from_array(x, chunks=chunks), *args, **kwargs)
            for x, (name, args, kwargs, chunks) in zip(inputs, CALLS)]
    expected = [getattr(scipy.fft, name)(x, *args, **kwargs)
                for x, (name, args, kwargs, _) in zip(inputs, CALLS)]
    for y, reference, call in zip(lazy, expected, CALLS):
        assert (y.shape, y.dtype) == (reference.shape, reference.dtype), call
    with distributed.LocalCluster(n_workers=2, threads_per_worker=1, processes=True, host="127.0.0.1",
                                  dashboard_address=None) as cluster, distributed.Client(cluster) as client:
        results = client.compute(lazy, sync=True)
        ran_on = client.run(lambda: __import__("tessel_fft").__file__)
    assert len(ran_on) == 2
    for result, reference, call in zip(results, expected, CALLS):
        np.testing.assert_allclose(result, reference, rtol=1e-12, atol=1e-12 * np.abs(reference).max(),
                                   err_msg=str(call))
