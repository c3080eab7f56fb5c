import _core_standin

_core_standin.install()
