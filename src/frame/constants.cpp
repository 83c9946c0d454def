#include "frame/constants.h"

#include <cmath>

namespace zefra {

// Evaluated by the library's static initialisation at load time.
const double kPi = std::acos(-1.0);

}  // namespace zefra
