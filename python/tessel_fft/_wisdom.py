"""FFTW's wisdom and the versions, documented: the compiled calls under them have bare signatures."""
from . import _core


def export_wisdom():
    """All of FFTW's wisdom in memory, of both precisions, as one text.

    Returns
    -------
    text : str
        A header line naming the FFTW version, then the double and the single precision wisdom. Only
        that FFTW version can import it.
    """
    return _core.export_wisdom()


def import_wisdom(text):
    """Adds the wisdom of a text made by export_wisdom to what is in memory.

    Parameters
    ----------
    text : str

    Raises
    ------
    ValueError
        With the reason, for a text not in that form, truncated, or from another FFTW version; nothing
        is imported then.
    """
    _core.import_wisdom(text)


def export_wisdom_to_file(path):
    """Writes export_wisdom() to `path`, through a temporary file renamed over it, so that `path` is
    either the complete new file or as it was. The GIL is released meanwhile.

    Parameters
    ----------
    path : str

    Raises
    ------
    OSError
        If the directory or the file cannot be written.
    """
    _core.export_wisdom_to_file(path)


def import_wisdom_from_file(path):
    """import_wisdom of a file's contents. The GIL is released meanwhile.

    Parameters
    ----------
    path : str

    Raises
    ------
    ValueError
        If the file cannot be read or its text is refused (see import_wisdom); nothing is imported then.
    """
    _core.import_wisdom_from_file(path)


def import_system_wisdom():
    """Imports FFTW's system-wide wisdom (/etc/fftw/wisdom and /etc/fftw/wisdomf).

    Returns
    -------
    imported : bool
        True if that of at least one precision was read; a precision whose file is missing or bad keeps
        its wisdom as it was.
    """
    return _core.import_system_wisdom()


def forget_wisdom():
    """Drops all wisdom of both precisions; plans already made and cached stay valid."""
    _core.forget_wisdom()


def library_version():
    """The version of the tessel_fft library the module runs on.

    Returns
    -------
    version : str
    """
    return _core.library_version()


def fftw_version():
    """The version string of the FFTW the library runs on.

    Returns
    -------
    version : str
    """
    return _core.fftw_version()
