// The BER map, in four passes shared among threads (each item writes only
// its own slots, in a fixed order, so the bits do not depend on the thread
// count):
//   1. the cursors of every extended phase s = -H + tau_first .. H + tau_last
//      (the output phases widened by the jitter's reach);
//   2. the density of each asynchronous aggressor at each of its Ns offsets,
//      then their mixture (1/Ns) sum_theta, in ascending theta;
//   3. per extended phase: the density of its cursors, convolved with each
//      asynchronous mixture in turn, and the BER rows
//        BER_i(s, v_m) = (U_{a_i}(v_m) + F_{a_{i+1}}(v_m)) / M;
//   4. per output phase: the jitter mixture sum_tau w_tau BER(s + tau, v),
//      in ascending tau.
// The voltage grid covers the largest reach over the extended phases,
// R = |h_0| + sum |cursors| + sum of the asynchronous reaches, plus 11.5
// sigma: Mv = ceil(R / binV) + 1.
#include "eye/ber_map.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <string>
#include <utility>
#include <vector>

#include "eye/eye_errors.h"
#include "eye/jitter_weights.h"
#include "eye/lattice_density.h"
#include "eye/lattice_kernels.h"
#include "eye/level_cdf.h"
#include "eye/parallel_for.h"

namespace zefra::tk::eye {
namespace {

// Sizes are checked in double before any integer conversion: a grid of more
// than 2^50 points cannot be allocated anyway, and below that every index
// fits in int64_t with room to spare.
constexpr double kMaxElements = 1125899906842624.0;  // 2^50

void berRows(const LatticeDensity& density, double h0, const std::vector<double>& levels,
             double sigma, double binV, int64_t mv, double* rows, int64_t eyeStride) {
  const DensitySums sums(density);
  const auto count = static_cast<std::size_t>(2 * mv + 1);
  // lower[l], upper[l]: F and U of level l over the grid.
  std::vector<std::vector<double>> lower(levels.size(), std::vector<double>(count));
  std::vector<std::vector<double>> upper(levels.size(), std::vector<double>(count));
  for (std::size_t l = 0; l < levels.size(); ++l) {
    levelTails(density, sums, levels[l] * h0, sigma, binV, mv, lower[l].data(),
               upper[l].data());
  }
  const auto m = static_cast<double>(levels.size());
  for (std::size_t i = 0; i + 1 < levels.size(); ++i) {
    double* row = rows + static_cast<int64_t>(i) * eyeStride;
    for (std::size_t k = 0; k < count; ++k) {
      row[k] = (upper[i][k] + lower[i + 1][k]) / m;
    }
  }
}

LatticeDensity mixture(const std::vector<LatticeDensity>& parts) {
  int64_t first = parts.front().first;
  int64_t last = first;
  for (const LatticeDensity& d : parts) {
    first = std::min(first, d.first);
    last = std::max(last, d.first + static_cast<int64_t>(d.mass.size()) - 1);
  }
  LatticeDensity out;
  out.first = first;
  out.mass.assign(static_cast<std::size_t>(last - first + 1), 0.0);
  const double share = 1.0 / static_cast<double>(parts.size());
  for (const LatticeDensity& d : parts) {
    addScaled(out.mass.data() + (d.first - first), d.mass.data(), share,
              static_cast<int64_t>(d.mass.size()));
  }
  return out;
}

}  // namespace

EyeMap computeEyeMap(const Channel& channel, const EyeSettings& settings) {
  const int64_t ns = channel.samplesPerUi;
  const double binV = settings.binV;
  const std::vector<double> levels = pamLevels(settings.levels);

  EyeMap map;
  map.levels = settings.levels;
  map.samplesPerUi = ns;
  map.halfPhases = ns / 2;
  map.binV = binV;
  const int64_t phases = map.phases();
  const int64_t eyes = map.eyes();

  const JitterWeights jitter =
      jitterWeights(settings.djUi * static_cast<double>(ns), settings.rjUi * static_cast<double>(ns));
  const auto taus = static_cast<int64_t>(jitter.weight.size());
  const int64_t sFirst = -map.halfPhases + jitter.first;
  const int64_t extended = phases + taus - 1;

  // 1. Cursors and the voltage grid.
  std::vector<PhaseCursors> cursors(static_cast<std::size_t>(extended));
  parallelFor(extended, settings.threads, [&](int64_t e) {
    cursors[static_cast<std::size_t>(e)] = phaseCursors(channel, sFirst + e);
  });
  std::vector<const Aggressor*> async;
  double reach = 0.0;
  for (const PhaseCursors& c : cursors) {
    reach = std::max(reach, c.reach);
  }
  for (const Aggressor& a : channel.aggressors) {
    if (!a.synchronous) {
      async.push_back(&a);
      reach += asyncReach(channel, a);
    }
  }
  reach += kNoiseCut * settings.sigma;
  const double halfVoltages = std::ceil(reach / binV) + 1.0;
  const double mapElements = static_cast<double>(eyes) * static_cast<double>(extended) *
                             (2.0 * halfVoltages + 1.0);
  if (!(halfVoltages < kMaxElements && mapElements < kMaxElements)) {
    throw OutOfMemory("zefra_tk_eye_compute: out of memory for a grid of " +
                      formatNumber(2.0 * halfVoltages + 1.0) + " voltages (reach " +
                      formatNumber(reach) + " V, binV = " + formatNumber(binV) + " V)");
  }
  map.halfVoltages = static_cast<int64_t>(halfVoltages);
  const int64_t mv = map.halfVoltages;
  const int64_t voltages = map.voltages();

  // 2. Asynchronous aggressors: one density per offset, then the mixture.
  std::vector<LatticeDensity> mixtures;
  {
    const auto count = static_cast<int64_t>(async.size());
    std::vector<LatticeDensity> offsets(static_cast<std::size_t>(count * ns));
    parallelFor(count * ns, settings.threads, [&](int64_t item) {
      const Aggressor& a = *async[static_cast<std::size_t>(item / ns)];
      offsets[static_cast<std::size_t>(item)] =
          densityOfCursors(asyncCursors(channel, a, item % ns), levels, binV);
    });
    for (int64_t j = 0; j < count; ++j) {
      const auto begin = offsets.begin() + static_cast<std::ptrdiff_t>(j * ns);
      mixtures.push_back(mixture(std::vector<LatticeDensity>(
          std::make_move_iterator(begin), std::make_move_iterator(begin + ns))));
    }
  }

  // 3. The BER rows of every extended phase.
  std::vector<double> rows(static_cast<std::size_t>(eyes * extended * voltages));
  parallelFor(extended, settings.threads, [&](int64_t e) {
    const PhaseCursors& c = cursors[static_cast<std::size_t>(e)];
    LatticeDensity density = densityOfCursors(c.others, levels, binV);
    for (const LatticeDensity& x : mixtures) {
      density = convolve(density, x);
    }
    berRows(density, c.main, levels, settings.sigma, binV, mv, rows.data() + e * voltages,
            extended * voltages);
  });

  // 4. The jitter mixture.  When the only weight is 1 at tau = 0 the rows are
  // the map (0 + 1 x is x, bit for bit).
  if (taus == 1 && jitter.first == 0 && jitter.weight[0] == 1.0) {
    map.ber = std::move(rows);
  } else {
    map.ber.assign(static_cast<std::size_t>(eyes * phases * voltages), 0.0);
    parallelFor(phases, settings.threads, [&](int64_t p) {
      for (int64_t i = 0; i < eyes; ++i) {
        double* out = map.ber.data() + (i * phases + p) * voltages;
        for (int64_t t = 0; t < taus; ++t) {
          addScaled(out, rows.data() + (i * extended + p + t) * voltages,
                    jitter.weight[static_cast<std::size_t>(t)], voltages);
        }
      }
    });
  }
  map.mainCursor.resize(static_cast<std::size_t>(phases));
  for (int64_t p = 0; p < phases; ++p) {
    map.mainCursor[static_cast<std::size_t>(p)] =
        sampleAt(channel.pulse, channel.length, channel.centre + p - map.halfPhases);
  }
  return map;
}

}  // namespace zefra::tk::eye
