"""Independent references for the statistical-eye tests, and the checks that
the references themselves are right (the tests of this file).

* Brute force: every one of the M^K symbol patterns of K ISI cursors gives
  one ISI value, all equally likely; with Gaussian noise the exact BER of
  eye i at v is

      BER_i(v) = (1/M) mean over patterns of
                 [ Q((v - a_i h_0 - I) / sigma) + Q((a_{i+1} h_0 + I - v) / sigma) ],

  Q(z) = ndtr(-z) (full relative precision in the upper tail); sigma = 0
  takes the strict step P(y < v), P(y >= v).
* The lattice bracket: the eye places each of the K factors within one bin
  of its exact position, so its ISI is the exact one moved by at most
  K bin_v.  Moving every pattern by +-K bin_v in the direction that raises
  (lowers) each term bounds the eye's BER from above (below).
* Q^-1(p) = -ndtri(p), checked against the reference table.
"""

from __future__ import annotations

import numpy as np
import pytest
from scipy.special import erfcx, ndtr, ndtri

# Q^-1 at the usual targets, 4 decimals.
Q_TABLE = {1e-6: 4.7534, 1e-9: 5.9978, 1e-12: 7.0345, 1e-15: 7.9413}


def q_inverse(p):
    """z with Q(z) = 1/2 erfc(z / sqrt 2) = p."""
    return -ndtri(p)


def upper_tail(z):
    """Q(z) = P(N(0, 1) >= z)."""
    return ndtr(-np.asarray(z, dtype=np.float64))


def symbol_levels(m: int) -> np.ndarray:
    """A_M = {-1, -1 + 2/(M-1), ..., 1}."""
    return -1.0 + 2.0 * np.arange(m) / (m - 1)


def isi_patterns(cursors, m: int) -> np.ndarray:
    """sum_k a_k h_k for every one of the M^K symbol patterns."""
    values = np.zeros(1)
    for h in np.asarray(cursors, dtype=np.float64):
        values = (values[:, None] + symbol_levels(m)[None, :] * h).ravel()
    return values


def exact_ber(h0: float, isi: np.ndarray, m: int, eye: int, v, sigma: float,
              shift: float = 0.0) -> np.ndarray:
    """BER_eye(v) over the equiprobable ISI values ``isi``.  ``shift`` moves
    every ISI value by ``shift`` in the direction that raises both terms
    (up under a_i, down under a_{i+1}); a negative shift lowers them.  The
    lattice bracket is exact_ber(..., -K bin_v) <= eye <= exact_ber(...,
    +K bin_v).
    """
    a = symbol_levels(m)
    v = np.atleast_1d(np.asarray(v, dtype=np.float64))[:, None]
    low = a[eye] * h0 + isi[None, :] + shift        # P(y >= v | a_i) grows with shift
    high = a[eye + 1] * h0 + isi[None, :] - shift   # P(y < v | a_{i+1}) grows with shift
    if sigma > 0.0:
        above = upper_tail((v - low) / sigma).mean(axis=1)
        below = upper_tail((high - v) / sigma).mean(axis=1)
    else:
        above = (low >= v).mean(axis=1)
        below = (high < v).mean(axis=1)
    return (above + below) / m


def gaussian_cdf_integral(z):
    """G(z) = int_{-inf}^{z} Phi(t) dt = z Phi(z) + phi(z), without the
    cancellation of that form for z << 0: there
    G(z) = e^{-z^2/2} [1/sqrt(2 pi) - |z| erfcx(|z| / sqrt 2) / 2]."""
    z = np.asarray(z, dtype=np.float64)
    x = np.abs(z)
    tail = np.exp(-0.5 * x * x) * (1.0 / np.sqrt(2.0 * np.pi) - 0.5 * x * erfcx(x / np.sqrt(2.0)))
    return np.where(z < 0.0, tail, z + tail)   # G(z) = z + G(-z)


def uniform_isi_ber(h0: float, half_width: float, v, sigma: float, shift: float = 0.0):
    """NRZ BER at v when the ISI is Uniform(-w, w) (w = half_width) and the
    noise N(0, sigma^2), with the bracket shift of :func:`exact_ber`:

        P(y < v | +1) = (1 / 2w) int_{-w}^{w} Phi((v - h0 - x) / sigma) dx
                      = sigma / (2w) [G((v - h0 + w) / sigma) - G((v - h0 - w) / sigma)]

    and P(y >= v | -1) the same by symmetry at -v.  sigma = 0: the linear CDF.
    """
    v = np.asarray(v, dtype=np.float64)

    def below(c):   # P(h0 + I < c)
        if sigma == 0.0:
            return np.clip((c - h0 + half_width) / (2.0 * half_width), 0.0, 1.0)
        return sigma / (2.0 * half_width) * (gaussian_cdf_integral((c - h0 + half_width) / sigma)
                                             - gaussian_cdf_integral((c - h0 - half_width) / sigma))

    # P(y >= v | -1) = P(-h0 + I >= v) = P(h0 - I <= -v) = P(h0 + I' < -v).
    return 0.5 * (below(-v + shift) + below(v + shift))


def dual_dirac_exceed(u, dj: float, rj: float):
    """P(J >= u) for J ~ 1/2 [N(-DJ/2, RJ^2) + N(+DJ/2, RJ^2)]."""
    return 0.5 * (upper_tail((u - 0.5 * dj) / rj) + upper_tail((u + 0.5 * dj) / rj))


# ---------------------------------------------------------------------------
# The references checked on their own
# ---------------------------------------------------------------------------

@pytest.mark.parametrize("p, q", sorted(Q_TABLE.items()))
def test_q_inverse_reproduces_the_reference_table(p, q):
    assert round(float(q_inverse(p)), 4) == q
    assert upper_tail(q_inverse(p)) == pytest.approx(p, rel=1e-12)


def test_isi_patterns_enumerate_every_sign_combination():
    values = np.sort(isi_patterns([1.0, 2.0], 2))
    np.testing.assert_array_equal(values, [-3.0, -1.0, 1.0, 3.0])
    assert isi_patterns([0.5] * 3, 4).size == 64


def test_cdf_integral_matches_its_direct_form_where_that_is_stable():
    z = np.linspace(-3.0, 5.0, 81)
    direct = z * ndtr(z) + np.exp(-0.5 * z * z) / np.sqrt(2.0 * np.pi)
    np.testing.assert_allclose(gaussian_cdf_integral(z), direct, rtol=1e-13, atol=0.0)


def test_cdf_integral_keeps_relative_precision_in_the_far_tail():
    # G(z) ~ phi(z) / z^2 (1 - 3 / z^2 + 15 / z^4) for z -> -inf.
    z = -30.0
    series = np.exp(-0.5 * z * z) / np.sqrt(2.0 * np.pi) / z**2 * (1 - 3 / z**2 + 15 / z**4
                                                                    - 105 / z**6)
    assert gaussian_cdf_integral(z) == pytest.approx(series, rel=1e-8)


def test_uniform_isi_ber_matches_a_fine_enumeration():
    # 14 halving cursors already spread the ISI evenly over 2^14 points.
    h1, sigma = 0.2, 0.05
    isi = isi_patterns(h1 * 0.5 ** np.arange(14), 2)
    v = np.linspace(-0.6, 0.6, 13)
    brute = exact_ber(1.0, isi, 2, 0, v, sigma)
    np.testing.assert_allclose(uniform_isi_ber(1.0, 2 * h1, v, sigma), brute, rtol=1e-3)
