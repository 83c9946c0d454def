"""Conversions between array-likes and the C buffers of the library.

Every wrapper goes through these helpers, so that all exports share the same
rules:

* double inputs become C-contiguous ``float64`` 1-D arrays; complex inputs
  become C-contiguous ``complex128`` 1-D arrays, passed to C as interleaved
  (re, im) ``double`` pairs;
* a 0-d input (a scalar) is treated as one element; input with more than one
  dimension is rejected with :class:`ValueError`;
* every count must fit a signed 32-bit integer, else :class:`ValueError`;
* input buffers are only read by the library.  When the caller's array
  already has the right dtype and layout it is passed without a copy, and it
  is never written to;
* output buffers are fresh arrays allocated here.
"""

from __future__ import annotations

import ctypes

import numpy as np

__all__ = [
    "INT32_MAX",
    "as_complex_vector",
    "as_double_vector",
    "check_count",
    "complex_ptr",
    "count_of",
    "double_ptr",
    "int32_scalar",
    "new_complex_output",
    "new_double_output",
]

#: Largest count the library accepts (counts are ``int32_t``).
INT32_MAX = 2**31 - 1

_c_double_p = ctypes.POINTER(ctypes.c_double)


def check_count(n, name: str = "n") -> ctypes.c_int32:
    """Return ``n`` as a :class:`ctypes.c_int32` after checking its range.

    Raises
    ------
    ValueError
        If ``n`` is negative or larger than ``2**31 - 1``.
    TypeError
        If ``n`` is not an integer.
    """
    if isinstance(n, (bool, np.bool_)) or not isinstance(n, (int, np.integer)):
        raise TypeError(f"{name} must be an integer, got {type(n).__name__}")
    n = int(n)
    if n < 0 or n > INT32_MAX:
        raise ValueError(
            f"{name} = {n} does not fit the library's signed 32-bit count "
            f"(0 .. {INT32_MAX})"
        )
    return ctypes.c_int32(n)


def int32_scalar(v, name: str = "value") -> ctypes.c_int32:
    """Return ``v`` as a :class:`ctypes.c_int32`; negative values are allowed.

    For integer arguments that are not counts (an order, a phase count...).

    Raises
    ------
    ValueError
        If ``v`` lies outside ``-2**31 .. 2**31 - 1``.
    TypeError
        If ``v`` is not an integer.
    """
    if isinstance(v, (bool, np.bool_)) or not isinstance(v, (int, np.integer)):
        raise TypeError(f"{name} must be an integer, got {type(v).__name__}")
    v = int(v)
    if v < -INT32_MAX - 1 or v > INT32_MAX:
        raise ValueError(f"{name} = {v} does not fit a signed 32-bit integer")
    return ctypes.c_int32(v)


def _as_vector(x, dtype, name: str) -> np.ndarray:
    arr = np.asarray(x)
    if arr.ndim > 1:
        raise ValueError(f"{name} must be one-dimensional, got shape {arr.shape}")
    # Check the length before any copy, so an oversized (e.g. broadcast) view
    # is rejected without being materialised.
    check_count(arr.size, f"len({name})")
    if dtype == np.float64 and np.iscomplexobj(arr):
        raise TypeError(f"{name} must be real, got dtype {arr.dtype}")
    if arr.ndim == 0:
        arr = arr.reshape(1)
    return np.ascontiguousarray(arr, dtype=dtype)


def as_double_vector(x, name: str = "x") -> np.ndarray:
    """Return ``x`` as a C-contiguous ``float64`` 1-D array.

    Parameters
    ----------
    x : array_like, shape (n,) or scalar
        Real values.  A scalar counts as one element.
    name : str
        Name used in error messages.

    Returns
    -------
    numpy.ndarray, float64, shape (n,)
        ``x`` itself when it already is such an array, otherwise a copy.

    Raises
    ------
    ValueError
        If ``x`` has more than one dimension or more than ``2**31 - 1``
        elements.
    TypeError
        If ``x`` is complex.
    """
    return _as_vector(x, np.float64, name)


def as_complex_vector(x, name: str = "x") -> np.ndarray:
    """Return ``x`` as a C-contiguous ``complex128`` 1-D array.

    Same rules as :func:`as_double_vector`; real input gets a zero imaginary
    part.  Pass the result to C with :func:`complex_ptr`.
    """
    return _as_vector(x, np.complex128, name)


def count_of(arr: np.ndarray, name: str = "x") -> ctypes.c_int32:
    """Element count of a 1-D array converted by the helpers above, as int32."""
    return check_count(arr.shape[0], f"len({name})")


def double_ptr(arr: np.ndarray):
    """``double *`` to the data of a C-contiguous ``float64`` array."""
    if arr.dtype != np.float64 or not arr.flags.c_contiguous:
        raise TypeError("double_ptr needs a C-contiguous float64 array")
    return arr.ctypes.data_as(_c_double_p)


def complex_ptr(arr: np.ndarray):
    """``double *`` to the interleaved (re, im) pairs of a ``complex128`` array.

    The memory layout is that of ``zefra_complex``, so the pointer can be
    passed where the library expects ``zefra_complex *`` (declared as
    ``POINTER(c_double)``).
    """
    if arr.dtype != np.complex128 or not arr.flags.c_contiguous:
        raise TypeError("complex_ptr needs a C-contiguous complex128 array")
    return arr.ctypes.data_as(_c_double_p)


def new_double_output(n, name: str = "n") -> np.ndarray:
    """Fresh zero-filled ``float64`` array of ``n`` elements for the library to fill."""
    return np.zeros(check_count(n, name).value, dtype=np.float64)


def new_complex_output(n, name: str = "n") -> np.ndarray:
    """Fresh zero-filled ``complex128`` array of ``n`` elements for the library to fill."""
    return np.zeros(check_count(n, name).value, dtype=np.complex128)
