// The Touchstone writer behind zefra_tk_touchstone_write.
#pragma once

#include <cstdint>
#include <string>

#include "zefra/toolkit/common.h"

namespace zefra::tk {

// A network to write, in the units and layout of the C API: f in Hz,
// s complex [points][ports][ports] as (re, im) pairs, z0 in ohms, noise in
// SI units (Rn in ohms, gammaOpt complex).
struct NetworkView {
  int32_t ports = 0;
  int64_t points = 0;
  const double* f = nullptr;
  const double* s = nullptr;
  const double* z0 = nullptr;
  int64_t noisePoints = 0;
  const double* noiseF = nullptr;
  const double* nfMinDb = nullptr;
  const double* gammaOpt = nullptr;
  const double* rn = nullptr;
  const char* const* comments = nullptr;
  int32_t commentCount = 0;
};

// The writer's options, as the ZEFRA_TK_FORMAT_*, ZEFRA_TK_UNIT_* values of
// the C API; version 0 lets the writer choose, digits 0 asks for the
// shortest digits that read back to the same double.
struct WriteOptions {
  int32_t format = 0;
  int32_t unit = 0;
  int32_t version = 0;
  int32_t digits = 0;
};

// Writes `network` to `path` through a temporary file in the same folder,
// renamed over `path` at the end.  On failure `message` holds one line
// naming the path and the problem, and `path` is left as it was.
zefra_tk_status writeTouchstone(const char* path, const NetworkView& network,
                                const WriteOptions& options, std::string& message);

}  // namespace zefra::tk
