// interp_Sparam, the library's entry to the sibling resampler, on the inputs
// where it differs from calling the sibling directly: a missing output grid
// and negative counts.  Output slots start as a guard value, so a slot the
// export leaves alone is seen.
#include <gtest/gtest.h>

#include <vector>

#include "support/bits.h"
#include "zefra/interp_sparam.h"
#include "zefra/tdr_helpers.h"

namespace {

using zefra::testing::sameComplexBits;

const zefra_complex kGuard{-123.0, 456.0};
const std::vector<zefra_complex> kTrace = {{1.0, 0.0}, {0.5, -0.5}, {0.0, -1.0}};
const std::vector<double> kGrid = {1e9, 2e9, 3e9};
const std::vector<double> kQueries = {1.5e9, 2.5e9};

TEST(InterpSparamExport, MissingOutputGridWritesZeros) {
  std::vector<zefra_complex> out(2, kGuard);
  interp_Sparam(kTrace.data(), kGrid.data(), 3, nullptr, 2, out.data());
  for (const zefra_complex& v : out) {
    EXPECT_TRUE(sameComplexBits(zefra_complex{0.0, 0.0}, v));
  }
}

TEST(InterpSparamExport, NegativeTraceCountWritesZerosAndNegativeQueryCountNothing) {
  std::vector<zefra_complex> out(2, kGuard);
  interp_Sparam(kTrace.data(), kGrid.data(), -3, kQueries.data(), 2, out.data());
  for (const zefra_complex& v : out) {
    EXPECT_TRUE(sameComplexBits(zefra_complex{0.0, 0.0}, v));
  }
  std::vector<zefra_complex> untouched(2, kGuard);
  interp_Sparam(kTrace.data(), kGrid.data(), 3, kQueries.data(), -2, untouched.data());
  for (const zefra_complex& v : untouched) {
    EXPECT_TRUE(sameComplexBits(kGuard, v));
  }
}

TEST(InterpSparamExport, ValidCallMatchesTheSibling) {
  std::vector<zefra_complex> viaLibrary(2, kGuard);
  std::vector<zefra_complex> direct(2, kGuard);
  interp_Sparam(kTrace.data(), kGrid.data(), 3, kQueries.data(), 2, viaLibrary.data());
  zefra_interp_Sparam_C(kTrace.data(), kGrid.data(), 3, kQueries.data(), 2, direct.data());
  for (size_t i = 0; i < direct.size(); ++i) {
    EXPECT_TRUE(sameComplexBits(direct[i], viaLibrary[i])) << i;
  }
}

}  // namespace
