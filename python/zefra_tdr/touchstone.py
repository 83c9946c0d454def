"""Touchstone files (.sNp, .ts; versions 1.0, 1.1, 2.0 and 2.1) in and out.

:func:`read_touchstone` and :func:`write_touchstone` call the toolkit
library (``zefra_tk_touchstone_read``, ``zefra_tk_touchstone_write``); the
file format rules they follow, and the layout the writer produces, are
described in ``docs/touchstone.md`` and ``docs/touchstone_writing.md``.
Whatever a file holds (S, Y, Z, H or G parameters, version-1 normalised
values, mixed-mode data), a :class:`~zefra_tdr.network.Network` carries
single-ended S-parameters and real references in ohms.

Errors:

* :class:`TouchstoneError` (a :class:`ValueError`): the file breaks a rule
  of the format, or a network cannot be written as Touchstone text; it
  carries ``path`` and ``line`` (``None`` when no line is concerned);
* :class:`OSError` and its subclasses (:class:`FileNotFoundError`,
  :class:`PermissionError`, :class:`IsADirectoryError`): a file cannot be
  opened, read or written; the message names the file (and ``filename``
  holds it when Python's ``open`` found the problem).

:func:`describe` and :func:`info` compute what ``zefra-tdr info`` prints,
and :func:`convert_touchstone` is ``zefra-tdr convert``.
"""

from __future__ import annotations

import ctypes
import errno
import os
import re
from pathlib import Path

import numpy as np

from ._library import toolkit_function
from .network import Network, NoiseData

__all__ = ["TouchstoneError", "convert_touchstone", "describe", "info", "read_touchstone",
           "write_touchstone"]

# zefra_tk_status values (zefra/toolkit/common.h).
_OK, _BAD_INPUT, _IO_ERROR, _NO_MEMORY = 0, 1, 2, 3
# Kinds of text attached to a network (zefra/toolkit/touchstone.h).
_COMMENT, _WARNING, _VERSION, _PARAMETER, _FORMAT, _UNIT, _MIXED_MODE = range(7)
# Writer options, in the order of the ZEFRA_TK_FORMAT_* and ZEFRA_TK_UNIT_*
# values.
FORMATS = ("RI", "MA", "DB")
UNITS = ("Hz", "kHz", "MHz", "GHz")

_MESSAGE_SIZE = 4096
_c_double_p = ctypes.POINTER(ctypes.c_double)


class TouchstoneError(ValueError):
    """A Touchstone file breaks a rule of the format, or a network cannot be
    written as one.

    Attributes
    ----------
    path : str
        The file.
    line : int or None
        The line (from 1) where the problem is, when there is one.
    """

    def __init__(self, message, path, line=None) -> None:
        super().__init__(message)
        self.path = path
        self.line = line


def _double_p(arr: np.ndarray):
    return arr.ctypes.data_as(_c_double_p)


def _line_of(message: str, path: str) -> int | None:
    """The LINE of a message "PATH:LINE: ..." (None for "PATH: ...")."""
    if message.startswith(path + ":"):
        match = re.match(r"(\d+):", message[len(path) + 1:])
        if match:
            return int(match.group(1))
    return None


def _raise_for(status: int, message: bytes, path: str) -> None:
    text = message.decode("utf-8", "replace")
    if status == _BAD_INPUT:
        raise TouchstoneError(text, path, _line_of(text, path))
    if status == _NO_MEMORY:
        raise MemoryError(text)
    raise OSError(errno.EIO, text)


def _read(path) -> tuple[Network, dict]:
    """The network of a file, and what the file says of itself: version,
    parameter, format and frequency unit."""
    name = os.fspath(path)
    if isinstance(name, bytes):
        name = os.fsdecode(name)
    # Python's own open raises the precise OSError subclass, with errno and
    # file name, for a file that is missing, unreadable or a folder.
    with open(name, "rb"):
        pass
    handle = ctypes.c_void_p()
    message = ctypes.create_string_buffer(_MESSAGE_SIZE)
    status = toolkit_function("zefra_tk_touchstone_read")(
        os.fsencode(name), ctypes.byref(handle), message, _MESSAGE_SIZE)
    if status != _OK:
        _raise_for(status, message.value, name)
    try:
        ports = toolkit_function("zefra_tk_network_ports")(handle)
        points = toolkit_function("zefra_tk_network_points")(handle)
        f = np.empty(points, dtype=np.float64)
        z0 = np.empty(ports, dtype=np.float64)
        toolkit_function("zefra_tk_network_copy_grid")(handle, _double_p(f), _double_p(z0))
        # One allocation for S, filled as the library releases its own copy.
        s = np.empty((points, ports, ports), dtype=np.complex128)
        taken = toolkit_function("zefra_tk_network_take_s")(handle, _double_p(s))
        if taken != s.size:
            raise RuntimeError(f"{name}: the library handed over {taken} S values, "
                               f"expected {s.size}")
        noise = None
        noise_points = toolkit_function("zefra_tk_network_noise_points")(handle)
        if noise_points > 0:
            columns = [np.empty(noise_points, dtype=np.float64) for _ in range(3)]
            gamma = np.empty(noise_points, dtype=np.complex128)
            toolkit_function("zefra_tk_network_copy_noise")(
                handle, _double_p(columns[0]), _double_p(columns[1]), _double_p(gamma),
                _double_p(columns[2]))
            noise = NoiseData(f_hz=columns[0], nf_min_db=columns[1], gamma_opt=gamma,
                              rn_ohm=columns[2])
        count = toolkit_function("zefra_tk_network_text_count")
        text = toolkit_function("zefra_tk_network_text")

        def texts(kind: int) -> tuple[str, ...]:
            return tuple(text(handle, kind, i).decode("utf-8", "replace")
                         for i in range(count(handle, kind)))

        facts = {kind: (texts(kind) or ("",))[0]
                 for kind in (_VERSION, _PARAMETER, _FORMAT, _UNIT)}
        network = Network._from_arrays(
            f, s, z0, noise=noise, comments=texts(_COMMENT), warnings=texts(_WARNING),
            name=Path(name).stem, mixed_mode_order=texts(_MIXED_MODE))
    finally:
        toolkit_function("zefra_tk_network_free")(handle)
    return network, {"file_version": facts[_VERSION], "file_parameter": facts[_PARAMETER],
                     "file_format": facts[_FORMAT], "file_unit": facts[_UNIT]}


