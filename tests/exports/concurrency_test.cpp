// Every export called from 8 threads at once, each thread on its own
// buffers, must give exactly the bits it gives when called alone.
#include <gtest/gtest.h>

#include <atomic>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <functional>
#include <random>
#include <thread>
#include <vector>

#include "zefra/tdr_helpers.h"

namespace {

using Bits = std::vector<uint64_t>;

void append(Bits& bits, const double* v, size_t n) {
  for (size_t i = 0; i < n; ++i) {
    uint64_t b;
    std::memcpy(&b, &v[i], sizeof b);
    bits.push_back(b);
  }
}

void append(Bits& bits, const std::vector<zefra_complex>& v) {
  append(bits, reinterpret_cast<const double*>(v.data()), 2 * v.size());
}

// One export with inputs of its own; run() calls it and returns its outputs.
struct Case {
  const char* name;
  std::function<Bits()> run;
};

class Inputs {
 public:
  explicit Inputs(uint64_t seed) : rng_(seed) {}
  std::vector<double> uniform(size_t n, double lo, double hi) {
    std::uniform_real_distribution<double> d(lo, hi);
    std::vector<double> v(n);
    for (double& e : v) e = d(rng_);
    return v;
  }
  std::vector<double> sorted(size_t n, double step) {
    std::vector<double> v = uniform(n, 0.01 * step, step);
    for (size_t i = 1; i < n; ++i) v[i] += v[i - 1];
    return v;
  }
  std::vector<zefra_complex> complexes(size_t n, double r) {
    std::vector<zefra_complex> v(n);
    const std::vector<double> p = uniform(2 * n, -r, r);
    for (size_t i = 0; i < n; ++i) v[i] = {p[2 * i], p[2 * i + 1]};
    return v;
  }

