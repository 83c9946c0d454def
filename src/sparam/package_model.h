// Two-port S-parameters of an IC package path.
#pragma once

#include "frame/dyn_array.h"

namespace zefra {

// The chain, all referred to the real impedance refImpedance:
//   input shunt capacitance
//   series inductance            (only when seriesInd > 0)
//   middle shunt capacitance     (only when shuntCapMid > 0)
//   lossy line of impedance lineImpedance
//   output shunt capacitance
// freq: {1, n} doubles in Hz; lossCoeffs: {1, m} doubles a0, a1, a2 (missing
// ones read as 0); results: four complex records reshaped to {1, n}.
void buildPackageModel(const DynArray* freq, double lineLength, double shuntCapIn,
                       double shuntCapOut, double lineImpedance, double phaseDelay,
                       const DynArray* lossCoeffs, double refImpedance, double seriesInd,
                       double shuntCapMid, DynArray* s11, DynArray* s12, DynArray* s21,
                       DynArray* s22);

}  // namespace zefra
