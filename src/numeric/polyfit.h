// Least-squares straight-line fit by Householder QR with column pivoting.
#pragma once

#include <cstdint>

#include "frame/dyn_array.h"

namespace zefra {

// x, y: columns {m, 1} (y read for m values, 0.0 past its length).  Writes
// coeffs[0] = slope and coeffs[1] = intercept.
void polyfitLinear(const DynArray* x, const DynArray* y, double* coeffs);

// Building blocks of the fit, visible for the tests.

// Solves min ||A c - b|| for an m x n matrix A given as n column pointers of
// m entries each.  A is overwritten by its pivoted QR factorisation (R on and
// above the diagonal, the reflection vectors below it); pivoting exchanges
// entries of `columns`, so afterwards columns[j] is the j-th pivoted column.
// b (m entries) is overwritten by Q^T b.  c receives n coefficients in the
// column order A had on entry.  Returns the numerical rank (which does not
// limit the solve).
double pivotedQrSolve(int32_t m, int32_t n, double** columns, double* b, double* c);

// Generates the reflection H = I - tau [1; v] [1; v]^T with
// H [alpha; x] = [beta; 0] for alpha and the n - 1 entries x[start ...].
// Replaces alpha by beta and the entries by v; returns tau.
double householderVector(int32_t n, double* alpha, double* x, int32_t start);

// Overflow-safe Euclidean norm of v[start ... start + n - 1]; bit for bit the
// recurrence of normKernel.
double scaledNorm2(int32_t n, const double* v, int32_t start);

// v[start ... start + n - 1] *= factor.
void scaleVector(int32_t n, double factor, double* v, int32_t start);

// sqrt(a^2 + b^2) without overflow or underflow.
double safeHypot(double a, double b);

}  // namespace zefra
