"""Random networks for the Touchstone tests, and how they are compared.

The hypothesis settings :data:`TOUCHSTONE` are derandomized and keep no
example database, like every profile of the test suite, so that a run
draws the same networks each time.
"""

from __future__ import annotations

import numpy as np
from hypothesis import HealthCheck, settings
from hypothesis import strategies as st
from hypothesis.extra import numpy as hnp

import zefra_tdr

TOUCHSTONE = settings(derandomize=True, database=None, deadline=None, max_examples=120,
                      suppress_health_check=[HealthCheck.too_slow,
                                             HealthCheck.data_too_large])

# Any finite double, subnormals and signed zeros included: RI text must give
# every one of them back.
ANY_FINITE = st.floats(allow_nan=False, allow_infinity=False)
# Magnitudes whose dB value stays within +-2000 dB, for the MA and DB
# comparisons (see oracles.TOLERANCES), or exact zeros.
MODERATE = st.one_of(st.just(0.0), st.floats(1e-100, 1e100), st.floats(-1e100, -1e-100))


@st.composite
def grids(draw, size: int, largest: float = 1e13) -> np.ndarray:
    """``size`` strictly increasing frequencies in [0, largest] Hz: either
    arbitrary doubles or a VNA-like grid ``start + k * step`` (whole Hz
    steps, the common case)."""
    if draw(st.booleans()):
        values = draw(st.lists(st.floats(0.0, largest), min_size=size, max_size=size,
                               unique=True))
        f = np.sort(np.array(values, dtype=np.float64)) + 0.0  # no -0.0
        return f
    step = draw(st.integers(1, int(largest // (size + 1))))
    start = draw(st.integers(0, step * 4))
    return start + step * np.arange(size, dtype=np.float64)


@st.composite
def noise_data(draw, last_network_f: float, start: str = "any") -> zefra_tdr.NoiseData:
    """Noise data of 1 to 4 points, starting anywhere (``start="any"``), at or
    below ``last_network_f`` (``"at_or_below"``, as a version-1 file needs)
    or strictly below it (``"below"``)."""
    m = draw(st.integers(1, 4))
    if start == "any":
        f = draw(grids(m))
    else:
        first = draw(st.floats(0.0, last_network_f, exclude_max=start == "below"))
        # first <= 1e13 Hz and whole-Hz steps: every sum is exact.
        f = first + draw(st.integers(1, 10**9)) * np.arange(m)
    gamma = draw(hnp.arrays(np.complex128, m, elements=st.complex_numbers(
        max_magnitude=10.0, allow_nan=False, allow_infinity=False)))
    nf_min = draw(hnp.arrays(np.float64, m, elements=st.floats(-5.0, 30.0)))
    # Rn is 0 or at least 1e-3 ohm, so that Rn / R is a normal number.
    rn = draw(hnp.arrays(np.float64, m, elements=st.one_of(st.just(0.0),
                                                           st.floats(1e-3, 1e6))))
    return zefra_tdr.NoiseData(f, nf_min, gamma + 0.0, rn)


@st.composite
def networks(draw, *, values=ANY_FINITE, max_ports: int = 6, equal_references=None,
             noise=None, noise_start: str = "any") -> zefra_tdr.Network:
    """A network of 1 to ``max_ports`` ports and 1 to 12 points.

    equal_references: True, False or None (either).  noise: True (a
    two-port with noise), False (none) or None (either, for two-ports).
    noise_start: where the noise frequencies start, see :func:`noise_data`
    (with ``"below"``, a network whose only frequency is 0 has no noise).
    """
    n = 2 if noise else draw(st.integers(1, max_ports))
    nf = draw(st.integers(1, 12))
    f = draw(grids(nf))
    s = np.empty((nf, n, n), dtype=np.complex128)
    s.real = draw(hnp.arrays(np.float64, (nf, n, n), elements=values))
    s.imag = draw(hnp.arrays(np.float64, (nf, n, n), elements=values))
    equal = draw(st.booleans()) if equal_references is None else equal_references
    references = st.floats(1e-3, 1e6)
    if equal or n == 1:
        z0 = np.full(n, draw(references))
    else:
        z0 = np.array(draw(st.lists(references, min_size=n, max_size=n, unique=True)))
    with_noise = n == 2 and (draw(st.booleans()) if noise is None else noise)
    if noise_start == "below" and f[-1] == 0:
        with_noise = False
    noise_value = draw(noise_data(f[-1], noise_start)) if with_noise else None
    return zefra_tdr.Network(f, s, z0, noise=noise_value, comments=["random network"])


def same_bits(a: np.ndarray, b: np.ndarray) -> bool:
    """Same shape and the same bits (so -0.0 differs from 0.0)."""
    a, b = np.ascontiguousarray(a), np.ascontiguousarray(b)
    return a.shape == b.shape and a.dtype == b.dtype and a.tobytes() == b.tobytes()


def relative_error(ours: np.ndarray, reference: np.ndarray, floor: float = 0.0) -> float:
    """max |ours - reference| / max(|reference|, floor), elementwise; complex
    values are compared as complex numbers (an angle error moves both
    parts)."""
    ours, reference = np.asarray(ours), np.asarray(reference)
    if ours.size == 0:
        return 0.0
    scale = np.maximum(np.abs(reference), floor)
    error = np.abs(ours - reference)
    with np.errstate(divide="ignore", invalid="ignore"):
        ratio = np.where(error == 0, 0.0, error / scale)
    return float(np.max(ratio))
