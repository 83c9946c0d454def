// Building and reading DynArray records in tests.
#pragma once

#include <vector>

#include "frame/dyn_array.h"

namespace zefra::testing {

inline DynArrayPtr complexRecord(const std::vector<Complex>& values, bool column) {
  DynArrayPtr record(dynArrayInit(2));
  const auto n = static_cast<int32_t>(values.size());
  record->size[0] = column ? n : 1;
  record->size[1] = column ? 1 : n;
  ensureCapacityComplex(record.get(), 0);
  for (size_t k = 0; k < values.size(); ++k) {
    elementsOf<Complex>(record.get())[k] = values[k];
  }
  return record;
}

inline DynArrayPtr complexRow(const std::vector<Complex>& values) {
  return complexRecord(values, false);
}

inline DynArrayPtr complexColumn(const std::vector<Complex>& values) {
  return complexRecord(values, true);
}

inline DynArrayPtr doubleRow(const std::vector<double>& values) {
  DynArrayPtr row(dynArrayInit(2));
  row->size[0] = 1;
  row->size[1] = static_cast<int32_t>(values.size());
  ensureCapacityDouble(row.get(), 0);
  for (size_t k = 0; k < values.size(); ++k) {
    elementsOf<double>(row.get())[k] = values[k];
  }
  return row;
}

inline DynArrayPtr emptyRecord() {
  return DynArrayPtr(dynArrayInit(2));
}

inline std::vector<Complex> complexValues(const DynArray* row) {
  const auto* values = elementsOf<Complex>(row);
  return std::vector<Complex>(values, values + row->size[0] * row->size[1]);
}

}  // namespace zefra::testing
