"""How the library's failures reach Python."""
import subprocess
import sys
import textwrap

import numpy as np
import pytest

import tessel_fft

# In a child whose address space ends 48 MiB past the output array: the first allocation beyond it is the
# library's, the twiddles of a DCT-II of 2^22 points on its half-length road (operator new), and numpy's
# own MemoryError would say something else.
OUT_OF_MEMORY = textwrap.dedent("""
    import resource, numpy as np, tessel_fft
    x = np.ones(1 << 22)
    with open("/proc/self/statm") as statm:
        mapped = int(statm.read().split()[0]) * resource.getpagesize()
    hard = resource.getrlimit(resource.RLIMIT_AS)[1]
    resource.setrlimit(resource.RLIMIT_AS, (mapped + x.nbytes + (48 << 20), hard))
    try:
        tessel_fft.dct(x)
    except MemoryError as error:
        print("MemoryError", error)
""")


def test_out_of_memory_is_memory_error():
    child = subprocess.run([sys.executable, "-c", OUT_OF_MEMORY], capture_output=True, text=True, timeout=120)
    assert child.stdout.strip() == "MemoryError FFTW:nomem", child.stderr


def test_backend_failure_is_runtime_error():
    # FFTW has no plan for a DCT-I of one point; the module's own checks refuse that call before the
    # library sees it, so it goes to the binding directly.
    x = np.ones(4)
    with pytest.raises(RuntimeError, match="^FFTWAssertionFailure$"):
        tessel_fft._core.dcst(0, False, x, np.empty(4), 1, 1, 1, 4, 0, False, 1)
