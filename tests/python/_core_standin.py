"""Until the compiled module has the half-spectrum r2c (kind 3) and the N-D FFT, numpy plays them with
the same arguments, so that the Python layer above them can be tested. install() does nothing once the
compiled module has them."""
import numpy as np

from tessel_fft import _core


def _flat(array):
    """The buffer in memory order, as a writable view."""
    return array.reshape(-1, order="F" if array.flags.f_contiguous and not array.flags.c_contiguous else "C")


def _fftn(kind, single, input, output, lengths, input_extents, axes, sign, threads):
    x = _flat(input).reshape(input_extents, order="F")
    total = float(np.prod([lengths[a] for a in axes]))
    if kind == 2:
        s = [lengths[a] for a in axes]
        y = np.fft.fftn(x, s, axes) if sign < 0 else np.fft.ifftn(x, s, axes)
    else:
        order = list(axes[1:]) + [axes[0]]  # numpy's half-spectrum axis is the last
        s = [lengths[a] for a in order]
        if kind == 0:
            y = np.fft.rfftn(x, s, order) / (total if sign > 0 else 1.0)
        else:
            y = np.fft.irfftn(x, s, order) * (1.0 if sign > 0 else total)
    _flat(output)[...] = y.ravel(order="F")


def _fft(kind, single, input, output, stride, n, input_length, num_vectors, sign, threads):
    if kind != 3:
        return _compiled_fft(kind, single, input, output, stride, n, input_length, num_vectors, sign, threads)
    x = _flat(input).reshape((stride, input_length, -1), order="F")
    y = np.fft.rfft(x, n, axis=1) / (n if sign > 0 else 1.0)
    _flat(output)[...] = y.ravel(order="F")


_compiled_fft = _core.fft


def install():
    if not hasattr(_core, "fftn"):
        _core.fft, _core.fftn = _fft, _fftn
