// Literal median: a stable bottom-up merge sort of one-based positions with
// NaN ordered after every number, then the middle value(s).  Slow and
// straightforward on purpose: the library's selection-based median must
// agree with it bit for bit.
#pragma once

#include <cstdint>
#include <vector>

namespace zefra::reference {

// Positions of x (one-based) in stable NaN-last order.
std::vector<int32_t> stableNanLastOrder(const std::vector<double>& x);

double medianByMergeSort(const std::vector<double>& x);

}  // namespace zefra::reference
