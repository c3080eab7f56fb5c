"""FFTs, DCTs and DSTs of numpy arrays along any axes, with scipy.fft's functions and conventions.

The functions take the arguments of their scipy.fft namesakes and return what those return. Each call
transforms the array where it lies when that array is C- or Fortran-contiguous; other layouts are copied
once. The GIL is released while a transform runs, unless it is so short that handing the GIL to another
thread would cost more, and plans are kept in process-wide caches that all threads share.

``scipy_backend`` serves the same functions to code that calls scipy.fft, and leaves the rest to scipy's
own implementation, so one line is enough::

    scipy.fft.set_global_backend(tessel_fft.scipy_backend)

FFTW's wisdom (``export_wisdom``, ``import_wisdom``, their ``_file`` forms, ``import_system_wisdom``,
``forget_wisdom``) keeps measured plans across processes; a failed import raises ValueError and
leaves the wisdom in memory as it was.

``tessel_fft.dask`` runs them over dask arrays, also over axes cut into chunks.
"""
from ._wisdom import (export_wisdom, export_wisdom_to_file, fftw_version, forget_wisdom,
                      import_system_wisdom, import_wisdom, import_wisdom_from_file, library_version)
from ._fft import (dct, dctn, dst, dstn, fft, fft2, fftn, hfft, hfft2, hfftn, idct, idctn, idst, idstn,
                   ifft, ifft2, ifftn, ihfft, ihfft2, ihfftn, irfft, irfft2, irfftn, rfft, rfft2, rfftn,
                   set_planner)
from ._helper import fftfreq, fftshift, ifftshift, next_fast_len, rfftfreq
from ._backend import scipy_backend

__version__ = library_version()

__all__ = ["fft", "ifft", "rfft", "irfft", "hfft", "ihfft", "fft2", "ifft2", "rfft2", "irfft2", "hfft2",
           "ihfft2", "fftn", "ifftn", "rfftn", "irfftn", "hfftn", "ihfftn", "dct", "idct", "dst", "idst",
           "dctn", "idctn", "dstn", "idstn", "fftfreq", "rfftfreq", "fftshift", "ifftshift",
           "next_fast_len", "scipy_backend", "set_planner", "library_version", "fftw_version",
           "export_wisdom", "import_wisdom", "export_wisdom_to_file", "import_wisdom_from_file",
           "import_system_wisdom", "forget_wisdom"]
