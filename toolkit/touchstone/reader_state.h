// The state of the Touchstone reader, shared by its three files:
//   reader.cpp          lines, comments, the option line, the end of the text;
//   reader_header.cpp   the version-2 keywords before the data;
//   reader_data.cpp     the data lines, data sets and noise rows.
// Internal to the toolkit; reader.h is the reader's interface.
#pragma once

#include <cstdint>
#include <memory>
#include <numbers>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "touchstone/keywords.h"
#include "touchstone/line_source.h"
#include "touchstone/mixed_mode.h"
#include "touchstone/network.h"
#include "touchstone/option_line.h"
#include "touchstone/parse_error.h"
#include "touchstone/record_converter.h"
#include "touchstone/record_pipeline.h"
#include "touchstone/warnings.h"

namespace zefra::tk::detail {

inline constexpr double kDegree = std::numbers::pi / 180.0;

enum class Stage {
  kStart,         // nothing but comments yet
  kAfterVersion,  // version 2: the option line comes next
  kAfterOptions,  // version 2: [Number of Ports] comes next
  kHeader,        // version 2: the keywords before [Network Data]
  kInformation,   // inside [Begin Information] ... [End Information]
  kNetworkData,   // the data sets
  kNoiseData,     // the noise rows
  kAfterEnd       // after [End]: comments only
};

// A keyword whose values may continue over the following lines.
enum class Pending { kNone, kReference, kMixedMode };

class Reader {
 public:
  Reader(LineSource& source, const std::string& name)
      : source_(source), name_(name), network_(std::make_unique<Network>()),
        warnings_(name) {}

  std::unique_ptr<Network> run();

 private:
  [[noreturn]] void fail(int64_t line, const std::string& text) const {
    throw ParseError(line, name_ + ":" + std::to_string(std::max<int64_t>(line, 1)) + ": " + text);
  }
  [[noreturn]] void fail(const std::string& text) const { fail(line_, text); }

  void handleLine(std::string_view line);
  void handleInformation(std::string_view line);
  void comment(std::string_view text);
  void optionLine(std::string_view text);
  void keywordLine(std::string_view text);
  void keywordInHeader(Keyword keyword, std::string_view argument);
  void keywordAfterData(Keyword keyword);
  void argumentLine(std::string_view text);
  void addArguments(std::string_view text);
  void dataLine(std::string_view text);
  void beginDataSet(std::string_view token, bool firstOnLine);
  void noiseValue(std::string_view token);
  void completeRecord();
  void settleConversions();
  void completeNoiseRow();
  void requireWholeRecords(const std::string& found);
  void startNetworkData();
  void finish();

  double number(std::string_view token) const;
  double frequency(std::string_view token) const;
  int64_t count(std::string_view argument, Keyword keyword, int64_t limit) const;
  std::string frequencyText(double hz) const;

  LineSource& source_;
  const std::string& name_;
  std::unique_ptr<Network> network_;
  Warnings warnings_;
  int64_t line_ = 0;

  Stage stage_ = Stage::kStart;
  Stage infoReturn_ = Stage::kHeader;
  int64_t infoLine_ = 0;
  int version_ = 0;  // 1 or 2
  std::string versionText_;
  OptionLine options_;
  int32_t ports_ = 0;
  // Version 2 keywords met, and their values.
  std::vector<Keyword> seen_;
  int64_t frequencies_ = -1;
  int64_t noiseFrequencies_ = -1;
  bool order21_12_ = false;
  MatrixFormat matrix_ = MatrixFormat::kFull;
  std::vector<double> references_;
  std::vector<ModePort> modes_;
  Pending pending_ = Pending::kNone;
  int64_t pendingLine_ = 0;

  // The data set being read.
  std::optional<RecordConverter> converter_;
  std::optional<RecordPipeline> pipeline_;
  bool settled_ = false;
  int64_t valuesPerRecord_ = 0;
  int64_t position_ = 0;  // values of the data set read, its frequency included
  double recordF_ = 0.0;
  int64_t recordLine_ = 0;
  int64_t valuesOnLine_ = 0;
  std::string_view lineText_;  // the data line being read

  // The noise row being read.
  double noise_[5] = {0.0, 0.0, 0.0, 0.0, 0.0};
  int noisePosition_ = 0;
  int64_t noiseLine_ = 0;
};

// The number of tokens of a data line, up to its comment.
int64_t tokensOf(std::string_view text);

}  // namespace zefra::tk::detail
