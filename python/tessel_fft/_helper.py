"""Frequencies, shifts and fast lengths: numpy's frequency and shift helpers as they are, and the lengths
FFTW transforms fastest."""
import operator
import sys

from numpy.fft import fftfreq, fftshift, ifftshift, rfftfreq

__all__ = ["fftfreq", "rfftfreq", "fftshift", "ifftshift", "next_fast_len"]

# FFTW has codelets for 11 and 13 too, but lengths with them were slower per point than the 7-smooth
# ones beside them (200 complex double vectors, FFTW_MEASURE, one thread of a shared AMD EPYC: 1001,
# 1040, 1155, 1183 took 1.1 to 2.2 times as long per point as 1008, 1050, 1176, 1200).


def next_fast_len(target, real=False):
    """The smallest length at least `target` that FFTW transforms fastest.

    Parameters
    ----------
    target : int
        The length to start from; 0 gives 0.
    real : bool, optional
        Accepted for scipy's signature. FFTW's real and complex transforms are fast at the same lengths, so
        unlike scipy (whose real transforms want 5-smooth lengths) the answer does not depend on it.

    Returns
    -------
    out : int
        The smallest n >= target of the form 2^a 3^b 5^c 7^d, where scipy gives 11-smooth lengths for
        complex transforms.

    Raises
    ------
    TypeError
        If `target` is not an integer.
    ValueError
        If `target` is negative.
    OverflowError
        If `target` exceeds sys.maxsize, as in scipy.
    """
    target = operator.index(target)
    if target < 0:
        raise ValueError("Target length must be positive")
    if target > sys.maxsize:
        raise OverflowError("Python int too large to convert to C ssize_t")
    if target <= 7:
        return target
    best = 1 << (target - 1).bit_length()
    p7 = 1
    while p7 < best:
        p75 = p7
        while p75 < best:
            p753 = p75
            while p753 < best:
                # The smallest power of two that brings the product to target or above.
                best = min(best, p753 << (-(-target // p753) - 1).bit_length())
                p753 *= 3
            p75 *= 5
        p7 *= 7
    return best
