// zefra_tk_touchstone_write: the arguments gathered for the writer, its
// message copied into the caller's buffer.
#include <string>

#include "core/c_api_message.h"
#include "touchstone/writer.h"
#include "zefra/toolkit.h"

zefra_tk_status zefra_tk_touchstone_write(const char* path, int32_t ports, int64_t points,
                                          const double* f, const double* s, const double* z0,
                                          int64_t noisePoints, const double* noiseF,
                                          const double* nfMinDb, const double* gammaOpt,
                                          const double* rn, const char* const* comments,
                                          int32_t commentCount, int32_t format, int32_t unit,
                                          int32_t version, int32_t digits, char* message,
                                          int32_t messageSize) {
  const zefra::tk::NetworkView network{ports,  points,  f,        s,  z0,       noisePoints,
                                       noiseF, nfMinDb, gammaOpt, rn, comments, commentCount};
  const zefra::tk::WriteOptions options{format, unit, version, digits};
  std::string text;
  const zefra_tk_status status = zefra::tk::writeTouchstone(path, network, options, text);
  zefra::tk::copyMessage(text, message, messageSize);
  return status;
}
