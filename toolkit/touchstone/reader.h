// The Touchstone reader: versions 1.0/1.1 (the port count from the name,
// .sNp/.yNp/.zNp/.hNp/.gNp in any case), 2.0 and 2.1 (.ts or any name).
// The values are read as a stream of numbers, 1 + 2 N^2 per frequency (or
// 1 + N(N+1) for a Lower/Upper matrix), line breaks being no syntax; the
// lines serve only the checks (a pair split over two lines and more than
// four pairs on a version-1 line are warnings; a version-1 two-port noise
// block is recognised by its rows of five numbers).  docs/touchstone.md
// lists every rule, error and warning.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "touchstone/line_source.h"
#include "touchstone/network.h"

namespace zefra::tk {

// The largest port count read (a 100,000-port matrix has 10^10 entries).
constexpr int64_t kMaxPorts = 100000;

// Reads the whole text of `source`.  `name` starts every message and, for
// version 1, gives the port count.  Throws ParseError (the text breaks a
// rule), ReadError (the file cannot be read) or std::bad_alloc.
std::unique_ptr<Network> readTouchstone(LineSource& source, const std::string& name);

// The port count a version-1 file of this name has (".s4p" -> 4), 0 when
// the name does not end in .sNp, .yNp, .zNp, .hNp or .gNp (any case).
int64_t portsFromName(const std::string& name);

}  // namespace zefra::tk
