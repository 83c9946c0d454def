// Touchstone writer: the text of a network, in a layout every reader
// accepts, written through a temporary file renamed over the target.
//
// Layout:
//   ! <the writer and its version>
//   ! <each comment>
//   [Version] 2.0                        (version 2 only)
//   # GHZ S RI R 50                      one space between tokens
//   [Number of Ports] n ...              (version 2 keywords, see below)
//   f  S11 S12 S13 S14                   at most 4 pairs per line,
//     S15 S16                            continuation lines indented,
//     S21 ...                            each matrix row on a new line
// A 2-port takes one line in the order S11 S21 S12 S22 (the version-1
// order, declared as [Two-Port Data Order] 21_12 in version 2, so that the
// data lines are the same in both versions).  Version 2 adds
// [Number of Ports], [Two-Port Data Order] (2-ports), [Number of
// Frequencies], [Number of Noise Frequencies] (with noise), [Reference]
// (when the references differ), [Network Data], [Noise Data] and [End].
// Lines end in LF.
//
// Numbers:
//   - digits == 0: the shortest decimal that reads back to the same double
//     (std::to_chars without a precision), so RI values round-trip bit for
//     bit; otherwise std::to_chars(general, digits), printf's %.*g.
//   - MA: |x| = hypot(re, im) and the angle atan2(im, re) * (180 / pi) in
//     degrees; DB: 20 * log10|x|.  An exact zero, whose dB value would be
//     -inf, is written as 20 * log10 of the smallest positive double
//     (-6466.1...), the closest dB value a reader turns back into (almost)
//     zero.
//   - Frequencies are always written so that they read back bit for bit,
//     whatever `digits` is.  A frequency in GHz is the shortest decimal of f
//     in Hz with its point moved 9 places, so that a reader that scales the
//     decimal exactly gets f back; a reader that parses the number to a
//     double g and multiplies it by 1e9 gets f back only when g * 1e9 == f.
//     The writer checks that for every frequency (noise ones too) and, when
//     one of them fails, takes the next smaller unit for the whole file,
//     down to Hz, where every frequency passes.  (Grids on whole MHz often
//     fail in GHz and pass in MHz; whole Hz pass in kHz.)  A zero frequency
//     is written "0" (also for -0.0).
//   - Noise rows: f, NFmin (dB), |Gamma_opt|, its angle (degrees) and Rn,
//     divided by the reference in version 1 and in ohms in version 2.
#include "touchstone/writer.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstring>
#include <limits>
#include <memory>
#include <new>
#include <numbers>
#include <string_view>

#include "touchstone/atomic_file.h"
#include "zefra/toolkit.h"

