"""No wrapper lets the library write outside the output buffers it allocates.

Every wrapper is called with inputs drawn by hypothesis -- NaN, infinities,
signed zeros, subnormals, huge and negative widths and counts, empty arrays
-- while its output buffers carry guard bytes (see ``output_guards``), which
are checked after each call.  The wrappers without an output buffer of their
own (the reductions, the crosstalk noise, the cursor densities whose arrays
the library allocates) run too, so that ``run_under_valgrind.sh`` checks
every export's reads and writes.

The hypothesis profile is chosen with ``ZEFRA_HYPOTHESIS_PROFILE``
(``guards`` by default, ``valgrind`` for the run under memcheck); every
profile is derandomized and keeps no example database.
"""

from __future__ import annotations

import math
import os

import numpy as np
from hypothesis import HealthCheck, example, given, reject, settings
from hypothesis import strategies as st

import zefra_tdr
from output_guards import OutputTooLarge, guarded_outputs

_COMMON = dict(derandomize=True, database=None, deadline=None,
               suppress_health_check=[HealthCheck.too_slow, HealthCheck.filter_too_much])
settings.register_profile("guards", max_examples=150, **_COMMON)
settings.register_profile("valgrind", max_examples=10, **_COMMON)
GUARDS = settings(settings.get_profile(os.environ.get("ZEFRA_HYPOTHESIS_PROFILE", "guards")))

# ---- strategies ----------------------------------------------------------------

SPECIAL_FLOATS = [0.0, -0.0, math.nan, math.inf, -math.inf, 5e-324, -5e-324,
                  2.2250738585072014e-308, 1e308, -1e308, 1.7976931348623157e308,
                  1.0, -1.0, 0.5, 2.0**31, -(2.0**31), 2.0**53]
any_float = st.one_of(st.sampled_from(SPECIAL_FLOATS), st.floats(), st.floats(-10.0, 10.0))
small_float = st.floats(-8.0, 8.0)


def real_arrays(elements=any_float, max_size=12, size=None):
    lists = (st.lists(elements, max_size=max_size) if size is None
             else st.lists(elements, min_size=size, max_size=size))
    return lists.map(lambda v: np.array(v, dtype=np.float64))


def complex_arrays(max_size=12, size=None):
    pairs = st.tuples(any_float, any_float).map(lambda p: complex(*p))
    lists = (st.lists(pairs, max_size=max_size) if size is None
             else st.lists(pairs, min_size=size, max_size=size))
    return lists.map(lambda v: np.array(v, dtype=np.complex128))


@st.composite
def tables(draw, complex_values=False):
    """Interpolation tables (x, y, queries); x sorted either way, or not."""
    n = draw(st.integers(0, 10))
    x = draw(real_arrays(size=n))
    order = draw(st.sampled_from(["ascending", "descending", "as drawn"]))
    if order != "as drawn":
        x = np.sort(x)
        if order == "descending":
            x = x[::-1].copy()
    y = draw(complex_arrays(size=n) if complex_values else real_arrays(size=n))
    return x, y, draw(real_arrays())


BIN_WIDTHS = [-1e308, -math.inf, math.inf, math.nan, 0.0, -0.0, 5e-324, -5e-324, 1e308,
              -(2.0**1023), -1.7976931348623157e308, 2.0**-52 / 1999.5, 2.0**-52 / 2000.5,
              1e-19, 1e-3, 0.1, 0.25, 1.0, -0.25]
bin_widths = st.one_of(st.sampled_from(BIN_WIDTHS), st.floats(1e-4, 10.0), st.floats())


@st.composite
def points_on_grid(draw, w):
    """Points near whole bins of w (so that calls succeed), mixed with
    arbitrary ones."""
    near_grid = st.builds(
        lambda k, f: (k + f) * w if math.isfinite(w) else k + f,
        st.one_of(st.integers(-3, 3), st.integers(-2500, 2500)),
        st.sampled_from([0.0, 0.5, -0.5, 0.49999997, 0.25]))
    return np.array(draw(st.lists(st.one_of(near_grid, any_float), max_size=6)),
                    dtype=np.float64)


