// One data set of a file turned into single-ended S-parameters:
//   1. the format: RI pairs as they stand; MA: m (cos, sin)(a * pi/180);
//      DB: 10^(d/20) (cos, sin)(a * pi/180);
//   2. the layout: a two-port in 21_12 order is reordered, a Lower or
//      Upper triangle mirrored into the full matrix;
//   3. the parameter: Y, Z, H and G (any square matrix M of one kind of
//      output per port: a voltage for Z, a current for Y, the port-1
//      voltage and port-2 current for H, the reverse for G) are normalised
//      with the references, Mn_ij = c_i M_ij c_j with c = 1/sqrt(r) at a
//      voltage output and sqrt(r) at a current output (version-1 values are
//      already normalised), and then, with sigma_i = +1 at a voltage output
//      and -1 at a current output and the waves v = a + b, i = a - b,
//          S = Sigma (I + Mn)^-1 (Mn - I)
//      (LU with partial pivoting): Z gives (Z~ + I)^-1 (Z~ - I), Y gives
//      (I + Y~)^-1 (I - Y~);
//   4. mixed-mode data: S = M^T Smm M (see mixed_mode.h), the parameters
//      having been normalised with the modes' references.
#pragma once

#include <complex>
#include <cstdint>
#include <vector>

#include "touchstone/mixed_mode.h"
#include "touchstone/option_line.h"

namespace zefra::tk {

enum class MatrixFormat { kFull, kLower, kUpper };

struct RecordLayout {
  int32_t ports = 1;
  Format format = Format::kMA;
  Parameter parameter = Parameter::kS;
  MatrixFormat matrix = MatrixFormat::kFull;
  bool order21_12 = false;  // two-port values N11 N21 N12 N22
  bool normalised = false;  // version 1: Y, Z, H, G values normalised to R
  std::vector<double> z0;   // reference of each physical port, ohms
  std::vector<ModePort> modes;  // empty: single-ended data
};

class RecordConverter {
 public:
  explicit RecordConverter(RecordLayout layout);

  int32_t ports() const { return layout_.ports; }
  // Values of one data set after its frequency.
  int64_t valuesPerRecord() const { return valuesPerRecord_; }
  // True when the values are already S in RI, row-major: the converter
  // would only copy them.
  bool isPlain() const { return plain_; }
  // Writes the S-parameters of `values` into s[2 * ports * ports].  False
  // when the matrix cannot be turned into S (I + Mn singular).
  bool convert(const double* values, double* s);

 private:
  using Complex = std::complex<double>;
  void toComplex(const double* values);
  void arrange();
  bool toS();
  void toSingleEnded();

  RecordLayout layout_;
  int64_t valuesPerRecord_ = 0;
  bool plain_ = false;
  std::vector<double> c_;      // normalisation factor of each (mode) port
  std::vector<double> sigma_;  // +1 voltage output, -1 current output
  std::vector<Complex> raw_;   // the pairs in file order
  std::vector<Complex> m_;     // the full matrix
  std::vector<Complex> work_;  // I + Mn, factored
  std::vector<Complex> rhs_;   // Mn - I, then S
  std::vector<std::size_t> modeP_, modeQ_;  // the ports each mode touches
  std::vector<double> modeWp_, modeWq_;     // and its weights there
  std::vector<Complex> modeWork_;           // Smm M
};

}  // namespace zefra::tk