def read_touchstone(path) -> Network:
    """Read a Touchstone file.

    Parameters
    ----------
    path : str or os.PathLike
        The file.  A version-1 file takes its port count from the extension
        ``.sNp`` (also ``.yNp``, ``.zNp``, ``.hNp``, ``.gNp``, any case).

    Returns
    -------
    Network
        ``f`` in Hz, ``s`` the single-ended S-parameters (converted from Y,
        Z, H, G or mixed-mode data when the file holds those), ``z0`` the
        reference of each port in ohms, ``noise`` in SI units (Rn in ohms)
        or None, the file's comments (without ``!``) and the reader's
        warnings (``"PATH:LINE: ..."``), ``name`` the file name without its
        extension, ``mixed_mode_order`` the file's descriptors, if any.

    Raises
    ------
    TouchstoneError
        If the text breaks a rule of the format; ``.path`` and ``.line``
        say where, and the message what was expected.
    FileNotFoundError, PermissionError, IsADirectoryError, OSError
        If the file cannot be opened or read; the message names it.
    MemoryError
        If the network does not fit in memory.
    """
    return _read(path)[0]


def _option(value, choices: tuple[str, ...], name: str) -> int:
    if isinstance(value, str):
        for index, choice in enumerate(choices):
            if value.upper() == choice.upper():
                return index
    raise ValueError(f"{name} = {value!r} is none of {', '.join(choices)} (any case)")