@st.composite
def cpdf_cases(draw):
    w = draw(bin_widths)
    points = draw(points_on_grid(w))
    weights = draw(real_arrays(st.one_of(st.sampled_from([0.0, 1.0, 0.5, math.nan, math.inf]),
                                         any_float)))
    return points.tolist(), weights.tolist(), w, draw(st.integers(0, 40))


def guarded_call(call, *, allocates=True):
    """Runs call() with guarded outputs and checks the guards; returns the
    result.  A legitimately huge output is not tested (rejected)."""
    with guarded_outputs() as guards:
        try:
            result = call()
        except OutputTooLarge:
            reject()
        guards.assert_intact()
    if allocates:
        assert guards.blocks, "the wrapper allocated no output through the helpers"
    return result


# ---- basic numeric routines ----------------------------------------------------


@GUARDS
@given(x=real_arrays(), m=any_float)
def test_mod_writes_only_inside_its_output(x, m):
    assert guarded_call(lambda: zefra_tdr.mod(x, m)).shape == x.shape


@GUARDS
@given(a=real_arrays(), b=real_arrays())
@example(a=np.zeros(0), b=np.zeros(3))
def test_kron_writes_only_inside_its_output(a, b):
    assert guarded_call(lambda: zefra_tdr.kron(a, b)).size == a.size * b.size


@GUARDS
@given(a=real_arrays(), b=real_arrays())
@example(a=np.zeros(0), b=np.zeros(0))
@example(a=np.zeros(0), b=np.ones(4))
def test_conv_writes_only_inside_its_output(a, b):
    guarded_call(lambda: zefra_tdr.conv(a, b))


@GUARDS
@given(b=real_arrays(max_size=5), a=real_arrays(max_size=4), x=real_arrays())
def test_filter_signal_writes_only_inside_its_output(b, a, x):
    assert guarded_call(lambda: zefra_tdr.filter_signal(b, a, x)).shape == x.shape


@GUARDS
@given(x=real_arrays())
def test_unwrap_writes_only_inside_its_output(x):
    guarded_call(lambda: zefra_tdr.unwrap(x))


@GUARDS
@given(x=real_arrays())
def test_erfcinv_writes_only_inside_its_output(x):
    guarded_call(lambda: zefra_tdr.erfcinv(x))


# ---- polynomials and filter design ----------------------------------------------


@GUARDS
@given(r=real_arrays())
def test_poly_writes_only_inside_its_output(r):
    assert guarded_call(lambda: zefra_tdr.poly(r)) == 1.0


@GUARDS
@given(p=real_arrays(), z=complex_arrays())
def test_polyval_writes_only_inside_its_output(p, z):
    guarded_call(lambda: zefra_tdr.polyval(p, z))


@GUARDS
@given(n=st.integers(0, 10), data=st.data())
def test_polyfit_writes_only_inside_its_output(n, data):
    x, y = data.draw(real_arrays(size=n)), data.draw(real_arrays(size=n))
    assert len(guarded_call(lambda: zefra_tdr.polyfit(x, y))) == 2


ORDERS = st.one_of(st.integers(-3, 24), st.sampled_from([-(2**31), 0]))


@GUARDS
@given(order=ORDERS, w=real_arrays(), wc=any_float)
def test_butterworth_tf_writes_only_inside_its_output(order, w, wc):
    guarded_call(lambda: zefra_tdr.butterworth_tf(order, w, wc))


@GUARDS
@given(order=ORDERS, w=real_arrays(), wc=any_float)
def test_get_butterworth_tf_writes_only_inside_its_output(order, w, wc):
    guarded_call(lambda: zefra_tdr.get_butterworth_tf(order, w, wc))


# ---- reductions (no output buffer: run for valgrind) ---------------------------------


@GUARDS
@given(x=real_arrays())
def test_reductions_return_floats(x):
    for reduce in (zefra_tdr.median, zefra_tdr.eval_std, zefra_tdr.norm):
        assert isinstance(guarded_call(lambda: reduce(x), allocates=False), float)


# ---- interpolation --------------------------------------------------------------------


