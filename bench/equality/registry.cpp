// The fixed order of the exports under test.
#include "exports.h"

namespace eq {

const std::vector<Export>& allExports() {
  static const std::vector<Export> all = [] {
    std::vector<Export> v;
    addStatistics(v);
    addInterpolation(v);
    addChannel(v);
    addElementwise(v);
    addPolynomial(v);
    addEqualisation(v);
    addDensity(v);
    return v;
  }();
  return all;
}

}  // namespace eq
