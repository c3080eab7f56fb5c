"""scipy's own tests of scipy.fft, and scipy.signal's FFT convolutions, with tessel_fft.scipy_backend as
the only global backend (in processes of their own: the global backend is process-wide)."""
import os
import pathlib
import subprocess
import sys

import scipy.fft

HERE = pathlib.Path(__file__).parent


def run(arguments):
    env = dict(os.environ)
    env["PYTHONPATH"] = os.pathsep.join(filter(None, [str(HERE), env.get("PYTHONPATH")]))
    result = subprocess.run([sys.executable] + arguments, env=env, capture_output=True, text=True,
                            timeout=900)
    assert result.returncode == 0, result.stdout[-6000:] + result.stderr[-3000:]
    return result.stdout


def test_scipy_fft_suite():
    suite = pathlib.Path(scipy.fft.__file__).parent / "tests"
    # scipy's tests start their own threads and processes too.
    output = run(["-m", "pytest", "-q", "-p", "no:cacheprovider", "-p", "scipy_global_backend", str(suite)])
    assert "calls served by tessel_fft" in output


SIGNAL = """
import numpy as np, scipy.fft, scipy.signal
import tessel_fft
from tessel_fft import _backend
served = set()
for name, function in list(_backend._SERVED.items()):
    _backend._SERVED[name] = lambda *a, _f=function, _n=name, **k: served.add(_n) or _f(*a, **k)
rng = np.random.default_rng(4)
calls = []
for shape, kernel in (((300,), (17,)), ((40, 33), (5, 8)), ((12, 10, 9), (3, 4, 2))):
    for complex_ in (False, True):
        x, k = rng.standard_normal(shape), rng.standard_normal(kernel)
        if complex_:
            x, k = x + 1j * rng.standard_normal(shape), k - 1j * rng.standard_normal(kernel)
        for mode in ("full", "same", "valid"):
            calls += [(scipy.signal.fftconvolve, x, k, {"mode": mode}),
                      (scipy.signal.oaconvolve, x, k, {"mode": mode}),
                      (scipy.signal.correlate, x, k, {"mode": mode, "method": "fft"})]
expected = [function(x, k, **kwargs) for function, x, k, kwargs in calls]
scipy.fft.set_global_backend(tessel_fft.scipy_backend)
for (function, x, k, kwargs), reference in zip(calls, expected):
    actual = function(x, k, **kwargs)
    assert actual.dtype == reference.dtype and actual.shape == reference.shape
    error = np.linalg.norm(actual - reference) / np.linalg.norm(reference)
    assert error < 64 * np.finfo(float).eps * np.log2(max(x.shape) + max(k.shape)), (function, x.shape, error)
assert {"rfftn", "irfftn", "fftn", "ifftn"} <= served, served
"""


def test_signal_convolutions():
    run(["-c", SIGNAL])
