"""scipy's own tests of scipy.fft, with tessel_fft.scipy_backend as the global backend."""
import os
import pathlib
import subprocess
import sys

import scipy.fft


def test_scipy_fft_suite():
    here = pathlib.Path(__file__).parent
    env = dict(os.environ)
    env["PYTHONPATH"] = os.pathsep.join(filter(None, [str(here), env.get("PYTHONPATH")]))
    suite = pathlib.Path(scipy.fft.__file__).parent / "tests"
    # In its own process: the global backend stays there, and scipy's tests start their own threads and
    # processes.
    result = subprocess.run(
        [sys.executable, "-m", "pytest", "-q", "-p", "no:cacheprovider", "-p", "scipy_global_backend",
         str(suite)], env=env, capture_output=True, text=True, timeout=600)
    assert result.returncode == 0, result.stdout[-6000:] + result.stderr[-3000:]
    assert "calls served by tessel_fft" in result.stdout