@GUARDS
@given(table=tables())
def test_real_interpolation_writes_only_inside_its_output(table):
    x, y, q = table
    for interp in (zefra_tdr.interp_linear, zefra_tdr.interp_linear_extrap,
                   zefra_tdr.interp_cubic):
        assert guarded_call(lambda: interp(x, y, q)).shape == q.shape


@GUARDS
@given(table=tables(complex_values=True))
def test_complex_interpolation_writes_only_inside_its_output(table):
    x, y, q = table
    for interp in (zefra_tdr.interp_linear_extrap_complex, zefra_tdr.linear_interp_c):
        assert guarded_call(lambda: interp(x, y, q)).shape == q.shape


@GUARDS
@given(table=tables(complex_values=True))
def test_interp_sparam_writes_only_inside_its_output(table):
    f_in, s, f_out = table
    assert guarded_call(lambda: zefra_tdr.interp_sparam(s, f_in, f_out)).shape == f_out.shape


# ---- channel models ---------------------------------------------------------------------


@GUARDS
@given(n=st.integers(0, 8), data=st.data())
def test_combine_s4p_writes_only_inside_its_outputs(n, data):
    a, b = ([data.draw(complex_arrays(size=n)) for _ in range(4)] for _ in range(2))
    assert len(guarded_call(lambda: zefra_tdr.combine_s4p(a, b))) == 4


@GUARDS
@given(f=real_arrays(), coeffs=real_arrays(max_size=5), z=st.tuples(any_float, any_float),
       tau=any_float, length=any_float)
def test_synth_tline_writes_only_inside_its_outputs(f, coeffs, z, tau, length):
    guarded_call(lambda: zefra_tdr.synth_tline(
        f, z_a_ohm=z[0], z_b_ohm=z[1], loss_coeffs=coeffs, tau_ns=tau, length=length))


@GUARDS
@given(f=real_arrays(), coeffs=real_arrays(max_size=5),
       values=st.lists(any_float, min_size=8, max_size=8))
def test_make_package_writes_only_inside_its_outputs(f, coeffs, values):
    length, c_in, c_out, zc, delay, z0, ind, c_mid = values
    guarded_call(lambda: zefra_tdr.make_package(
        f, line_length=length, shunt_cap_in_f=c_in, shunt_cap_out_f=c_out,
        line_impedance_ohm=zc, phase_delay_ns=delay, loss_coeffs=coeffs,
        ref_impedance_ohm=z0, series_ind_h=ind, shunt_cap_mid_f=c_mid))


# ---- equalisation and noise ----------------------------------------------------------------


@GUARDS
@given(x=real_arrays(), params=st.lists(any_float, min_size=6, max_size=6))
def test_td_ctle_writes_only_inside_its_output(x, params):
    rate, zero, pole1, pole2, gain_db, multiplier = params
    assert guarded_call(lambda: zefra_tdr.td_ctle(
        x, base_rate_hz=rate, zero_hz=zero, pole1_hz=pole1, pole2_hz=pole2,
        gain_db=gain_db, rate_multiplier=multiplier)).shape == x.shape


@GUARDS
@given(response=real_arrays(), pattern=real_arrays(max_size=40),
       samples_per_ui=st.integers(-3, 16), amplitude=any_float)
def test_xtalk_noise_step_returns_a_float(response, pattern, samples_per_ui, amplitude):
    assert isinstance(guarded_call(lambda: zefra_tdr.xtalk_noise_step(
        response, pattern, samples_per_ui=samples_per_ui, amplitude=amplitude),
        allocates=False), float)


DFE_TAPS = st.one_of(
    st.sampled_from([math.nan, math.inf, -math.inf, 0.0, -0.0, -1.0, -0.5, 1e308, 2.0**20 + 0.5,
                     1.0 - 2.0**-53, 1.0 / 3.0, 3.0]),
    st.floats(-2.0, 6.0))
