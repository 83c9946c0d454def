#include "touchstone/record_converter.h"

#include <cmath>
#include <numbers>
#include <utility>

namespace zefra::tk {
namespace {

constexpr double kDegree = std::numbers::pi / 180.0;

}  // namespace

RecordConverter::RecordConverter(RecordLayout layout) : layout_(std::move(layout)) {
  const auto n = static_cast<std::size_t>(layout_.ports);
  const std::size_t pairs =
      layout_.matrix == MatrixFormat::kFull ? n * n : n * (n + 1) / 2;
  valuesPerRecord_ = static_cast<int64_t>(2 * pairs);
  plain_ = layout_.format == Format::kRI && layout_.parameter == Parameter::kS &&
           layout_.matrix == MatrixFormat::kFull && !layout_.order21_12 && layout_.modes.empty();
  // The reference of each port of the file's matrix: physical, or modal.
  std::vector<double> reference(layout_.z0);
  for (std::size_t k = 0; k < layout_.modes.size(); ++k) {
    const ModePort& mode = layout_.modes[k];
    const double z = layout_.z0[static_cast<std::size_t>(mode.p)];
    reference[k] = mode.kind == 'D' ? 2.0 * z : mode.kind == 'C' ? 0.5 * z : z;
  }
  // Mode k of M touches its port p with weight wp and (for a pair) n with wq.
  const double h = std::sqrt(0.5);
  for (const ModePort& mode : layout_.modes) {
    modeP_.push_back(static_cast<std::size_t>(mode.p));
    modeQ_.push_back(static_cast<std::size_t>(mode.n));
    modeWp_.push_back(mode.kind == 'S' ? 1.0 : h);
    modeWq_.push_back(mode.kind == 'S' ? 0.0 : mode.kind == 'D' ? -h : h);
  }
  sigma_.assign(n, 1.0);
  c_.assign(n, 1.0);
  for (std::size_t i = 0; i < n; ++i) {
    bool currentOut = false;
    switch (layout_.parameter) {
      case Parameter::kY:
        currentOut = true;
        break;
      case Parameter::kH:
        currentOut = i == 1;
        break;
      case Parameter::kG:
        currentOut = i == 0;
        break;
      default:
        break;
    }
    sigma_[i] = currentOut ? -1.0 : 1.0;
    if (!layout_.normalised) {
      c_[i] = currentOut ? std::sqrt(reference[i]) : 1.0 / std::sqrt(reference[i]);
    }
  }
}

void RecordConverter::toComplex(const double* values) {
  const std::size_t pairs = raw_.size();
  switch (layout_.format) {
    case Format::kRI:
      for (std::size_t k = 0; k < pairs; ++k) {
        raw_[k] = Complex(values[2 * k], values[2 * k + 1]);
      }
      break;
    case Format::kMA:
      for (std::size_t k = 0; k < pairs; ++k) {
        const double m = values[2 * k];
        const double a = values[2 * k + 1] * kDegree;
        raw_[k] = Complex(m * std::cos(a), m * std::sin(a));
      }
      break;
    case Format::kDB:
      for (std::size_t k = 0; k < pairs; ++k) {
        const double m = std::pow(10.0, values[2 * k] / 20.0);
        const double a = values[2 * k + 1] * kDegree;
        raw_[k] = Complex(m * std::cos(a), m * std::sin(a));
      }
      break;
  }
}

void RecordConverter::arrange() {
  const auto n = static_cast<std::size_t>(layout_.ports);
  std::size_t k = 0;
  switch (layout_.matrix) {
    case MatrixFormat::kFull:
      for (std::size_t i = 0; i < n * n; ++i) {
        m_[i] = raw_[i];
      }
      if (layout_.order21_12) {
        std::swap(m_[1], m_[2]);
      }
      break;
    case MatrixFormat::kLower:
      for (std::size_t i = 0; i < n; ++i) {
        for (std::size_t j = 0; j <= i; ++j, ++k) {
          m_[i * n + j] = m_[j * n + i] = raw_[k];
        }
      }
      break;
    case MatrixFormat::kUpper:
      for (std::size_t i = 0; i < n; ++i) {
        for (std::size_t j = i; j < n; ++j, ++k) {
          m_[i * n + j] = m_[j * n + i] = raw_[k];
        }
      }
      break;
  }
}

// m_ <- Sigma (I + Mn)^-1 (Mn - I).
bool RecordConverter::toS() {
  const auto n = static_cast<std::size_t>(layout_.ports);
  work_.resize(n * n);
  rhs_.resize(n * n);
  for (std::size_t i = 0; i < n; ++i) {
    for (std::size_t j = 0; j < n; ++j) {
      const Complex mn = c_[i] * m_[i * n + j] * c_[j];
      const double unit = i == j ? 1.0 : 0.0;
      work_[i * n + j] = mn + unit;
      rhs_[i * n + j] = mn - unit;
    }
  }
  // Gaussian elimination with partial pivoting, applied to the right-hand
  // sides as it goes, then back substitution.
  for (std::size_t col = 0; col < n; ++col) {
    std::size_t pivot = col;
    double best = std::abs(work_[col * n + col]);
    for (std::size_t r = col + 1; r < n; ++r) {
      const double size = std::abs(work_[r * n + col]);
      if (size > best) {
        best = size;
        pivot = r;
      }
    }
    if (!(best > 0.0) || !std::isfinite(best)) {
      return false;
    }
    if (pivot != col) {
      for (std::size_t j = 0; j < n; ++j) {
        std::swap(work_[pivot * n + j], work_[col * n + j]);
        std::swap(rhs_[pivot * n + j], rhs_[col * n + j]);
      }
    }
    const Complex inverse = 1.0 / work_[col * n + col];
    for (std::size_t r = col + 1; r < n; ++r) {
      const Complex factor = work_[r * n + col] * inverse;
      if (factor == 0.0) {
        continue;
      }
      for (std::size_t j = col; j < n; ++j) {
        work_[r * n + j] -= factor * work_[col * n + j];
      }
      for (std::size_t j = 0; j < n; ++j) {
        rhs_[r * n + j] -= factor * rhs_[col * n + j];
      }
    }
  }
  for (std::size_t row = n; row-- > 0;) {
    for (std::size_t j = 0; j < n; ++j) {
      Complex sum = rhs_[row * n + j];
      for (std::size_t k = row + 1; k < n; ++k) {
        sum -= work_[row * n + k] * rhs_[k * n + j];
      }
      rhs_[row * n + j] = sum / work_[row * n + row];
    }
  }
  for (std::size_t i = 0; i < n; ++i) {
    for (std::size_t j = 0; j < n; ++j) {
      m_[i * n + j] = sigma_[i] * rhs_[i * n + j];
    }
  }
  return true;
}

// m_ <- M^T m_ M, M row k = mode k over the physical ports.
// m_ <- M^T m_ M, M row k = mode k over the physical ports (weights in
// modeP_/modeWp_ and modeQ_/modeWq_, set once by the constructor).
void RecordConverter::toSingleEnded() {
  const auto n = static_cast<std::size_t>(layout_.ports);
  // T = Smm M: T[k][col] = sum_l Smm[k][l] M[l][col].
  modeWork_.assign(n * n, Complex(0.0, 0.0));
  for (std::size_t k = 0; k < n; ++k) {
    for (std::size_t l = 0; l < n; ++l) {
      const Complex v = m_[k * n + l];
      modeWork_[k * n + modeP_[l]] += v * modeWp_[l];
      if (modeWq_[l] != 0.0) {
        modeWork_[k * n + modeQ_[l]] += v * modeWq_[l];
      }
    }
  }
  // S = M^T T: S[row][col] = sum_k M[k][row] T[k][col].
  for (Complex& v : m_) {
    v = Complex(0.0, 0.0);
  }
  for (std::size_t k = 0; k < n; ++k) {
    for (std::size_t col = 0; col < n; ++col) {
      const Complex v = modeWork_[k * n + col];
      m_[modeP_[k] * n + col] += modeWp_[k] * v;
      if (modeWq_[k] != 0.0) {
        m_[modeQ_[k] * n + col] += modeWq_[k] * v;
      }
    }
  }
}

bool RecordConverter::convert(const double* values, double* s) {
  const auto n = static_cast<std::size_t>(layout_.ports);
  if (plain_) {
    for (std::size_t i = 0; i < 2 * n * n; ++i) {
      s[i] = values[i];
    }
    return true;
  }
  // Sized at the first data set: a header alone must not make the reader
  // reserve the matrix of the port count it announces.
  raw_.resize(static_cast<std::size_t>(valuesPerRecord_ / 2));
  m_.resize(n * n);
  toComplex(values);
  arrange();
  if (layout_.parameter != Parameter::kS && !toS()) {
    return false;
  }
  if (!layout_.modes.empty()) {
    toSingleEnded();
  }
  for (std::size_t i = 0; i < n * n; ++i) {
    s[2 * i] = m_[i].real();
    s[2 * i + 1] = m_[i].imag();
  }
  return true;
}

}  // namespace zefra::tk
