"""FFTs, DCTs and DSTs of numpy arrays along any axis, with scipy.fft's functions and conventions.

The functions take the arguments of their scipy.fft namesakes and return what those return. Each call
transforms along one axis of the array where it lies when that array is C- or Fortran-contiguous; other
layouts are copied once. The GIL is released while a transform runs, and plans are kept in process-wide
caches that all threads share.

``scipy_backend`` serves the same functions to code that calls scipy.fft::

    with scipy.fft.set_backend(tessel_fft.scipy_backend):
        ...

FFTW's wisdom (``export_wisdom``, ``import_wisdom``, their ``_file`` forms, ``import_system_wisdom``,
``forget_wisdom``) keeps measured plans across processes; a failed import raises ValueError and
leaves the wisdom in memory as it was.

``tessel_fft.dask`` runs them over dask arrays chunked along the other axes.
"""
from ._core import (export_wisdom, export_wisdom_to_file, fftw_version, forget_wisdom,
                    import_system_wisdom, import_wisdom, import_wisdom_from_file,
                    library_version)
from ._fft import (dct, dctn, dst, dstn, fft, idct, idctn, idst, idstn, ifft,
                   irfft, rfft, set_planner)
from ._backend import scipy_backend

__version__ = library_version()

__all__ = ["fft", "ifft", "rfft", "irfft", "dct", "idct", "dst", "idst",
           "dctn", "idctn", "dstn", "idstn", "scipy_backend", "set_planner",
           "library_version", "fftw_version", "export_wisdom", "import_wisdom",
           "export_wisdom_to_file", "import_wisdom_from_file", "import_system_wisdom",
           "forget_wisdom"]
