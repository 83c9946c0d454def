// Run-time processor features, for kernels that carry a wider-vector form
// next to the baseline one.  Both forms give identical bits; only speed
// depends on the answer.
#pragma once

namespace zefra {

// True when the processor executes AVX and the operating system saves the
// 256-bit registers across context switches.
bool cpuHasAvx();

}  // namespace zefra
