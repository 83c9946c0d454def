// The data: data lines scanned and their value tokens handed to the
// pipeline, data sets completed, noise rows, and the checks at their end.
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <string>
#include <string_view>

#include "touchstone/number_scan.h"
#include "touchstone/reader.h"
#include "touchstone/reader_state.h"
#include "touchstone/text_util.h"
#include "touchstone/token_count.h"
#include "zefra/toolkit.h"

namespace zefra::tk::detail {

int64_t tokensOf(std::string_view text) {
  int64_t tokens = 0;
  std::size_t i = 0;
  while (i < text.size() && text[i] != '!') {
    while (i < text.size() && isBlank(text[i])) {
      ++i;
    }
    if (i == text.size() || text[i] == '!') {
      break;
    }
    ++tokens;
    while (i < text.size() && !isBlank(text[i]) && text[i] != '!') {
      ++i;
    }
  }
  return tokens;
}

void Reader::dataLine(std::string_view text) {
  if (version_ == 1 && stage_ == Stage::kNoiseData) {
    const int64_t tokens = tokensOf(text);
    if (tokens != 5) {
      fail("expected a noise row of 5 numbers (f, NFmin, |Gopt|, angle, Rn), found " +
           std::to_string(tokens));
    }
  }
  lineText_ = text;
  const char* p = text.data();
  const char* const end = p + text.size();
  bool first = true;
  valuesOnLine_ = 0;
  for (;;) {
    while (p < end && isBlank(*p)) {
      ++p;
    }
    if (p == end) {
      break;
    }
    if (*p == '!') {
      comment(std::string_view(p + 1, static_cast<std::size_t>(end - p - 1)));
      break;
    }
    if (position_ > 0 && stage_ == Stage::kNetworkData) {
      // The values of the data set being read, up to its last one or the
      // end of the line: their text goes to the pipeline whole, which turns
      // the tokens into numbers.
      const char* stop = end;
      const int64_t tokens = countTokens(p, end, valuesPerRecord_ - (position_ - 1), stop);
      pipeline_->addSegment(std::string_view(p, static_cast<std::size_t>(stop - p)), tokens,
                            line_);
      position_ += tokens;
      valuesOnLine_ += tokens;
      if (position_ - 1 == valuesPerRecord_) {
        completeRecord();
      }
      p = stop;
      first = false;
      continue;
    }
    const char* const start = p;
    while (p < end && !isBlank(*p) && *p != '!') {
      ++p;
    }
    const std::string_view token(start, static_cast<std::size_t>(p - start));
    if (stage_ == Stage::kNoiseData) {
      noiseValue(token);
    } else {
      beginDataSet(token, first);  // position_ == 0 here: the values go above
    }
    first = false;
  }
  if (stage_ == Stage::kNetworkData) {
    if (position_ > 0 && position_ % 2 == 0) {
      warnings_.add(Warning::kSplitPair, line_);
    }
    if (version_ == 1 && valuesOnLine_ > 8) {
      warnings_.add(Warning::kWideLine, line_);
    }
  }
}

// The frequency that begins a data set (its values go to the pipeline from
// dataLine).
void Reader::beginDataSet(std::string_view token, bool firstOnLine) {
  const double f = frequency(token);
  if (!network_->f.empty() && !(f > network_->f.back())) {
    if (version_ == 1 && ports_ == 2 && firstOnLine && tokensOf(lineText_) == 5) {
      // A two-port's noise block: the first data set whose frequency does
      // not increase, on a line of five numbers.
      stage_ = Stage::kNoiseData;
      noiseValue(token);
      return;
    }
    fail("expected frequencies that increase, found " + frequencyText(f) + " after " +
         frequencyText(network_->f.back()));
  }
  if (version_ == 2 && static_cast<int64_t>(network_->f.size()) == frequencies_) {
    fail("expected " + std::to_string(frequencies_) +
         " data sets ([Number of Frequencies]), found more");
  }
  recordF_ = f;
  recordLine_ = line_;
  position_ = 1;
}

void Reader::completeRecord() {
  network_->f.push_back(recordF_);
  position_ = 0;
  if (!pipeline_->commit(recordF_, recordLine_)) {
    settleConversions();
  }
}

// Waits for the conversion of every data set handed over, and fails with
// the first one that could not be converted.
void Reader::settleConversions() {
  if (!pipeline_ || settled_) {
    return;
  }
  settled_ = true;
  const std::optional<RecordPipeline::Failure> failure = pipeline_->finish();
  if (!failure) {
    return;
  }
  switch (failure->fault) {
    case RecordPipeline::Fault::kNotANumber:
      fail(failure->line, "expected a number, found '" + quote(failure->token) + "'");
    case RecordPipeline::Fault::kOverflow:
      fail(failure->line, "expected a number within the range of a double, found '" +
                              quote(failure->token) + "'");
    case RecordPipeline::Fault::kSingular:
      fail(failure->line, std::string("expected ") + parameterName(options_.parameter) +
                              "-parameters that can be turned into S, found a singular I + M at " +
                              frequencyText(failure->f));
    case RecordPipeline::Fault::kNotFinite:
      break;
  }
  const auto n = static_cast<std::size_t>(ports_);
  const auto k = static_cast<std::size_t>(failure->entry);
  char value[96];  // "S21", or "S12,3" once a port number has two digits
  std::snprintf(value, sizeof value,
                k / n >= 9 || k % n >= 9 ? "S%zu,%zu = (%g, %g)" : "S%zu%zu = (%g, %g)", k / n + 1,
                k % n + 1, failure->re, failure->im);
  fail(failure->line, std::string("expected S-parameters within the range of a double, found ") +
                          value + " at " + frequencyText(failure->f));
}

void Reader::noiseValue(std::string_view token) {
  if (noisePosition_ == 0) {
    const double f = frequency(token);
    if (!network_->noiseF.empty() && !(f > network_->noiseF.back())) {
      fail("expected noise frequencies that increase, found " + frequencyText(f) + " after " +
           frequencyText(network_->noiseF.back()));
    }
    if (version_ == 2 && static_cast<int64_t>(network_->noiseF.size()) == noiseFrequencies_) {
      fail("expected " + std::to_string(noiseFrequencies_) +
           " noise rows ([Number of Noise Frequencies]), found more");
    }
    noise_[0] = f;
    noiseLine_ = line_;
    noisePosition_ = 1;
    return;
  }
  noise_[noisePosition_++] = number(token);
  if (noisePosition_ == 5) {
    completeNoiseRow();
  }
}

void Reader::completeNoiseRow() {
  const double angle = noise_[3] * kDegree;
  // Version 1 gives Rn normalised to the reference.
  const double rnScale = version_ == 1 ? network_->z0.front() : 1.0;
  if (noise_[4] < 0.0) {
    fail(noiseLine_, "expected a noise resistance Rn >= 0, found " + std::to_string(noise_[4]));
  }
  if (!std::isfinite(noise_[4] * rnScale)) {
    char value[96];
    std::snprintf(value, sizeof value, "%g times R = %g", noise_[4], rnScale);
    fail(noiseLine_,
         std::string("expected an Rn within the range of a double in ohms, found ") + value);
  }
  network_->noiseF.push_back(noise_[0]);
  network_->nfMinDb.push_back(noise_[1]);
  network_->gammaOpt.push_back(noise_[2] * std::cos(angle));
  network_->gammaOpt.push_back(noise_[2] * std::sin(angle));
  network_->rn.push_back(noise_[4] * rnScale);
  noisePosition_ = 0;
}

void Reader::requireWholeRecords(const std::string& found) {
  if (position_ > 0) {
    fail("expected " + std::to_string(valuesPerRecord_ - (position_ - 1)) +
         " more values for the data set of line " + std::to_string(recordLine_) + " (" +
         frequencyText(recordF_) + "; " + std::to_string(valuesPerRecord_) +
         " values after each frequency), found " + found);
  }
  if (noisePosition_ > 0) {
    fail("expected " + std::to_string(5 - noisePosition_) +
         " more values for the noise row of line " + std::to_string(noiseLine_) + ", found " +
         found);
  }
  if (network_->f.empty()) {
    fail("expected network data (a frequency and its " + std::to_string(valuesPerRecord_) +
         " values), found " + found);
  }
  if (version_ == 2 && static_cast<int64_t>(network_->f.size()) != frequencies_) {
    fail("expected " + std::to_string(frequencies_) +
         " data sets ([Number of Frequencies]), found " + std::to_string(network_->f.size()));
  }
  if (stage_ == Stage::kNoiseData && version_ == 2 &&
      static_cast<int64_t>(network_->noiseF.size()) != noiseFrequencies_) {
    fail("expected " + std::to_string(noiseFrequencies_) +
         " noise rows ([Number of Noise Frequencies]), found " +
         std::to_string(network_->noiseF.size()));
  }
}

void Reader::keywordAfterData(Keyword keyword) {
  const std::string found = keywordName(keyword);
  if (stage_ == Stage::kNetworkData && keyword == Keyword::kNoiseData) {
    requireWholeRecords(found);
    if (noiseFrequencies_ < 0) {
      fail("expected [Number of Noise Frequencies] before [Network Data] in a file with "
           "[Noise Data]");
    }
    stage_ = Stage::kNoiseData;
    return;
  }
  if (keyword == Keyword::kEnd) {
    requireWholeRecords(found);
    if (stage_ == Stage::kNetworkData && noiseFrequencies_ >= 0) {
      fail("expected [Noise Data] ([Number of Noise Frequencies] announces it), found [End]");
    }
    stage_ = Stage::kAfterEnd;
    return;
  }
  fail(std::string("expected ") +
       (stage_ == Stage::kNetworkData ? "[Noise Data] or [End]" : "[End]") +
       " after the data, found " + found);
}

}  // namespace zefra::tk::detail
