"""tessel_fft.dask on a local cluster of two worker processes."""
import numpy as np
import pytest
import scipy.fft

da = pytest.importorskip("dask.array")
distributed = pytest.importorskip("distributed")

import tessel_fft.dask  # noqa: E402


def test_cluster_matches_numpy():
    rng = np.random.default_rng(11)
    x = rng.standard_normal((12, 256, 30)) + 1j * rng.standard_normal((12, 256, 30))
    chunked = da.from_array(x, chunks=(4, 256, 10))  # nine blocks, the transformed axis whole
    with distributed.LocalCluster(n_workers=2, threads_per_worker=1, processes=True, host="127.0.0.1",
                                  dashboard_address=None) as cluster, distributed.Client(cluster) as client:
        fft = tessel_fft.dask.fft(chunked, axis=1, norm="ortho")
        dct = tessel_fft.dask.idct(chunked.real, axis=1, type=3, n=200)
        spectrum, cosines = client.compute([fft, dct], sync=True)
        ran_on = client.run(lambda: __import__("tessel_fft").__file__)
    assert len(ran_on) == 2
    np.testing.assert_allclose(spectrum, np.fft.fft(x, axis=1, norm="ortho"), rtol=1e-12, atol=1e-12)
    np.testing.assert_allclose(cosines, scipy.fft.idct(x.real, axis=1, type=3, n=200), rtol=1e-12, atol=1e-12)
    with pytest.raises(ValueError):
        tessel_fft.dask.fft(chunked.rechunk({1: 128}), axis=1)