 private:
  std::mt19937_64 rng_;
};

std::vector<Case> makeCases(uint64_t seed) {
  Inputs in(seed);
  std::vector<Case> cases;
  auto x = in.uniform(301, -5, 5);
  cases.push_back({"median", [x] { double r = median(x.data(), 301); Bits b; append(b, &r, 1); return b; }});
  cases.push_back({"Eval_std", [x] { double r = Eval_std(x.data(), 301); Bits b; append(b, &r, 1); return b; }});
  cases.push_back({"norm", [x] { double r = norm(x.data(), 301); Bits b; append(b, &r, 1); return b; }});
  cases.push_back({"mod", [x] { std::vector<double> y(301); mod(x.data(), 0.7, y.data(), 301); Bits b; append(b, y.data(), y.size()); return b; }});
  auto k = in.uniform(9, -2, 2);
  cases.push_back({"Kron", [x, k] { std::vector<double> y(90); Kron(x.data(), k.data(), y.data(), 10, 9); Bits b; append(b, y.data(), y.size()); return b; }});
  cases.push_back({"conv", [x, k] { std::vector<double> y(309); conv(x.data(), k.data(), y.data(), 301, 9); Bits b; append(b, y.data(), y.size()); return b; }});
  cases.push_back({"Filter", [x, k] {
    const double a[3] = {1.5, -0.4, 0.2};
    std::vector<double> y(301), z(301);
    Filter(k.data(), a, x.data(), y.data(), 9, 3, 301);
    const double one[1] = {1.0};
    Filter(k.data(), one, x.data(), z.data(), 9, 1, 301);
    Bits b; append(b, y.data(), y.size()); append(b, z.data(), z.size()); return b; }});
  cases.push_back({"unwrap", [x] { std::vector<double> y(301); unwrap(x.data(), y.data(), 301); Bits b; append(b, y.data(), y.size()); return b; }});
  cases.push_back({"poly", [k] { std::vector<double> c(10, 7.0); poly(k.data(), c.data(), 9); Bits b; append(b, c.data(), c.size()); return b; }});
  auto zc = in.complexes(50, 2.0);
  cases.push_back({"Polyval", [k, zc] { std::vector<zefra_complex> w(50); Polyval(k.data(), zc.data(), w.data(), 9, 50); Bits b; append(b, w); return b; }});
  auto fx = in.uniform(100, 0, 10);
  auto fy = in.uniform(100, -1, 1);
  cases.push_back({"Polyfit", [fx, fy] { double c[2]; Polyfit(fx.data(), fy.data(), nullptr, c, 100, 100); Bits b; append(b, c, 2); return b; }});
  auto e = in.uniform(200, 0, 2);
  cases.push_back({"erfcinv", [e] { std::vector<double> y(200); erfcinv(e.data(), y.data(), 200); Bits b; append(b, y.data(), y.size()); return b; }});
  auto wgrid = in.sorted(100, 0.2);
  cases.push_back({"Butterworth_TF", [wgrid] { std::vector<zefra_complex> h(100); Butterworth_TF(6, wgrid.data(), 3.0, 100, h.data()); Bits b; append(b, h); return b; }});
  cases.push_back({"GetButterworthTF", [wgrid] { std::vector<zefra_complex> h(100); GetButterworthTF(6, wgrid.data(), 100, 3.0, h.data()); Bits b; append(b, h); return b; }});
  auto tx = in.sorted(60, 1.0);
  auto ty = in.uniform(60, -3, 3);
  auto tq = in.uniform(400, -1, tx.back() + 1);
  cases.push_back({"interp1q_Linear", [tx, ty, tq] { std::vector<double> y(400); interp1q_Linear(tx.data(), ty.data(), tq.data(), y.data(), 60, 400); Bits b; append(b, y.data(), y.size()); return b; }});
  cases.push_back({"interp_Linear_Extrap", [tx, ty, tq] { std::vector<double> y(400); interp_Linear_Extrap(tx.data(), ty.data(), tq.data(), y.data(), 60, 400); Bits b; append(b, y.data(), y.size()); return b; }});
  cases.push_back({"interp1_Cubic", [tx, ty, tq] { std::vector<double> y(400); interp1_Cubic(tx.data(), ty.data(), tq.data(), y.data(), 60, 400); Bits b; append(b, y.data(), y.size()); return b; }});
  auto tc = in.complexes(60, 1.0);
  cases.push_back({"interp_Linear_Extrap_Complex", [tx, tc, tq] { std::vector<zefra_complex> y(400); interp_Linear_Extrap_Complex(tx.data(), tc.data(), tq.data(), y.data(), 60, 400); Bits b; append(b, y); return b; }});
  cases.push_back({"zefra_linearInterp_c", [tx, tc, tq] { std::vector<zefra_complex> y(400); zefra_linearInterp_c(tx.data(), tc.data(), tq.data(), y.data(), 60, 400); Bits b; append(b, y); return b; }});
  auto fgrid = in.sorted(200, 2.5e8);
  cases.push_back({"interp_Sparam", [fgrid, tc] {
    std::vector<zefra_complex> s(60);
    for (size_t i = 0; i < 60; ++i) s[i] = {0.8 * std::cos(-2e-9 * fgrid[i]), 0.8 * std::sin(-2e-9 * fgrid[i])};
    std::vector<double> fin(fgrid.begin(), fgrid.begin() + 60);
    std::vector<zefra_complex> y(200);
    interp_Sparam(s.data(), fin.data(), 60, fgrid.data(), 200, y.data());
    Bits b; append(b, y); return b; }});
  cases.push_back({"synth_tline", [fgrid] {
    const double c[3] = {0.01, 0.05, 0.02};
    std::vector<zefra_complex> s11(200), s12(200), s21(200), s22(200);
    synth_tline(fgrid.data(), 200, 60.0, 25.0, c, 3, 0.15, 3.0, s11.data(), s12.data(), s21.data(), s22.data());
    Bits b; append(b, s11); append(b, s12); append(b, s21); append(b, s22); return b; }});
  std::vector<std::vector<zefra_complex>> nets;
  for (int i = 0; i < 8; ++i) nets.push_back(in.complexes(100, 0.6));
  cases.push_back({"combineS4p", [nets] {
    std::vector<zefra_complex> c11(100), c12(100), c21(100), c22(100);
    combineS4p(nets[0].data(), nets[1].data(), nets[2].data(), nets[3].data(), nets[4].data(), nets[5].data(), nets[6].data(), nets[7].data(), 100, c11.data(), c12.data(), c21.data(), c22.data());
    Bits b; append(b, c11); append(b, c12); append(b, c21); append(b, c22); return b; }});
  cases.push_back({"makePackage", [fgrid] {
    const double loss[3] = {0.01, 0.02, 0.01};
    std::vector<zefra_complex> s11(200), s12(200), s21(200), s22(200);
    makePackage(fgrid.data(), 200, 1.5, 0.2e-12, 0.3e-12, 90.0, 0.1, loss, 3, 50.0, 0.5e-9, 0.1e-12, s11.data(), s12.data(), s21.data(), s22.data());
    Bits b; append(b, s11); append(b, s12); append(b, s21); append(b, s22); return b; }});
  auto cursors = in.uniform(25, -0.3, 0.3);
  cursors[0] = 0.6;
  for (auto fn : {&get_pdf_from_sampled_signal, &get_pdf_from_sampled_signal_800G}) {
    cases.push_back({"density", [cursors, fn] {
      double *a = nullptr, *p = nullptr, offset = 0.0, w = 0.004;
      int32_t count = 0;
      const bool ok = fn(cursors.data(), 4, nullptr, &a, &p, &offset, &w, 25, &count);
      Bits b; const double head[3] = {ok ? 1.0 : 0.0, offset, static_cast<double>(count)};
      append(b, head, 3); append(b, a, static_cast<size_t>(count)); append(b, p, static_cast<size_t>(count));
      zefra_release_array(a); zefra_release_array(p); return b; }});
  }
  auto pts = in.uniform(80, -0.2, 0.2);
  cases.push_back({"d_cpdf", [pts] {
    std::vector<double> wts(80, 1.0 / 80), c(128, 0.0), d(128, 0.0);
    double offset = 0, width = 0;
    const bool ok = d_cpdf(pts.data(), wts.data(), c.data(), d.data(), 80, 80, 5, 0.01, &offset, &width);
    Bits b; const double head[3] = {ok ? 1.0 : 0.0, offset, width};
    append(b, head, 3); append(b, c.data(), c.size()); append(b, d.data(), d.size()); return b; }});
  auto response = in.uniform(300, -0.01, 0.02);
  auto pattern = in.uniform(3000, -1, 1);
  cases.push_back({"Get_xtlk_noise_step", [response, pattern] { double r = Get_xtlk_noise_step(response.data(), pattern.data(), 300, 3000, 16, 0.8); Bits b; append(b, &r, 1); return b; }});
  auto wave = in.uniform(2000, -1, 1);
  cases.push_back({"td_ctle", [wave] { std::vector<double> y(2000); td_ctle(wave.data(), y.data(), 2000, 28e9, 3e9, 7e9, 28e9, 6.0, 4.0); Bits b; append(b, y.data(), y.size()); return b; }});
  auto pulse = in.uniform(60, -0.05, 0.05);
  pulse[4] = 0.8;
  cases.push_back({"floatingDFE", [pulse] {
    std::vector<double> pos(6), wts(60), lim(60);
    floatingDFE(pulse.data(), 60, 5.0, 2.0, 3.0, 40.0, 0.1, 0.8, 0, pos.data(), wts.data(), lim.data());
    Bits b; append(b, pos.data(), 6); append(b, wts.data(), 60); append(b, lim.data(), 60); return b; }});
  return cases;
}

TEST(Concurrency, EveryExportFromEightThreadsMatchesSingleThreadedBits) {
  constexpr int kThreads = 8;
  constexpr int kRounds = 4;
  std::vector<std::vector<Case>> perThread;
  std::vector<std::vector<Bits>> expected;
  for (int t = 0; t < kThreads; ++t) {
    perThread.push_back(makeCases(1000 + static_cast<uint64_t>(t)));
    std::vector<Bits> alone;
    for (const Case& c : perThread.back()) alone.push_back(c.run());
    expected.push_back(std::move(alone));
  }
  ASSERT_GE(perThread[0].size(), 29u);  // every export at least once

  std::atomic<int> mismatches{0};
  std::atomic<int> ready{0};
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&, t] {
      ready.fetch_add(1);
      while (ready.load() < kThreads) {
      }
      for (int round = 0; round < kRounds; ++round) {
        for (size_t i = 0; i < perThread[static_cast<size_t>(t)].size(); ++i) {
          // Each thread starts at a different export so that different
          // routines overlap in time.
          const size_t j = (i + static_cast<size_t>(t) * 3) % perThread[static_cast<size_t>(t)].size();
          if (perThread[static_cast<size_t>(t)][j].run() != expected[static_cast<size_t>(t)][j]) {
            mismatches.fetch_add(1);
          }
        }
      }
    });
  }
  for (std::thread& th : threads) th.join();
  EXPECT_EQ(mismatches.load(), 0);
}

}  // namespace
