// The registry of exports under test: for each, a case generator and a
// caller.  The generator lays out one case from its random stream; the
// caller runs the export on a prepared copy of the case's arena and reports
// return values and library-allocated arrays to the Outcome.
#ifndef ZEFRA_EQUALITY_EXPORTS_H
#define ZEFRA_EQUALITY_EXPORTS_H

#include <vector>

#include "case.h"
#include "library.h"
#include "rng.h"

namespace eq {

struct Export {
  const char* name;
  void (*generate)(Rng& rng, Case& c);
  void (*call)(const Library& lib, const Case& c, unsigned char* arena, Outcome& out);
};

void addStatistics(std::vector<Export>& to);
void addInterpolation(std::vector<Export>& to);
void addChannel(std::vector<Export>& to);
void addElementwise(std::vector<Export>& to);
void addPolynomial(std::vector<Export>& to);
void addEqualisation(std::vector<Export>& to);
void addDensity(std::vector<Export>& to);

// Every export in a fixed order (31 entries).
const std::vector<Export>& allExports();

}  // namespace eq

#endif
