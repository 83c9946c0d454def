"""Python bindings for Zefra_TDR_Helpers.

Zefra_TDR_Helpers is a C library of numeric routines for signal-integrity and
time-domain-reflectometry work.  This package calls it through :mod:`ctypes`;
the shared library is loaded on first use (see :mod:`zefra_tdr._library` for
how it is located; set ``ZEFRA_TDR_LIB`` to its full path to choose one).

Conventions shared by every wrapper:

* inputs are any array-likes; they are converted to C-contiguous 1-D
  ``float64`` (or ``complex128``) arrays and are never modified;
* lengths must fit a signed 32-bit integer, else :class:`ValueError`;
* results come back as Python floats or fresh numpy arrays, in the units of
  the inputs.

Statistics
----------
median
    Median, NaN-propagating, with an overflow-free midpoint for even length.
eval_std
    Sample standard deviation (divisor ``n - 1``), summed left to right.
norm
    Euclidean norm that neither overflows nor underflows.
"""

from .statistics import eval_std, median, norm

__all__ = ["eval_std", "median", "norm"]