# Group counts stay small in the random draws: with 2**20 groups and a
# position so large that adding a tap number leaves it unchanged, every
# group rewrites the whole position list (2**40 writes).  The cap on the
# group count is exercised by the explicit examples.
DFE_GROUPS = st.one_of(
    st.sampled_from([math.nan, -math.inf, 0.0, -0.0, -1.0, 1.0 / 3.0, 2.0, 3.0]),
    st.floats(-2.0, 6.0))


@GUARDS
@given(pulse=real_arrays(st.one_of(small_float, any_float)), taps=DFE_TAPS, groups=DFE_GROUPS,
       window=st.tuples(st.one_of(st.floats(-3.0, 14.0), any_float),
                        st.one_of(st.floats(-3.0, 14.0), any_float)),
       weights=st.tuples(any_float, any_float))
@example(pulse=np.array([0.1, 1.0, 0.4]), taps=1e308, groups=1e308, window=(0.0, 2.0),
         weights=(0.5, 1.0))
@example(pulse=np.array([0.1, 1.0, 0.4]), taps=1.0, groups=math.inf, window=(0.0, 2.0),
         weights=(0.5, 1.0))
@example(pulse=np.array([1.0]), taps=-0.5, groups=3.0, window=(math.nan, 2.0),
         weights=(0.5, 1.0))   # group blocks at -0.5 and -1.0 with no position kept
@example(pulse=np.array([0.1, 1.0, 0.4]), taps=1.0 - 2.0**-53, groups=8.0, window=(0.0, 2.0),
         weights=(0.5, 1.0))
@example(pulse=np.zeros(0), taps=3.0, groups=3.0, window=(-1.0 / 3.0, math.nan),
         weights=(1e-188, 9.0))   # position -1/3 truncates to index 0 of an empty pulse
def test_floating_dfe_writes_only_inside_its_outputs(pulse, taps, groups, window, weights):
    positions, tap_weights, limits = guarded_call(lambda: zefra_tdr.floating_dfe(
        pulse, search_start=window[0], taps_per_group=taps, group_count=groups,
        search_end=window[1], max_tap_weight=weights[0], main_cursor=weights[1]))
    assert tap_weights.shape == limits.shape == pulse.shape


# ---- densities -------------------------------------------------------------------------------


@GUARDS
@given(signal=real_arrays(st.one_of(small_float, any_float), max_size=6),
       level_count=st.one_of(st.integers(-2, 6), st.just(-(2**31))), bin_width=bin_widths)
@example(signal=np.array([0.5, 0.2]), level_count=2, bin_width=-1e308)
def test_cursor_densities_return_matching_arrays(signal, level_count, bin_width):
    for density in (zefra_tdr.pdf_from_sampled_signal, zefra_tdr.pdf_from_sampled_signal_800g):
        amplitudes, probabilities, _, _ = guarded_call(
            lambda: density(signal, level_count=level_count, bin_width=bin_width),
            allocates=False)
        assert amplitudes.shape == probabilities.shape


@GUARDS
@given(case=cpdf_cases())
@example(case=([1e308], [1.0], -1e308, 0))      # wrote 3 values into no buffer
@example(case=([-1e308], [1.0], -1e308, 0))
@example(case=([0.0], [1.0], -1e308, 0))        # wrote 1 value into no buffer
@example(case=([0.25, -3.0], [0.5, 0.5], -1.7976931348623157e308, 0))
@example(case=([1e308, 0.0], [1.0, 1.0], -1e308, 0))
@example(case=([0.0], [1.0], 2.0**-52 / 1999.5, 0))
@example(case=([0.0, 1999.0], [0.5, 0.5], 1.0, 0))
@example(case=([100000.0, 100002.0], [0.5, 0.5], 1.0, 3))
@example(case=([2.0**30 + 256], [1.0], 1.0, 0))
def test_cpdf_writes_only_inside_its_outputs(case):
    points, weights, w, out_count = case
    try:
        centres, density, _, _, ok = guarded_call(
            lambda: zefra_tdr.cpdf(points, weights, bin_width=w, out_count=out_count))
    except ValueError as exc:
        assert "2**31 - 1" in str(exc)  # the grid may exceed 2**31 - 1 values
        return
    assert centres.shape == density.shape
    if not ok:
        assert centres.size == out_count
