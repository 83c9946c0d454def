"""The channel shipped with the package: a differential 4-port link for
53.125 GBd PAM4 (also usable for 25.78125 GBd NRZ), built from the
package's own models.

Each of the two lines of the pair is, from the transmitter to the receiver,

    Tx package                     board line              Rx package
    C_die | trace (46 ohm) | C_ball  --  200 mm, 50 ohm  --  C_ball | trace | C_die

with the shunt capacitances from :func:`~zefra_tdr.builders.package`
(``line_length=0``: a pure shunt C), the traces and the board line from
:func:`~zefra_tdr.builders.line`, and the sections joined with
:func:`~zefra_tdr.cascading.cascade`.  The Rx package is the Tx package
turned around.  Lengths are in mm; loss per mm follows the builders' model
``a1 (1 + j) sqrt(fG) + a2 fG (1 - j (2/pi) ln fG)`` (fG in GHz, nepers).
The N line's board trace is ``PARAMETERS["skew_mm"]`` longer than the P line's: a P/N
skew of about 2 ps, which converts some of the differential signal to
common mode (SCD21 about -33 dB at 26.6 GHz).  The two lines are not coupled.

Port numbering 1-3/2-4: line P runs from port 1 to port 3, line N from
port 2 to port 4; the differential input is the pair (1, 2), the output the
pair (3, 4) (``order="1-3/2-4"``).  Every port is on 50 ohm (100 ohm
differential).

Figures (``docs/eye.md``; checked by tests/python/test_default_channel.py):
SDD21 about -18.0 dB at 26.5625 GHz (the Nyquist frequency of
53.125 GBd) and -9.5 dB at 12.890625 GHz (that of 25.78125 GBd); SDD11
below -11 dB up to 26.5625 GHz.

The grid is 0 to 50 GHz in steps of 78.125 MHz (641 points, both Nyquist
frequencies on it, 0 Hz included so that H(0) is measured): the pulse span
1 / df = 12.8 ns holds the response, whose tail is below 1e-4 of the peak
about 6 ns after it.

The shipped Touchstone file ``data/default_channel.s4p`` is this network
written by the toolkit's writer in RI format with the shortest digits that
read back exactly.  Regenerate it after changing the model with::

    /usr/bin/python3 -m zefra_tdr.default_channel --write python/zefra_tdr/data/default_channel.s4p
"""

from __future__ import annotations

import argparse
import sys
from pathlib import Path

import numpy as np

from .builders import line, package
from .cascading import cascade
from .network import Network

__all__ = ["DESIGN_BAUD_HZ", "DESIGN_DJ_UI", "DESIGN_LEVELS", "DESIGN_NOISE_RMS_V",
           "DESIGN_RJ_UI", "DESIGN_TARGET_BER", "GRID_HZ", "ORDER", "PARAMETERS",
           "default_channel", "default_channel_path"]

#: What the channel is made for: 53.125 GBd PAM4 read at BER 1e-6, with
#: 0.5 mV rms noise at the slicer and dual-Dirac jitter of 0.02 UI DJ and
#: 0.01 UI RJ (the defaults of ``zefra-tdr link default``).
DESIGN_BAUD_HZ = 53.125e9
DESIGN_LEVELS = 4
DESIGN_TARGET_BER = 1e-6
DESIGN_NOISE_RMS_V = 0.5e-3
DESIGN_DJ_UI = 0.02
DESIGN_RJ_UI = 0.01

#: Port numbering of the 4-port (lines 1 -> 3 and 2 -> 4).
ORDER = "1-3/2-4"

#: The model's values (lengths in mm, delays in ns per mm, losses in nepers
#: per mm: (constant, per sqrt(GHz), per GHz)).
PARAMETERS = {
    "z_ref_ohm": 50.0,               # every port's reference
    "c_die_f": 0.05e-12,             # die pad capacitance, each package
    "c_ball_f": 0.04e-12,            # ball / via capacitance, each package
    "package_trace_mm": 10.0,        # package trace length
    "package_trace_ohm": 46.0,       # package trace impedance (slightly low)
    "package_delay_ns_per_mm": 0.0065,
    "package_loss_np_per_mm": (0.0, 0.002, 0.0008),
    "board_mm": 200.0,               # board line length (P line)
    "board_ohm": 50.0,
    "board_delay_ns_per_mm": 0.0067,
    "board_loss_np_per_mm": (0.0, 0.0003, 0.0002),
    "skew_mm": 0.3,                  # extra board length of the N line
}