namespace zefra::tk {
namespace {

// Bytes handed to the file at once.
constexpr std::size_t kBufferSize = std::size_t{1} << 20;
// Room checked for before each data line: a frequency (at most 26
// characters), four pairs of at most 2 * 24 characters each, separators and
// the indent fit in 256.
constexpr std::size_t kLineRoom = 256;
// Room std::to_chars is given for one double; the longest text it makes is
// 24 characters ("-1.7976931348623157e+308").
constexpr std::size_t kNumberRoom = 32;
// At most this many pairs on one line.
constexpr int kPairsPerLine = 4;
constexpr std::string_view kIndent = "  ";

constexpr double kDegreesPerRadian = 180.0 / std::numbers::pi;

struct Failure {
  zefra_tk_status status;
  std::string message;
};

struct UnitInfo {
  const char* token;
  int shift;     // decimal places the point moves: f[unit] = f[Hz] * 10^-shift
  double scale;  // 10^shift, exact
};
constexpr UnitInfo kUnits[] = {{"HZ", 0, 1.0}, {"KHZ", 3, 1e3}, {"MHZ", 6, 1e6}, {"GHZ", 9, 1e9}};
constexpr const char* kFormatTokens[] = {"RI", "MA", "DB"};

std::string numberText(double x) {
  char text[kNumberRoom];
  const auto result = std::to_chars(text, text + kNumberRoom, x);
  return std::string(text, result.ptr);
}

// Writes x with the shortest round-trip digits (digits == 0) or with
// `digits` significant digits.
inline char* putNumber(char* p, double x, int digits) {
  const auto result =
      digits == 0 ? std::to_chars(p, p + kNumberRoom, x)
                  : std::to_chars(p, p + kNumberRoom, x, std::chars_format::general, digits);
  return result.ptr;
}

// Writes f >= 0 (Hz) in a unit 10^shift Hz: the shortest round-trip digits
// of f with the decimal point moved `shift` places, as text with the same
// choice between fixed and scientific notation that std::to_chars makes
// (the shorter one; fixed on a tie).
char* putScaledFrequency(char* p, double f, int shift) {
  if (f == 0.0) {
    *p++ = '0';
    return p;
  }
  if (shift == 0) {
    return std::to_chars(p, p + kNumberRoom, f).ptr;
  }
  // "d.ddde+XX": the significant digits and the decimal exponent.
  char sci[kNumberRoom];
  const char* end = std::to_chars(sci, sci + kNumberRoom, f, std::chars_format::scientific).ptr;
  char digits[kNumberRoom];
  int n = 0;
  const char* q = sci;
  digits[n++] = *q++;
  if (*q == '.') {
    for (++q; *q != 'e'; ++q) {
      digits[n++] = *q;
    }
  }
  ++q;  // 'e'
  const bool negativeExponent = *q == '-';
  ++q;  // the exponent's sign, always present
  int exponent = 0;
  std::from_chars(q, end, exponent);
  // The value is d.ddd * 10^e.
  const int e = (negativeExponent ? -exponent : exponent) - shift;
  const int absE = e < 0 ? -e : e;
  const int sciLength = n + (n > 1 ? 1 : 0) + 2 + (absE >= 100 ? 3 : 2);
  const int fixedLength = e >= n - 1 ? e + 1 : e >= 0 ? n + 1 : n + 1 - e;
  if (fixedLength <= sciLength) {
    if (e >= n - 1) {
      p = std::copy(digits, digits + n, p);
      p = std::fill_n(p, e - (n - 1), '0');
    } else if (e >= 0) {
      p = std::copy(digits, digits + e + 1, p);
      *p++ = '.';
      p = std::copy(digits + e + 1, digits + n, p);
    } else {
      *p++ = '0';
      *p++ = '.';
      p = std::fill_n(p, -e - 1, '0');
      p = std::copy(digits, digits + n, p);
    }
    return p;
  }
  *p++ = digits[0];
  if (n > 1) {
    *p++ = '.';
    p = std::copy(digits + 1, digits + n, p);
  }
  *p++ = 'e';
  *p++ = e < 0 ? '-' : '+';
  if (absE < 10) {
    *p++ = '0';
  }
  return std::to_chars(p, p + 4, absE).ptr;
}

// True when a reader that parses the text of f in the unit to a double and
// multiplies it by the unit's scale gets f back.
bool scalesBack(double f, const UnitInfo& unit) {
  char text[2 * kNumberRoom];
  const char* end = putScaledFrequency(text, f, unit.shift);
  double parsed = 0.0;
  std::from_chars(text, end, parsed);
  return parsed * unit.scale == f;
}

// The buffer the text is built in, handed to the file in large pieces.
class TextOut {
 public:
  explicit TextOut(AtomicFile& file)
      : file_(file), buffer_(new char[kBufferSize]), end_(buffer_.get() + kBufferSize) {
    p = buffer_.get();
  }

  // Makes room for `room` bytes at p.
  void reserve(std::size_t room) {
    if (static_cast<std::size_t>(end_ - p) < room) {
      flush();
    }
  }
  void flush() {
    std::string message;
    if (!file_.write(buffer_.get(), static_cast<std::size_t>(p - buffer_.get()), message)) {
      throw Failure{ZEFRA_TK_IO_ERROR, std::move(message)};
    }
    p = buffer_.get();
  }
  void put(std::string_view text) {
    while (!text.empty()) {
      reserve(1);
      const std::size_t piece = std::min(text.size(), static_cast<std::size_t>(end_ - p));
      p = std::copy_n(text.data(), piece, p);
      text.remove_prefix(piece);
    }
  }
  void putLine(std::string_view text) {
    put(text);
    put("\n");
  }

  char* p;  // the next byte to fill

