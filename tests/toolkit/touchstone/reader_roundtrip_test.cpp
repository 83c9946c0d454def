// Networks written with zefra_tk_touchstone_write (RI, shortest digits)
// and read back with zefra_tk_touchstone_read: frequencies, S, references,
// NFmin and version-2 Rn come back bit for bit, whatever the values (signed
// zeros, subnormals, the largest doubles), the port count (1, 2, 3, 4, 17)
// or the version the writer chose (1 for equal references and an .sNp name,
// 2 otherwise).  Gamma_opt is written as magnitude and angle, and version-1
// Rn divided by the reference: those two come back to rounding.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include "reader_test_support.h"

namespace {

using namespace zefra_reader_test;

constexpr double kMax = std::numeric_limits<double>::max();
constexpr double kTiny = std::numeric_limits<double>::denorm_min();
constexpr double kMinNormal = std::numeric_limits<double>::min();

struct Network {
  int32_t ports = 1;
  std::vector<double> f;
  std::vector<double> s;  // (re, im) pairs
  std::vector<double> z0;
  std::vector<double> noiseF, nfMinDb, gammaOpt, rn;
  std::vector<std::string> comments;
};

// Writes `n` to `path` (RI, shortest digits, the writer's choice of unit
// and version); an empty string on success, else the message.
std::string write(const std::string& path, const Network& n) {
  std::vector<const char*> comments;
  for (const std::string& c : n.comments) {
    comments.push_back(c.c_str());
  }
  char message[1024] = "";
  const zefra_tk_status status = zefra_tk_touchstone_write(
      path.c_str(), n.ports, static_cast<int64_t>(n.f.size()), n.f.data(), n.s.data(), n.z0.data(),
      static_cast<int64_t>(n.noiseF.size()), n.noiseF.data(), n.nfMinDb.data(), n.gammaOpt.data(),
      n.rn.data(), comments.data(), static_cast<int32_t>(comments.size()), ZEFRA_TK_FORMAT_RI,
      ZEFRA_TK_UNIT_GHZ, 0, 0, message, sizeof message);
  return status == ZEFRA_TK_OK ? std::string()
                               : std::string(message) + " (status " + std::to_string(status) + ")";
}

double fromBits(uint64_t bits) {
  double x = 0.0;
  std::memcpy(&x, &bits, sizeof x);
  return x;
}

// A finite double of any sign and exponent, often one of the edge values.
double anyFinite(std::mt19937_64& random) {
  static const double kEdges[] = {
      0.0,         -0.0,  kTiny, -kTiny, kMax,   -kMax,     kMinNormal,
      -kMinNormal, 1.0,   -1.0,  1e-300, -1e300, 3 * kTiny, kMinNormal - kTiny,
      0.1,         1e-320};
  if (random() % 4 == 0) {
    return kEdges[random() % std::size(kEdges)];
  }
  double x = 0.0;
  do {
    x = fromBits(random());
  } while (!std::isfinite(x));
  return x;
}

// Strictly increasing frequencies, Hz, in one of three styles.
std::vector<double> frequencies(std::mt19937_64& random, std::size_t points) {
  std::vector<double> f;
  switch (random() % 3) {
    case 0: {  // any positive doubles, subnormals to the largest
      while (f.size() < points) {
        double x = std::abs(anyFinite(random));
        f.push_back(x);
        std::sort(f.begin(), f.end());
        f.erase(std::unique(f.begin(), f.end()), f.end());
      }
      if (random() % 2 == 0) {
        f[0] = 0.0;
      }
      break;
    }
    case 1: {  // a grid with an awkward step
      const double step = 1e6 * (1.0 + static_cast<double>(random() % 1000000) * 1e-9);
      for (std::size_t k = 0; k < points; ++k) {
        f.push_back(static_cast<double>(k) * step);
      }
      break;
    }
    default:  // whole MHz
      for (std::size_t k = 0; k < points; ++k) {
        f.push_back(1e6 * static_cast<double>(k + 1 + random() % 3 + 3 * k));
      }
      break;
  }
  return f;
}

Network randomNetwork(std::mt19937_64& random, int32_t ports, bool equalReferences, bool noise) {
  Network n;
  n.ports = ports;
  const std::size_t points = ports > 4 ? 1 + random() % 5 : 1 + random() % 40;
  n.f = frequencies(random, points);
  for (std::size_t k = 0; k < 2 * points * static_cast<std::size_t>(ports * ports); ++k) {
    n.s.push_back(anyFinite(random));
  }
  const double references[] = {50.0, 75.0, 1e-3, 123.456, 1e300, kTiny, 0.1};
  const double r = references[random() % std::size(references)];
  for (int32_t i = 0; i < ports; ++i) {
    n.z0.push_back(equalReferences ? r : references[random() % std::size(references)] * (i + 1));
  }
  if (noise && ports == 2) {
    const std::size_t count = 1 + random() % 6;
    std::uniform_real_distribution<double> unit(0.0, 1.0);
    // Starting at or below the last network frequency lets version 1 hold it.
    const double base = std::min(n.f.back() * unit(random), 1e300);
    for (std::size_t k = 0; k < count; ++k) {
      const double step = static_cast<double>(k);
      n.noiseF.push_back(base * (1.0 + 0.25 * step) + 1e6 * step);
      n.nfMinDb.push_back(anyFinite(random));
      const double magnitude = unit(random);
      const double angle = (2.0 * unit(random) - 1.0) * 3.14159;
      n.gammaOpt.push_back(magnitude * std::cos(angle));
      n.gammaOpt.push_back(magnitude * std::sin(angle));
      n.rn.push_back(100.0 * unit(random) * r);  // Rn / R stays finite in version 1
    }
  }
  n.comments = {" random network", "written\tand read back"};
  return n;
}

// Reads `path` back and compares it with `n`.
void expectReadBack(const std::string& path, const Network& n, const char* version) {
  const Read r = readFile(path);
  ASSERT_TRUE(clean(r, path)) << r.message;
  EXPECT_EQ(r.version, version);
  EXPECT_EQ(r.parameter, "S");
  EXPECT_EQ(r.format, "RI");
  ASSERT_EQ(r.ports, n.ports);
  EXPECT_TRUE(sameBits(n.f, r.f));
  EXPECT_TRUE(sameBits(n.z0, r.z0));
  std::vector<double> s;
  for (const Complex& z : r.s) {
    s.push_back(z.real());
    s.push_back(z.imag());
  }
  EXPECT_TRUE(sameBits(n.s, s));
  ASSERT_GE(r.comments.size(), n.comments.size());
  EXPECT_TRUE(std::equal(n.comments.begin(), n.comments.end(),
                         r.comments.end() - static_cast<std::ptrdiff_t>(n.comments.size())));
  EXPECT_TRUE(sameBits(n.noiseF, r.noiseF));
  EXPECT_TRUE(sameBits(n.nfMinDb, r.nfMinDb));
  ASSERT_EQ(r.rn.size(), n.rn.size());
  ASSERT_EQ(r.gammaOpt.size(), n.gammaOpt.size() / 2);
  for (std::size_t k = 0; k < n.rn.size(); ++k) {
    if (std::string(version) == "2.0") {
      EXPECT_TRUE(sameBits(n.rn[k], r.rn[k])) << k;
    } else {
      // Divided by R to be written, multiplied back when read: two
      // roundings, 2 ulp at most.
      EXPECT_LE(std::abs(r.rn[k] - n.rn[k]), 4.5e-16 * n.rn[k]) << k;
    }
    // Magnitude and angle: hypot, atan2 and the degree factor when written,
    // the degree factor and cos/sin when read: a few ulp of |Gamma| <= 1.
    const Complex gamma(n.gammaOpt[2 * k], n.gammaOpt[2 * k + 1]);
    EXPECT_TRUE(near(gamma, r.gammaOpt[k], 4e-15, 1.0)) << k;
  }
}

TEST(TouchstoneReadRoundTrip, EqualReferencesAndSNpNameGiveVersion1BitForBit) {
  ScratchFolder folder;
  std::mt19937_64 random(20260801);
  for (const int32_t ports : {1, 2, 3, 4, 17}) {
    for (int trial = 0; trial < 12; ++trial) {
      const Network n = randomNetwork(random, ports, true, trial % 2 == 0);
      const std::string path = folder.path("rt.s" + std::to_string(ports) + "p");
      ASSERT_EQ(write(path, n), "");
      SCOPED_TRACE("ports " + std::to_string(ports) + ", trial " + std::to_string(trial));
      expectReadBack(path, n, "1.0");
    }
  }
}

TEST(TouchstoneReadRoundTrip, UnequalReferencesGiveVersion2BitForBit) {
  ScratchFolder folder;
  std::mt19937_64 random(4711);
  for (const int32_t ports : {2, 3, 4, 17}) {
    for (int trial = 0; trial < 12; ++trial) {
      Network n = randomNetwork(random, ports, false, trial % 2 == 0);
      if (n.z0[0] == n.z0[1]) {
        n.z0[1] = std::nextafter(n.z0[1], kMax);
      }
      const std::string path = folder.path("rt.s" + std::to_string(ports) + "p");
      ASSERT_EQ(write(path, n), "");
      SCOPED_TRACE("ports " + std::to_string(ports) + ", trial " + std::to_string(trial));
      expectReadBack(path, n, "2.0");
    }
  }
}

TEST(TouchstoneReadRoundTrip, TsNameGivesVersion2BitForBit) {
  ScratchFolder folder;
  std::mt19937_64 random(99);
  for (const int32_t ports : {1, 2, 3, 4, 17}) {
    for (int trial = 0; trial < 8; ++trial) {
      const Network n = randomNetwork(random, ports, trial % 2 == 0, true);
      const std::string path = folder.path("rt.ts");
      ASSERT_EQ(write(path, n), "");
      SCOPED_TRACE("ports " + std::to_string(ports) + ", trial " + std::to_string(trial));
      expectReadBack(path, n, "2.0");
    }
  }
}

TEST(TouchstoneReadRoundTrip, EdgeValuesComeBackBitForBit) {
  ScratchFolder folder;
  Network n;
  n.ports = 2;
  n.f = {0.0, kTiny, kMinNormal, 1.0, 0.1, 67e6, 1.1e9, 1e300, kMax};
  std::sort(n.f.begin(), n.f.end());
  const double values[] = {0.0,     -0.0, kTiny,   -kTiny, kMax,  -kMax,  kMinNormal,
                           -1e-310, 0.1,  1.0 / 3, 1e-300, 1e300, 5e-324, -2.5e-320};
  for (std::size_t k = 0; k < 2 * 4 * n.f.size(); ++k) {
    n.s.push_back(values[k % std::size(values)]);
  }
  n.z0 = {50.0, 50.0};
  const std::string path = folder.path("edge.s2p");
  ASSERT_EQ(write(path, n), "");
  expectReadBack(path, n, "1.0");
}

TEST(TouchstoneReadRoundTrip, NegativeZeroFrequencyComesBackAsZero) {
  ScratchFolder folder;
  Network n;
  n.ports = 1;
  n.f = {-0.0, 1e9};
  n.s = {0.5, -0.0, -0.0, 0.5};
  n.z0 = {50.0};
  const std::string path = folder.path("z.s1p");
  ASSERT_EQ(write(path, n), "");
  const Read r = readFile(path);
  ASSERT_TRUE(r.ok()) << r.message;
  EXPECT_TRUE(sameBits(r.f, {0.0, 1e9}));
  EXPECT_TRUE(sameBits(r.s, {Complex(0.5, -0.0), Complex(-0.0, 0.5)}));
}

TEST(TouchstoneReadRoundTrip, EveryUnitTheWriterChoosesScalesBack) {
  ScratchFolder folder;
  // Grids that make the writer pick GHz, MHz, kHz and Hz.
  const std::vector<std::vector<double>> grids = {
      {1.5e9, 2.5e9}, {67e6, 68e6}, {4.1e6, 4.2e6}, {2142857142.857143, 3e9}};
  const char* units[] = {"GHz", "MHz", "kHz", "Hz"};
  for (std::size_t g = 0; g < grids.size(); ++g) {
    Network n;
    n.ports = 1;
    n.f = grids[g];
    n.s = {0.25, 0.5, 0.75, 1.0};
    n.z0 = {50.0};
    const std::string path = folder.path("u.s1p");
    ASSERT_EQ(write(path, n), "");
    const Read r = readFile(path);
    ASSERT_TRUE(r.ok()) << r.message;
    EXPECT_EQ(r.unit, units[g]);
    EXPECT_TRUE(sameBits(n.f, r.f)) << units[g];
  }
}

TEST(TouchstoneReadRoundTrip, ManyPointsComeBackBitForBit) {
  ScratchFolder folder;
  std::mt19937_64 random(5);
  Network n;
  n.ports = 4;
  for (int k = 0; k < 3000; ++k) {
    n.f.push_back(1e7 * k + 0.5);
  }
  std::uniform_real_distribution<double> value(-1.0, 1.0);
  for (std::size_t k = 0; k < 2 * 16 * n.f.size(); ++k) {
    n.s.push_back(value(random));
  }
  n.z0 = {50.0, 50.0, 50.0, 50.0};
  const std::string path = folder.path("many.s4p");
  ASSERT_EQ(write(path, n), "");
  expectReadBack(path, n, "1.0");
}

}  // namespace