#: The shipped file's grid: 0 to 50 GHz in 78.125 MHz steps, Hz.
GRID_HZ = 78.125e6 * np.arange(641, dtype=np.float64)

_FILE = Path(__file__).resolve().parent / "data" / "default_channel.s4p"


def default_channel_path() -> Path:
    """The shipped Touchstone file of :func:`default_channel` (on
    :data:`GRID_HZ`)."""
    return _FILE


def _shunt(f: np.ndarray, c_f: float) -> Network:
    # A package of zero trace length with one capacitance: a shunt C.
    return package(f, c_in_f=c_f, c_out_f=0.0, line_length=0.0, delay_ns_per_unit=0.0,
                   z_ref_ohm=PARAMETERS["z_ref_ohm"], name="shunt C")


def _package(f: np.ndarray) -> Network:
    p = PARAMETERS
    trace = line(f, length=p["package_trace_mm"],
                 delay_ns_per_unit=p["package_delay_ns_per_mm"],
                 z_line_ohm=p["package_trace_ohm"], z_ref_ohm=p["z_ref_ohm"],
                 loss_np_per_unit=p["package_loss_np_per_mm"], name="package trace")
    return cascade(_shunt(f, p["c_die_f"]), trace, _shunt(f, p["c_ball_f"]), grid=f)


def _leg(f: np.ndarray, tx: Network, rx: Network, extra_mm: float) -> Network:
    p = PARAMETERS
    board = line(f, length=p["board_mm"] + extra_mm, delay_ns_per_unit=p["board_delay_ns_per_mm"],
                 z_line_ohm=p["board_ohm"], z_ref_ohm=p["z_ref_ohm"],
                 loss_np_per_unit=p["board_loss_np_per_mm"], name="board line")
    return cascade(tx, board, rx, grid=f)


def default_channel(f_hz=None) -> Network:
    """The shipped differential channel as a 4-port (numbering 1-3/2-4).

    Parameters
    ----------
    f_hz : array_like of float, optional
        Frequencies, Hz (finite, >= 0, increasing).  Default
        :data:`GRID_HZ`, the grid of the shipped file.

    Returns
    -------
    Network
        4-port on 50 ohm: line P from port 1 to 3, line N from port 2 to 4
        (``PARAMETERS["skew_mm"]`` longer); see the module's description for the model.
    """
    f = GRID_HZ.copy() if f_hz is None else np.array(f_hz, dtype=np.float64)
    tx = _package(f)
    # The receiver's package is the transmitter's turned around (die last).
    rx = Network(f, tx.s[:, ::-1, ::-1], PARAMETERS["z_ref_ohm"])
    s = np.zeros((f.shape[0], 4, 4), dtype=np.complex128)
    for extra, (a, b) in ((0.0, (0, 2)), (PARAMETERS["skew_mm"], (1, 3))):
        leg = _leg(f, tx, rx, extra)
        s[:, a, a], s[:, a, b] = leg.s[:, 0, 0], leg.s[:, 0, 1]
        s[:, b, a], s[:, b, b] = leg.s[:, 1, 0], leg.s[:, 1, 1]
    # At 0 Hz the library evaluates the shunt capacitances at 2**-52 Hz,
    # which leaves imaginary parts near 1e-26; the DC point is made real.
    dc = f == 0.0
    s[dc] = s[dc].real
    comments = [
        "zefra_tdr default channel: package + 200 mm board line + package on each line",
        "port numbering 1-3/2-4: line P 1 -> 3, line N 2 -> 4 (0.3 mm longer);",
        "differential pair (1,2) in, (3,4) out; made for 53.125 GBd PAM4 at BER 1e-6",
        "regenerate: python3 -m zefra_tdr.default_channel --write default_channel.s4p",
    ]
    return Network(f, s, PARAMETERS["z_ref_ohm"], comments=comments, name="default_channel")


def _main(argv=None) -> int:
    parser = argparse.ArgumentParser(
        prog="python3 -m zefra_tdr.default_channel",
        description="Write the default channel as a Touchstone file (RI, GHz, exact digits).")
    parser.add_argument("--write", required=True, metavar="PATH",
                        help="the .s4p file to write (replaced in one step)")
    args = parser.parse_args(argv)
    from .touchstone import write_touchstone

    write_touchstone(default_channel(), args.write, fmt="RI", unit="GHz")
    print(f"{args.write}: default channel, {GRID_HZ.size} points")
    return 0


if __name__ == "__main__":
    sys.exit(_main())