def write_touchstone(network, path, *, fmt="RI", unit="GHz", version=None,
                     digits=None) -> None:
    """Write a network as a Touchstone file, replacing ``path`` in one step.

    Parameters
    ----------
    network : Network
        Its S-parameters must be finite.
    path : str or os.PathLike
        The file.  A name ending in ``.sNp`` must carry the network's port
        count; a version-1 file needs such a name.
    fmt : {"RI", "MA", "DB"}, any case
        Real and imaginary parts (default), magnitude and angle in degrees,
        or 20 log10 of the magnitude (dB) and angle in degrees.
    unit : {"Hz", "kHz", "MHz", "GHz"}, any case
        Frequency unit of the file (default GHz).  Frequencies always read
        back bit for bit: when one of them, read as a double and multiplied
        by the unit, would not give the same frequency, the file takes the
        largest smaller unit in which all of them do (Hz always does).
    version : {None, 1, 2}
        None (default) writes version 1 when every reference is equal, the
        name ends in ``.sNp`` and the noise data can follow the network
        data in version-1 style, else version 2 (``[Reference]`` then holds
        the references).  Version 1 with unequal references is an error.
    digits : None or int 1 .. 17
        None (default): the shortest digits that read back to the same
        double, so that an RI file gives back every bit of ``s``, ``z0``
        and the frequencies.  Otherwise that many significant digits for
        the values (not for the frequencies).

    The text goes to a temporary file in the same folder, renamed over
    ``path`` at the end; on failure ``path`` is left as it was.

    Raises
    ------
    TouchstoneError
        If the network cannot be written as Touchstone text (a non-finite
        S value, noise data for another than a two-port, a name announcing
        another port count, version 1 with unequal references...); the
        message says which value and where.
    ValueError
        If ``fmt``, ``unit``, ``version`` or ``digits`` is out of range, or
        the network's arrays no longer have matching shapes.
    TypeError
        If ``network`` is not a :class:`Network`.
    FileNotFoundError, OSError
        If the folder does not exist, or the file cannot be written.
    """
    if not isinstance(network, Network):
        raise TypeError(f"network must be a Network, got {type(network).__name__}")
    format_index = _option(fmt, FORMATS, "fmt")
    unit_index = _option(unit, UNITS, "unit")
    if version not in (None, 1, 2) or isinstance(version, bool):
        raise ValueError(f"version = {version!r} is none of None (choose), 1, 2")
    if digits is not None and (isinstance(digits, bool) or not isinstance(digits, int)
                               or not 1 <= digits <= 17):
        raise ValueError(f"digits = {digits!r} is neither None (shortest round trip) "
                         "nor a whole number of significant digits from 1 to 17")
    # The attributes can have been replaced since the network was made: the
    # shapes are checked again before the library reads the arrays.
    f = np.ascontiguousarray(network.f, dtype=np.float64)
    s = np.ascontiguousarray(network.s, dtype=np.complex128)
    z0 = np.ascontiguousarray(network.z0, dtype=np.float64)
    if f.ndim != 1 or s.shape != (f.size, z0.size, z0.size) or z0.ndim != 1:
        raise ValueError(f"the network's arrays do not match: f {f.shape}, s {s.shape}, "
                         f"z0 {z0.shape}")
    noise = network.noise
    noise_arrays = [None] * 4
    noise_points = 0
    if noise is not None:
        noise_arrays = [np.ascontiguousarray(noise.f_hz, dtype=np.float64),
                        np.ascontiguousarray(noise.nf_min_db, dtype=np.float64),
                        np.ascontiguousarray(noise.gamma_opt, dtype=np.complex128),
                        np.ascontiguousarray(noise.rn_ohm, dtype=np.float64)]
        noise_points = noise_arrays[0].size
        if any(a.shape != (noise_points,) for a in noise_arrays):
            raise ValueError("the noise arrays differ in length")
    name = os.fspath(path)
    if isinstance(name, bytes):
        name = os.fsdecode(name)
    folder = os.path.dirname(os.path.abspath(name))
    if not os.path.isdir(folder):
        raise FileNotFoundError(errno.ENOENT, f"cannot write {name}: there is no folder {folder}")
    # Comments are ASCII text: other characters become '?', one per
    # character (the library replaces control bytes the same way).
    comments = [c.replace("\0", "?").encode("ascii", "replace") for c in network.comments]
    comment_array = (ctypes.c_char_p * max(1, len(comments)))(*comments)
    message = ctypes.create_string_buffer(_MESSAGE_SIZE)
    status = toolkit_function("zefra_tk_touchstone_write")(
        os.fsencode(name), z0.size, f.size, _double_p(f), _double_p(s), _double_p(z0),
        noise_points, *[None if a is None else _double_p(a) for a in noise_arrays],
        comment_array, len(comments), format_index, unit_index, version or 0, digits or 0,
        message, _MESSAGE_SIZE)
    if status != _OK:
        _raise_for(status, message.value, name)


def convert_touchstone(source, target, *, fmt="RI", unit="GHz", version=None,
                       digits=None) -> None:
    """Read ``source`` and write it to ``target`` with the options of
    :func:`write_touchstone` (the comments are kept; the data become
    single-ended S-parameters)."""
    write_touchstone(read_touchstone(source), target, fmt=fmt, unit=unit, version=version,
                     digits=digits)


def describe(network: Network) -> dict:
    """Sizes, band, references and two checks of a network.

    Returns
    -------
    dict
        ``ports``, ``points``, ``f_start_hz``, ``f_stop_hz``, ``z0_ohm``
        (one per port), ``noise_points`` (0 without noise data),
        ``mixed_mode_order``, ``warnings``, and:

        * ``max_singular_value``: the largest singular value of ``S`` over
          the band, with ``max_singular_value_f_hz`` where it occurs
          (above 1: the network gives out more power than it takes in at
          that frequency, i.e. it is not passive there);
        * ``reciprocity_error``: ``max |S_ij - S_ji|`` over the band and
          the port pairs, with ``reciprocity_error_f_hz`` (0 for a
          reciprocal network).

        Points where ``S`` is not finite are left out of both; when no point
        is finite the values and their frequencies are None.
    """
    from .network_ops import passivity, reciprocity

    f = network.f
    sigma = passivity(network)
    asymmetry = reciprocity(network)
    result = {
        "ports": network.nports,
        "points": network.nfreq,
        "f_start_hz": float(f[0]),
        "f_stop_hz": float(f[-1]),
        "z0_ohm": [float(r) for r in network.z0],
        "noise_points": 0 if network.noise is None else len(network.noise),
        "mixed_mode_order": list(network.mixed_mode_order),
        "warnings": list(network.warnings),
    }
    for key, values in (("max_singular_value", sigma), ("reciprocity_error", asymmetry)):
        if np.isnan(values).all():
            result[key] = result[key + "_f_hz"] = None
        else:
            k = int(np.nanargmax(values))
            result[key] = float(values[k])
            result[key + "_f_hz"] = float(f[k])
    return result


def info(path) -> dict:
    """:func:`describe` of the network in a file, with ``file`` (the path)
    and what the file says of itself: ``file_version`` ("1.0", "2.0",
    "2.1"), ``file_parameter`` ("S", "Y", "Z", "H", "G"), ``file_format``
    ("RI", "MA", "DB") and ``file_unit`` ("Hz" .. "GHz").  Raises as
    :func:`read_touchstone`."""
    network, facts = _read(path)
    return {"file": os.fsdecode(os.fspath(path)), **facts, **describe(network)}
