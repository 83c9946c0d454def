// One candidate of the equaliser search:
//   p_tx   = victims[c] through FFE vector f (at UI spacing),
//   centre = argmax p_tx (first on ties),
//   DFE    on the cursors p_tx[centre + k Ns] at phase 0,
//   eye    of p_tx with that DFE and the aggressors of Rx setting c,
//   score  = min over the M - 1 eyes of heightBestV at targetBer.
// The eye is computed with one thread: the search already shares the
// candidates among its workers.
#include "eye/search_candidate.h"

#include <memory>
#include <vector>

#include "eye/search_dfe.h"
#include "eye/search_ffe.h"

namespace zefra::tk::search {
namespace {

// Engine messages are one line; a longer one is cut by the engine itself.
constexpr int32_t kMessageSize = 512;

struct EyeDeleter {
  void operator()(zefra_tk_eye* eye) const { zefra_tk_eye_free(eye); }
};

CandidateScore failure(zefra_tk_status status, const char* message) {
  CandidateScore result;
  result.status = status;
  result.message = message;
  return result;
}

}  // namespace

CandidateScore scoreCandidate(const SearchArguments& a, int32_t c, int32_t f) {
  const int32_t ns = a.samplesPerUi;
  const std::vector<double> ptx =
      applyFfe(a.victim(c), a.length, ns, a.ffeTaps(f), a.ffeLength, a.ffeMain);
  const int64_t centre = mainCursorSample(ptx);
  const DfeTaps dfe = placeDfe(postCursors(ptx, centre, ns), *a.dfe);

  std::vector<zefra_tk_eye_aggressor> aggressors(static_cast<size_t>(a.aggressorCount));
  for (int32_t j = 0; j < a.aggressorCount; ++j) {
    zefra_tk_eye_aggressor& x = aggressors[static_cast<size_t>(j)];
    x.pulse = a.aggressorPulse(c, j);
    x.length = a.length;
    x.synchronous = a.aggressorModes[j].synchronous;
    x.offsetSamples = a.aggressorModes[j].offsetSamples;
  }

  zefra_tk_eye_input input{};
  input.pulse = ptx.data();
  input.length = a.length;
  input.samplesPerUi = ns;
  input.centre = centre;
  input.dfePositions = dfe.positions.data();
  input.dfeValuesV = dfe.values.data();
  input.dfeCount = static_cast<int32_t>(dfe.positions.size());
  input.aggressors = aggressors.data();
  input.aggressorCount = a.aggressorCount;

  zefra_tk_eye_options options = *a.options;
  options.threads = 1;

  char message[kMessageSize] = {};
  zefra_tk_eye* raw = nullptr;
  const zefra_tk_status computed =
      zefra_tk_eye_compute(&input, &options, &raw, message, kMessageSize);
  const std::unique_ptr<zefra_tk_eye, EyeDeleter> eye(raw);
  if (computed != ZEFRA_TK_OK) {
    return failure(computed, message);
  }

  int32_t eyes = 0;
  int64_t phases = 0;
  int64_t voltages = 0;
  zefra_tk_eye_shape(eye.get(), &eyes, &phases, &voltages);
  CandidateScore result;
  for (int32_t i = 0; i < eyes; ++i) {
    zefra_tk_eye_figures figures{};
    const zefra_tk_status read =
        zefra_tk_eye_readout(eye.get(), i, a.targetBer, &figures, nullptr, nullptr, nullptr,
                             nullptr, nullptr, message, kMessageSize);
    if (read != ZEFRA_TK_OK) {
      return failure(read, message);
    }
    // The worst eye; min written out so that the first eye seeds it.
    if (i == 0 || figures.heightBestV < result.scoreV) {
      result.scoreV = figures.heightBestV;
    }
  }
  return result;
}

}  // namespace zefra::tk::search