 private:
  AtomicFile& file_;
  std::unique_ptr<char[]> buffer_;
  char* end_;
};

// What the writer decided from the arguments.
struct Plan {
  int version = 1;
  const UnitInfo* unit = nullptr;
  bool equalReferences = true;
};

[[noreturn]] void fail(const char* path, const std::string& what) {
  throw Failure{ZEFRA_TK_BAD_INPUT, std::string(path) + ": " + what};
}

// The port count a name ending in .sNp (or .yNp, .zNp, .hNp, .gNp, any
// case) announces; 0 when it ends otherwise.
long portsFromExtension(std::string_view path) {
  const auto dot = path.find_last_of('.');
  const auto separator = path.find_last_of("/\\");
  if (dot == std::string_view::npos || (separator != std::string_view::npos && dot < separator)) {
    return 0;
  }
  const std::string_view ext = path.substr(dot + 1);
  if (ext.size() < 3 || std::strchr("syzhgSYZHG", ext.front()) == nullptr ||
      (ext.back() != 'p' && ext.back() != 'P')) {
    return 0;
  }
  const std::string_view number = ext.substr(1, ext.size() - 2);
  long ports = 0;
  const auto result = std::from_chars(number.data(), number.data() + number.size(), ports);
  if (result.ec != std::errc{} || result.ptr != number.data() + number.size() || ports < 1) {
    return 0;
  }
  return ports;
}

void checkGrid(const char* path, const char* name, const double* f, int64_t count) {
  for (int64_t k = 0; k < count; ++k) {
    const std::string at = std::string(name) + "[" + std::to_string(k) + "] = " + numberText(f[k]);
    if (!std::isfinite(f[k])) {
      fail(path, at + " Hz: frequencies must be finite");
    }
    if (k == 0 && f[k] < 0.0) {
      fail(path, at + " Hz: frequencies must not be negative");
    }
    if (k > 0 && !(f[k] > f[k - 1])) {
      fail(path, at + " Hz is not above " + name + "[" + std::to_string(k - 1) +
                     "] = " + numberText(f[k - 1]) + " Hz: frequencies must increase strictly");
    }
  }
}

void checkFinite(const char* path, const char* name, const double* x, int64_t count,
                 const char* unit) {
  for (int64_t k = 0; k < count; ++k) {
    if (!std::isfinite(x[k])) {
      fail(path, std::string(name) + "[" + std::to_string(k) + "] = " + numberText(x[k]) + unit +
                     ": noise data must be finite");
    }
  }
}

Plan makePlan(const char* path, const NetworkView& n, const WriteOptions& o) {
  if (path == nullptr || *path == '\0') {
    throw Failure{ZEFRA_TK_BAD_INPUT, "no path given"};
  }
  if (n.ports < 1) {
    fail(path, "ports = " + std::to_string(n.ports) + ": a network has at least 1 port");
  }
  if (n.points < 1) {
    fail(path, "points = " + std::to_string(n.points) +
                   ": a Touchstone file holds at least one frequency");
  }
  const int64_t perPoint = 2 * int64_t{n.ports} * n.ports;
  if (n.points > std::numeric_limits<int64_t>::max() / perPoint) {
    fail(path, "points * ports^2 overflows a 64-bit count");
  }
  if (n.f == nullptr || n.s == nullptr || n.z0 == nullptr) {
    fail(path, std::string(n.f == nullptr ? "f" : n.s == nullptr ? "s" : "z0") + " is null");
  }
  if (o.format < ZEFRA_TK_FORMAT_RI || o.format > ZEFRA_TK_FORMAT_DB) {
    fail(path, "format = " + std::to_string(o.format) +
                   " is none of ZEFRA_TK_FORMAT_RI (0), _MA (1), _DB (2)");
  }
  if (o.unit < ZEFRA_TK_UNIT_HZ || o.unit > ZEFRA_TK_UNIT_GHZ) {
    fail(path, "unit = " + std::to_string(o.unit) +
                   " is none of ZEFRA_TK_UNIT_HZ (0), _KHZ (1), _MHZ (2), _GHZ (3)");
  }
  if (o.version < 0 || o.version > 2) {
    fail(path, "version = " + std::to_string(o.version) + " is none of 0 (choose), 1, 2");
  }
  if (o.digits < 0 || o.digits > 17) {
    fail(path, "digits = " + std::to_string(o.digits) +
                   " is outside 0 (shortest round trip) .. 17 significant digits");
  }
  checkGrid(path, "f", n.f, n.points);
  Plan plan;
  for (int32_t i = 0; i < n.ports; ++i) {
    if (!std::isfinite(n.z0[i]) || !(n.z0[i] > 0.0)) {
      fail(path, "z0[" + std::to_string(i) + "] = " + numberText(n.z0[i]) +
                     " ohm: references must be finite and positive");
    }
    plan.equalReferences = plan.equalReferences && n.z0[i] == n.z0[0];
  }
  if (n.noisePoints < 0) {
    fail(path, "noisePoints = " + std::to_string(n.noisePoints) + " is negative");
  }
  if (n.noisePoints > 0) {
    if (n.ports != 2) {
      fail(path, "noise data given for a " + std::to_string(n.ports) +
                     "-port: Touchstone has noise data for 2-ports only");
    }
    if (n.noiseF == nullptr || n.nfMinDb == nullptr || n.gammaOpt == nullptr || n.rn == nullptr) {
      fail(path, "a noise array is null while noisePoints = " + std::to_string(n.noisePoints));
    }
    checkGrid(path, "noiseF", n.noiseF, n.noisePoints);
    checkFinite(path, "nfMinDb", n.nfMinDb, n.noisePoints, " dB");
    checkFinite(path, "gammaOpt", n.gammaOpt, 2 * n.noisePoints, "");
    checkFinite(path, "rn", n.rn, n.noisePoints, " ohm");
    for (int64_t k = 0; k < n.noisePoints; ++k) {
      if (n.rn[k] < 0.0) {
        fail(path, "rn[" + std::to_string(k) + "] = " + numberText(n.rn[k]) +
                       " ohm: the noise resistance must not be negative");
      }
      const double magnitude = std::hypot(n.gammaOpt[2 * k], n.gammaOpt[2 * k + 1]);
      if (!std::isfinite(magnitude)) {
        fail(path, "gammaOpt[" + std::to_string(k) + "] has a magnitude above the largest double");
      }
    }
  }
  if (n.commentCount < 0) {
    fail(path, "commentCount = " + std::to_string(n.commentCount) + " is negative");
  }
  for (int32_t i = 0; i < n.commentCount; ++i) {
    if (n.comments == nullptr || n.comments[i] == nullptr) {
      fail(path, "comment " + std::to_string(i) + " is null");
    }
  }

  // The version.  Version 1 takes its port count from the name .sNp, needs
  // one reference for every port and starts its noise block with a
  // frequency not above the last network frequency.
  const long extensionPorts = portsFromExtension(path);
  if (extensionPorts != 0 && extensionPorts != n.ports) {
    fail(path, "the name announces " + std::to_string(extensionPorts) + " ports, the network has " +
                   std::to_string(n.ports));
  }
  // Version 1 also writes Rn / R, which must stay within range (a huge Rn
  // over a small R would print "inf").
  const bool noiseFitsVersion1 =
      n.noisePoints == 0 ||
      (n.noiseF[0] <= n.f[n.points - 1] &&
       std::all_of(n.rn, n.rn + n.noisePoints, [&](double r) { return std::isfinite(r / n.z0[0]); }));
  if (o.version == 1) {
    if (extensionPorts == 0) {
      fail(path, "a version-1 file takes its port count from its name, which must end in .s" +
                     std::to_string(n.ports) + "p");
    }
    if (!plan.equalReferences) {
      fail(path, "the references differ, which version 1 cannot express (use version 2)");
    }
    if (!noiseFitsVersion1 && n.noiseF[0] > n.f[n.points - 1]) {
      fail(path, "in version 1 the first noise frequency (" + numberText(n.noiseF[0]) +
                     " Hz) must not be above the last network frequency (" +
                     numberText(n.f[n.points - 1]) + " Hz) (use version 2)");
    }
    if (!noiseFitsVersion1) {
      fail(path, "in version 1 Rn is written divided by the reference, and an Rn / R is beyond "
                 "the range of a double (use version 2, which writes Rn in ohms)");
    }
  }
  plan.version = o.version != 0                                                     ? o.version
                 : extensionPorts != 0 && plan.equalReferences && noiseFitsVersion1 ? 1
                                                                                    : 2;

  // The unit: the one asked for, or else the largest smaller one, in which
  // every frequency scales back exactly (Hz always does).
  for (int32_t u = o.unit; u >= ZEFRA_TK_UNIT_HZ; --u) {
    plan.unit = &kUnits[u];
    const auto exact = [&](double f) { return scalesBack(f, kUnits[u]); };
    if (std::all_of(n.f, n.f + n.points, exact) &&
        (n.noisePoints == 0 || std::all_of(n.noiseF, n.noiseF + n.noisePoints, exact))) {
      break;
    }
  }
  return plan;
}

void writeHeader(TextOut& out, const Plan& plan, const NetworkView& n, const WriteOptions& o) {
  out.putLine(std::string("! Touchstone file written by the Zefra_TDR_Helpers toolkit ") +
              ZEFRA_VERSION_STRING);
  for (int32_t i = 0; i < n.commentCount; ++i) {
    // Printable ASCII and tab only: any other byte (a line break included)
    // would break the file or its character set.
    std::string text = std::string("!") + n.comments[i];
    for (char& c : text) {
      const auto byte = static_cast<unsigned char>(c);
      if ((byte < 0x20 && byte != '\t') || byte > 0x7E) {
        c = '?';
      }
    }
    out.putLine(text);
  }
  if (plan.version == 2) {
    out.putLine("[Version] 2.0");
  }
  out.putLine(std::string("# ") + plan.unit->token + " S " + kFormatTokens[o.format] + " R " +
              numberText(n.z0[0]));
  if (plan.version == 2) {
    out.putLine("[Number of Ports] " + std::to_string(n.ports));
    if (n.ports == 2) {
      out.putLine("[Two-Port Data Order] 21_12");
    }
    out.putLine("[Number of Frequencies] " + std::to_string(n.points));
    if (n.noisePoints > 0) {
      out.putLine("[Number of Noise Frequencies] " + std::to_string(n.noisePoints));
    }
    if (!plan.equalReferences) {
      std::string line = "[Reference]";
      for (int32_t i = 0; i < n.ports; ++i) {
        line += ' ';
        line += numberText(n.z0[i]);
      }
      out.putLine(line);
    }
    out.putLine("[Network Data]");
  }
}

// Value pairs in each format.  The caller has checked that re and im are
// finite; hypot overflows only for magnitudes above the largest double.
template <int Format>
char* putPair(char* p, double re, double im, int digits) {
  if constexpr (Format == ZEFRA_TK_FORMAT_RI) {
    p = putNumber(p, re, digits);
    *p++ = ' ';
    return putNumber(p, im, digits);
  } else {
    const double magnitude = std::hypot(re, im);
    const double angle = std::atan2(im, re) * kDegreesPerRadian;
    if constexpr (Format == ZEFRA_TK_FORMAT_MA) {
      p = putNumber(p, magnitude, digits);
    } else {
      static const double kDbOfZero = 20.0 * std::log10(std::numeric_limits<double>::denorm_min());
      p = putNumber(p, magnitude == 0.0 ? kDbOfZero : 20.0 * std::log10(magnitude), digits);
    }
    *p++ = ' ';
    return putNumber(p, angle, digits);
  }
}

// "S21", or "S12,3" once a port number has two digits.
std::string entryName(int64_t i, int64_t j) {
  std::string name = "S";
  name += std::to_string(i + 1);
  if (i >= 9 || j >= 9) {
    name += ',';
  }
  name += std::to_string(j + 1);
  return name;
}

// Fails unless every value of the matrix at point k can be written.
void checkMatrix(const char* path, const NetworkView& n, int64_t k, const double* m, int format) {
  const int64_t count = int64_t{n.ports} * n.ports;
  for (int64_t e = 0; e < count; ++e) {
    const double re = m[2 * e];
    const double im = m[2 * e + 1];
    const bool finite = std::isfinite(re) && std::isfinite(im);
    if (finite && (format == ZEFRA_TK_FORMAT_RI || std::isfinite(std::hypot(re, im)))) {
      continue;
    }
    const std::string at = entryName(e / n.ports, e % n.ports) + " at f[" + std::to_string(k) +
                           "] = " + numberText(n.f[k]) + " Hz is (" + numberText(re) + ", " +
                           numberText(im) + ")";
    fail(path, at + (finite ? ": its magnitude is above the largest double"
                            : ": Touchstone values must be finite"));
  }
}

template <int Format>
void writeNetworkData(TextOut& out, const char* path, const Plan& plan, const NetworkView& n,
                      int digits) {
  const int64_t ports = n.ports;
  const int64_t perPoint = 2 * ports * ports;
  const int shift = plan.unit->shift;
  for (int64_t k = 0; k < n.points; ++k) {
    const double* m = n.s + k * perPoint;
    checkMatrix(path, n, k, m, Format);
    out.reserve(kLineRoom);
    char* p = putScaledFrequency(out.p, n.f[k], shift);
    if (ports <= 2) {
      // S11, or S11 S21 S12 S22: one line.
      static constexpr int64_t kOrder[] = {0, 2, 1, 3};
      for (int64_t e = 0; e < ports * ports; ++e) {
        const int64_t at = ports == 1 ? 0 : kOrder[e];
        *p++ = ' ';
        p = putPair<Format>(p, m[2 * at], m[2 * at + 1], digits);
      }
      *p++ = '\n';
      out.p = p;
      continue;
    }
    for (int64_t i = 0; i < ports; ++i) {
      const double* row = m + 2 * i * ports;
      for (int64_t j = 0; j < ports; ++j) {
        if (j % kPairsPerLine == 0 && (i > 0 || j > 0)) {
          *p++ = '\n';
          out.p = p;
          out.reserve(kLineRoom);
          p = std::copy(kIndent.begin(), kIndent.end(), out.p);
        } else {
          *p++ = ' ';
        }
        p = putPair<Format>(p, row[2 * j], row[2 * j + 1], digits);
      }
    }
    *p++ = '\n';
    out.p = p;
  }
}

void writeNoiseData(TextOut& out, const Plan& plan, const NetworkView& n, int digits) {
  if (n.noisePoints == 0) {
    return;
  }
  if (plan.version == 2) {
    out.putLine("[Noise Data]");
  }
  // Version 1 gives Rn divided by the reference, version 2 in ohms.
  const double rnScale = plan.version == 1 ? n.z0[0] : 1.0;
  for (int64_t k = 0; k < n.noisePoints; ++k) {
    out.reserve(kLineRoom);
    char* p = putScaledFrequency(out.p, n.noiseF[k], plan.unit->shift);
    *p++ = ' ';
    p = putNumber(p, n.nfMinDb[k], digits);
    *p++ = ' ';
    p = putPair<ZEFRA_TK_FORMAT_MA>(p, n.gammaOpt[2 * k], n.gammaOpt[2 * k + 1], digits);
    *p++ = ' ';
    p = putNumber(p, n.rn[k] / rnScale, digits);
    *p++ = '\n';
    out.p = p;
  }
}

}  // namespace

zefra_tk_status writeTouchstone(const char* path, const NetworkView& network,
                                const WriteOptions& options, std::string& message) {
  try {
    const Plan plan = makePlan(path, network, options);
    AtomicFile file;
    if (!file.open(path, message)) {
      return ZEFRA_TK_IO_ERROR;
    }
    TextOut out(file);
    writeHeader(out, plan, network, options);
    switch (options.format) {
      case ZEFRA_TK_FORMAT_MA:
        writeNetworkData<ZEFRA_TK_FORMAT_MA>(out, path, plan, network, options.digits);
        break;
      case ZEFRA_TK_FORMAT_DB:
        writeNetworkData<ZEFRA_TK_FORMAT_DB>(out, path, plan, network, options.digits);
        break;
      default:
        writeNetworkData<ZEFRA_TK_FORMAT_RI>(out, path, plan, network, options.digits);
        break;
    }
    writeNoiseData(out, plan, network, options.digits);
    if (plan.version == 2) {
      out.putLine("[End]");
    }
    out.flush();
    if (!file.commit(message)) {
      return ZEFRA_TK_IO_ERROR;
    }
    message.clear();
    return ZEFRA_TK_OK;
  } catch (Failure& failure) {
    message = std::move(failure.message);
    return failure.status;
  } catch (const std::bad_alloc&) {
    message = std::string(path != nullptr ? path : "") + ": out of memory";
    return ZEFRA_TK_NO_MEMORY;
  }
}

}  // namespace zefra::tk
