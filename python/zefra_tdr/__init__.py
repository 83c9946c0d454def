"""Python face of Zefra_TDR_Helpers and its channel toolkit.

Names and units: a parameter that holds a physical quantity with a fixed
unit ends in that unit -- ``_hz``, ``_s``, ``_ns``, ``_ohm``, ``_f``
(farad), ``_h`` (henry), ``_db``, ``_rad`` (radian), ``_rad_s`` (rad/s);
a parameter in the caller's own unit (amplitudes, abscissas, bin widths, a
line length in whatever unit its loss and delay are given per) carries no
suffix, and neither do counts and dimensionless values.

Zefra_TDR_Helpers is a C library of numeric routines for signal-integrity and
time-domain-reflectometry work.  This package calls it through :mod:`ctypes`;
the shared libraries are loaded on first use (``pip install`` puts them inside
the package; see :mod:`zefra_tdr._library` for the search order, and set
``ZEFRA_TDR_LIB`` to the full path of the library file to choose one).
``zefra_tdr.__version__`` is the version of the loaded toolkit library, the
project's one version number.

Conventions shared by every wrapper:

* inputs are any array-likes; they are converted to C-contiguous 1-D
  ``float64`` (or ``complex128``) arrays and are never modified;
* lengths must fit a signed 32-bit integer, else :class:`ValueError`;
* results come back as Python floats or fresh numpy arrays, in the units of
  the inputs.

Basic numeric routines
----------------------
mod
    Floored remainder by one divisor, near-multiples snapped to zero.
kron
    Kronecker product of two vectors.
conv
    Full linear convolution, each sum in increasing index.
filter_signal
    Rational digital filter with zero initial state (like lfilter).
unwrap
    Phase unwrapping (radians) that skips (and keeps) NaN and exact-zero
    samples.

Polynomials
-----------
poly
    The single coefficient the library hands back for given roots: 1.0.
polyval
    Real-coefficient polynomial at complex points, by Horner's rule.
polyfit
    Least-squares straight line (slope, intercept), pivoted QR.

Filter design
-------------
butterworth_tf, get_butterworth_tf
    Frequency response of an analogue Butterworth low-pass filter (two
    exports; angular frequencies in rad/s).

Statistics
----------
median
    Median, NaN-propagating, with an overflow-free midpoint for even length.
eval_std
    Sample standard deviation (divisor ``n - 1``), summed left to right.
norm
    Euclidean norm that neither overflows nor underflows.

Interpolation
-------------
interp_linear, interp_linear_extrap
    Piecewise-linear interpolation of a sorted table, zero or linearly
    extended outside it.
interp_linear_extrap_complex, linear_interp_c
    The same for complex values at real abscissas (the second one lean:
    ascending table trusted, zero outside).
interp_cubic
    Shape-preserving piecewise cubic Hermite interpolation (PCHIP rule).
interp_sparam
    S-parameter trace resampled between frequency grids by the sibling
    module interp_Sparam.

Channel models
--------------
S-parameters of two-ports, as tuples ``(S11, S12, S21, S22)`` of complex128
arrays over a frequency grid in Hz.

combine_s4p
    Cascade of two two-ports.
synth_tline
    Uniform lossy, causal transmission line between two impedance steps.
make_package
    IC package path: shunt C, optional series L and shunt C, lossy line,
    shunt C.

Special functions
-----------------
erfcinv
    Inverse complementary error function, element by element.

Equalisation and noise
----------------------
td_ctle
    Continuous-time linear equaliser (one zero, two poles) discretised with
    the bilinear transform and run as a second-order recursive filter.
xtalk_noise_step
    Crosstalk noise power at the worst sampling phase, from a coupling
    response and an aggressor pattern.
floating_dfe
    Tap positions, weights and limits of a floating-tap decision-feedback
    equaliser.

Equalisation of pulse responses
-------------------------------
Pulse responses sampled ``samples_per_ui`` times per unit interval (V/V).

apply_ffe
    Transmitter feed-forward equaliser (taps one UI apart).
apply_ctle, ctle_family
    The CTLE of td_ctle set by its gain at 0 Hz, for one gain or several.
sample_cursors, Cursors
    Cursors at the pulse peak or at the hula-hoop centre.
apply_dfe, DfeResult
    Ideal decision-feedback equaliser on cursors, fixed and floating taps.

Pulse responses (docs/pulse.md)
-------------------------------
pulse_response, PulseResponse, PulseDiagnostics
    Impulse, step and pulse of a terminated through (single-ended or
    differential) from S-parameters, with DC, causality, wrap-around,
    band-edge and passivity diagnostics, through the toolkit library.
equalize, EqualizedPulse, CtleSetting
    CTLE, Tx FFE, cursor sampling and DFE on a pulse response.
plot_pulse, save_pulse_plot
    The pulse with its cursors and the DFE-cancelled part shaded.

Statistical eye (docs/eye.md)
-----------------------------
statistical_eye, StatisticalEye, Aggressor
    The BER map of every eye of an M-PAM link from its pulse response:
    exact ISI and crosstalk densities on a lattice, Gaussian noise and
    dual-Dirac jitter, through the toolkit library (conventions in
    ``zefra_tdr.stat_eye.CONVENTIONS``).
EyeReadout, EyeFigures
    Its read-out at a target BER: eye heights and widths, contours,
    bathtubs, eye area.
search_equalizer, SearchResult, Candidate, EyeDfe, ffe_grid
    Exhaustive CTLE x Tx FFE search on the worst eye's height, with a
    fixed and floating DFE.

The default link (docs/eye.md)
------------------------------
default_channel, default_channel_path
    The differential 4-port shipped with the package (package, 200 mm
    line, package; 53.125 GBd PAM4) and the path of its Touchstone file.
plot_statistical_eye, plot_vertical_bathtub, plot_horizontal_bathtub
    A statistical eye's BER map with its contours, and its bathtubs.
plot_channel_loss, save_link_plots
    A through's |S21| with the Nyquist frequency and band; the four
    figures of ``zefra-tdr link``.

Sweeps (docs/sweep.md)
----------------------
sweep, SweepResult, load_sweep_plan
    Every (channel, setting) case of a YAML/TOML plan, each a
    ``zefra-tdr link`` run, on a local process pool or a Dask cluster;
    rows to JSON Lines and CSV, resumable.
plot_sweep
    Worst-eye height against channel loss, one colour per setting.

Networks and Touchstone files
-----------------------------
Network
    S-parameters of an N-port over a frequency grid (``f`` in Hz,
    ``s[k, i, j]``, ``z0`` in ohms), shaped like scikit-rf's.
NoiseData
    Noise parameters of a two-port, in SI units.
read_touchstone, write_touchstone
    Touchstone files (.sNp, .ts; versions 1 and 2) in and out, through the
    toolkit library.
TouchstoneError
    A file that breaks a rule of the format (a ValueError with ``path`` and
    ``line``).

Probability densities
---------------------
Histograms on a uniform amplitude grid, returned as numpy arrays together
with the grid offset and a success flag.

pdf_from_sampled_signal
    Density of the sum of cursors, each times an equiprobable M-level symbol.
pdf_from_sampled_signal_800g
    The same, largest cursor first, with the grid offset kept whole.
cpdf
    Weighted histogram of given points on a grid centred on zero.
"""

