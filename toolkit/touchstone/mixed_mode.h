// [Mixed-Mode Order]: which mode each port of the file's matrix is.
//   "Dp,n"  the differential mode of the pair (p, n), d = (a_p - a_n)/sqrt(2)
//   "Cp,n"  its common mode, c = (a_p + a_n)/sqrt(2)
//   "Sp"    port p single-ended
// (p, n count physical ports from 1.)  Every physical port appears once: as
// an S, or in a pair that has both its D and its C.  With these normalised
// waves the mixed-mode matrix is Smm = M S M^T for the orthogonal M whose
// row k holds descriptor k, so S = M^T Smm M.  The modes' references are
// 2 z0 (differential), z0 / 2 (common) and z0, for a pair whose two ports
// share z0.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace zefra::tk {

struct ModePort {
  char kind;      // 'D', 'C' or 'S'
  int32_t p = 0;  // physical ports, from 0
  int32_t n = 0;  // (the same as p for 'S')
};

// Reads one descriptor token for a `ports`-port network; false with
// `problem` set when it is not one.
bool parseModePort(std::string_view token, int32_t ports, ModePort& mode, std::string& problem);

// Checks that the descriptors cover the ports as described above; false
// with `problem` set when not.
bool checkModeCover(const std::vector<ModePort>& modes, int32_t ports, std::string& problem);

// The descriptor as text, "D2,3", with ports from 1.
std::string modeText(const ModePort& mode);

}  // namespace zefra::tk