from .builders import line, package
from .cascading import cascade, common_grid
from .channel import combine_s4p, make_package, synth_tline
from .density import cpdf, pdf_from_sampled_signal, pdf_from_sampled_signal_800g
from .equalization import floating_dfe, td_ctle, xtalk_noise_step
from .filter_design import butterworth_tf, get_butterworth_tf
from .interpolation import (
    interp_cubic,
    interp_linear,
    interp_linear_extrap,
    interp_linear_extrap_complex,
    interp_sparam,
    linear_interp_c,
)
from .network import Network, NoiseData
from .network_ops import MixedModeNetwork, from_mixed_mode
from .numeric import conv, filter_signal, kron, mod, unwrap
from .plots import plot_network, save_plot
from .polynomial import poly, polyfit, polyval
from .equalized import CtleSetting, EqualizedPulse, equalize
from .plots_time import plot_pulse, save_pulse_plot
from .default_channel import default_channel, default_channel_path
from .eye_search import Candidate, EyeDfe, SearchResult, ffe_grid, search_equalizer
from .stat_eye import Aggressor, EyeFigures, EyeReadout, StatisticalEye, statistical_eye
from .plots_eye import (plot_channel_loss, plot_horizontal_bathtub, plot_statistical_eye,
                        plot_vertical_bathtub, save_link_plots)
from .pulse import PulseDiagnostics, PulseResponse, pulse_response
from .plots_sweep import plot_sweep
from .sweep_plan import load_plan as load_sweep_plan
from .sweep_run import SweepResult, sweep
from .pulse_eq import Cursors, DfeResult, apply_ctle, apply_dfe, apply_ffe, ctle_family, sample_cursors
from .special import erfcinv
from .statistics import eval_std, median, norm
from .touchstone import TouchstoneError, read_touchstone, write_touchstone

__all__ = [
    "CtleSetting", "EqualizedPulse", "PulseDiagnostics", "PulseResponse", "equalize",
    "plot_pulse", "pulse_response", "save_pulse_plot",
    "default_channel", "default_channel_path", "plot_channel_loss", "plot_horizontal_bathtub",
    "plot_statistical_eye", "plot_vertical_bathtub", "save_link_plots",
    "Aggressor", "EyeFigures", "EyeReadout", "StatisticalEye", "statistical_eye",
    "Candidate", "EyeDfe", "SearchResult", "ffe_grid", "search_equalizer",
    "SweepResult", "load_sweep_plan", "plot_sweep", "sweep",
    "Cursors", "DfeResult", "MixedModeNetwork", "Network", "NoiseData", "TouchstoneError",
    "apply_ctle", "apply_dfe", "apply_ffe",
    "butterworth_tf", "cascade", "combine_s4p", "common_grid", "conv", "cpdf", "ctle_family",
    "erfcinv", "eval_std",
    "filter_signal", "floating_dfe", "from_mixed_mode", "get_butterworth_tf", "interp_cubic",
    "interp_linear", "interp_linear_extrap", "interp_linear_extrap_complex",
    "interp_sparam", "kron", "line", "linear_interp_c", "make_package",
    "median", "mod", "norm", "package", "pdf_from_sampled_signal", "pdf_from_sampled_signal_800g",
    "plot_network", "poly", "polyfit", "polyval", "read_touchstone", "sample_cursors", "save_plot", "synth_tline", "td_ctle", "unwrap",
    "write_touchstone", "xtalk_noise_step",
]


def __getattr__(name: str):
    # The version is read from the toolkit library the first time it is
    # asked for, so that importing the package loads nothing.
    if name == "__version__":
        from ._library import toolkit_function

        version = toolkit_function("zefra_tk_version")().decode("ascii")
        globals()["__version__"] = version
        return version
    raise AttributeError(f"module {__name__!r} has no attribute {name!r}")
