#include "touchstone/reader.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <numbers>
#include <optional>
#include <string_view>
#include <vector>

#include "touchstone/keywords.h"
#include "touchstone/mixed_mode.h"
#include "touchstone/number_scan.h"
#include "touchstone/option_line.h"
#include "touchstone/parse_error.h"
#include "touchstone/record_converter.h"
#include "touchstone/record_pipeline.h"
#include "touchstone/text_util.h"
#include "touchstone/token_count.h"
#include "touchstone/warnings.h"
#include "zefra/toolkit.h"

namespace zefra::tk {

int64_t portsFromName(const std::string& name) {
  const std::size_t dot = name.find_last_of('.');
  if (dot == std::string::npos || name.size() - dot < 4) {
    return 0;
  }
  const std::string_view ext = std::string_view(name).substr(dot + 1);
  const char kind = static_cast<char>(ext.front() | 0x20);
  const char last = static_cast<char>(ext.back() | 0x20);
  if (std::string_view("syzhg").find(kind) == std::string_view::npos || last != 'p') {
    return 0;
  }
  int64_t ports = 0;
  if (!scanCount(ext.substr(1, ext.size() - 2), kMaxPorts, ports)) {
    return 0;
  }
  return ports;
}

namespace {

constexpr double kDegree = std::numbers::pi / 180.0;

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
  void networkValue(std::string_view token, bool firstOnLine);
  void noiseValue(std::string_view token);
  void storeValue(std::string_view token);
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

std::unique_ptr<Network> Reader::run() {
  try {
    std::string_view line;
    while (source_.next(line)) {
      line_ = source_.lineNumber();
      if (line_ == 1 && line.substr(0, 3) == "\xEF\xBB\xBF") {
        line.remove_prefix(3);
        warnings_.add(Warning::kByteOrderMark, 1);
      }
      if (stage_ == Stage::kInformation) {
        handleInformation(line);
      } else {
        handleLine(line);
      }
    }
    settleConversions();
    finish();
  } catch (const ParseError&) {
    // A data set handed over before this point that cannot be converted is
    // the first fault of the text.
    settleConversions();
    throw;
  }
  return std::move(network_);
}

void Reader::handleLine(std::string_view line) {
  std::size_t i = 0;
  while (i < line.size() && isBlank(line[i])) {
    ++i;
  }
  if (i == line.size()) {
    return;
  }
  const char first = line[i];
  if (first == '!') {
    comment(line.substr(i + 1));
    return;
  }
  if ((stage_ == Stage::kNetworkData || stage_ == Stage::kNoiseData) && first != '[' &&
      first != '#') {
    dataLine(line.substr(i));
    return;
  }
  const std::size_t bang = line.find('!', i);
  const std::string_view content =
      trimBlanks(line.substr(i, bang == std::string_view::npos ? line.size() - i : bang - i));
  if (bang != std::string_view::npos) {
    comment(line.substr(bang + 1));
  }
  for (const char c : content) {
    const auto byte = static_cast<unsigned char>(c);
    if ((byte < 0x20 && c != '\t' && c != '\r') || byte > 0x7E) {
      fail("expected ASCII text outside comments, found '" + quote(std::string_view(&c, 1)) +
           "' in '" + quote(content) + "'");
    }
  }
  if (first == '#') {
    optionLine(content.substr(1));
  } else if (first == '[') {
    keywordLine(content);
  } else {
    argumentLine(content);
  }
}

void Reader::handleInformation(std::string_view line) {
  const std::string_view content = trimBlanks(line.substr(0, line.find('!')));
  if (!content.empty() && content.front() == '[') {
    const std::size_t close = content.find(']');
    if (close != std::string_view::npos &&
        keywordOf(content.substr(1, close - 1)) == Keyword::kEndInformation) {
      if (!trimBlanks(content.substr(close + 1)).empty()) {
        fail("expected nothing after [End Information], found '" +
             quote(trimBlanks(content.substr(close + 1))) + "'");
      }
      stage_ = infoReturn_;
    }
  }
}

void Reader::comment(std::string_view text) {
  if (!text.empty() && text.back() == '\r') {
    text.remove_suffix(1);
  }
  if (!isPlainAscii(text)) {
    warnings_.add(Warning::kNonAsciiComment, line_);
  }
  network_->texts[ZEFRA_TK_TEXT_COMMENT].emplace_back(text);
}

double Reader::number(std::string_view token) const {
  double value = 0.0;
  switch (scanNumber(token, value)) {
    case ScanResult::kOk:
      return value;
    case ScanResult::kOverflow:
      fail("expected a number within the range of a double, found '" + quote(token) + "'");
    default:
      fail("expected a number, found '" + quote(token) + "'");
  }
}

double Reader::frequency(std::string_view token) const {
  double value = 0.0;
  switch (scanScaled(token, options_.unitShift, value)) {
    case ScanResult::kOk:
      break;
    case ScanResult::kOverflow:
      fail("expected a frequency within the range of a double, found '" + quote(token) + "'");
    default:
      fail("expected a frequency (a number), found '" + quote(token) + "'");
  }
  if (std::signbit(value)) {
    if (value != 0.0) {
      fail("expected a frequency >= 0, found '" + quote(token) + "'");
    }
    value = 0.0;
  }
  return value;
}

std::string Reader::frequencyText(double hz) const {
  char text[64];
  std::snprintf(text, sizeof text, "%.17g Hz", hz);
  return text;
}

int64_t Reader::count(std::string_view argument, Keyword keyword, int64_t limit) const {
  int64_t value = 0;
  if (!scanCount(argument, limit, value) || value < 1) {
    fail("expected a whole number from 1 to " + std::to_string(limit) + " after " +
         keywordName(keyword) + ", found '" + quote(argument) + "'");
  }
  return value;
}

void Reader::optionLine(std::string_view text) {
  if (version_ == 1 && stage_ != Stage::kStart) {
    // Version 1.1 tells readers to ignore a further option line.
    warnings_.add(Warning::kSecondOptionLine, line_);
    return;
  }
  if (stage_ != Stage::kStart && stage_ != Stage::kAfterVersion) {
    fail("expected one option line, found a second one");
  }
  std::string problem;
  if (!parseOptionLine(text, options_, problem)) {
    fail("expected " + problem);
  }
  network_->texts[ZEFRA_TK_TEXT_PARAMETER].emplace_back(parameterName(options_.parameter));
  network_->texts[ZEFRA_TK_TEXT_FORMAT].emplace_back(formatName(options_.format));
  network_->texts[ZEFRA_TK_TEXT_UNIT].emplace_back(unitName(options_.unitShift));
  if (stage_ == Stage::kAfterVersion) {
    stage_ = Stage::kAfterOptions;
    return;
  }
  // Version 1: the port count comes from the name.
  version_ = 1;
  versionText_ = "1.0";
  const int64_t ports = portsFromName(name_);
  if (ports == 0) {
    fail("expected a name ending in .sNp (or .yNp, .zNp, .hNp, .gNp) for a version-1 file, "
         "which has no [Number of Ports] (a version-2 file starts with [Version]), found '" +
         quote(name_) + "'");
  }
  ports_ = static_cast<int32_t>(ports);
  if (options_.r.size() != 1 && options_.r.size() != static_cast<std::size_t>(ports_)) {
    fail("expected one R, or one per port (" + std::to_string(ports_) + "), found " +
         std::to_string(options_.r.size()));
  }
  if ((options_.parameter == Parameter::kH || options_.parameter == Parameter::kG) &&
      ports_ != 2) {
    fail(std::string("expected S, Y or Z parameters for a ") + std::to_string(ports_) +
         "-port (H and G exist for two-ports only), found " + parameterName(options_.parameter));
  }
  startNetworkData();
}

void Reader::keywordLine(std::string_view text) {
  const std::size_t close = text.find(']');
  if (close == std::string_view::npos) {
    fail("expected a keyword in brackets, found '" + quote(text) + "'");
  }
  const Keyword keyword = keywordOf(text.substr(1, close - 1));
  const std::string_view argument = trimBlanks(text.substr(close + 1));
  if (keyword == Keyword::kUnknown) {
    fail("expected a Touchstone keyword, found '" + quote(text.substr(0, close + 1)) + "'");
  }
  if (version_ == 1) {
    fail("expected no keywords in a version-1 file (a version-2 file starts with [Version]), "
         "found " + keywordName(keyword));
  }
  switch (stage_) {
    case Stage::kStart:
      if (keyword != Keyword::kVersion) {
        fail("expected [Version] or the option line first, found " + keywordName(keyword));
      }
      {
        const double value = number(argument);
        if (value != 2.0 && value != 2.1) {
          fail("expected [Version] 2.0 or 2.1, found '" + quote(argument) + "'");
        }
        version_ = 2;
        versionText_ = value == 2.0 ? "2.0" : "2.1";
        seen_.push_back(keyword);
        stage_ = Stage::kAfterVersion;
      }
      return;
    case Stage::kAfterVersion:
      fail("expected the option line after [Version], found " + keywordName(keyword));
    case Stage::kAfterOptions:
      if (keyword != Keyword::kNumberOfPorts) {
        fail("expected [Number of Ports] after the option line, found " + keywordName(keyword));
      }
      keywordInHeader(keyword, argument);
      stage_ = Stage::kHeader;
      return;
    case Stage::kHeader:
      keywordInHeader(keyword, argument);
      return;
    case Stage::kNetworkData:
    case Stage::kNoiseData:
      if (!argument.empty()) {
        fail("expected nothing after " + keywordName(keyword) + ", found '" + quote(argument) +
             "'");
      }
      keywordAfterData(keyword);
      return;
    case Stage::kAfterEnd:
      fail("expected nothing but comments after [End], found " + keywordName(keyword));
    case Stage::kInformation:
      return;
  }
}

void Reader::keywordInHeader(Keyword keyword, std::string_view argument) {
  if (pending_ != Pending::kNone) {
    const bool reference = pending_ == Pending::kReference;
    fail("expected " + std::to_string(ports_) + (reference ? " values" : " descriptors") +
         " after the " + (reference ? "[Reference]" : "[Mixed-Mode Order]") + " of line " +
         std::to_string(pendingLine_) + ", found " +
         std::to_string(reference ? references_.size() : modes_.size()) + " before " +
         keywordName(keyword));
  }
  if (keyword == Keyword::kEndInformation || keyword == Keyword::kNoiseData ||
      keyword == Keyword::kEnd) {
    fail("expected [Network Data] before " + keywordName(keyword));
  }
  if (std::find(seen_.begin(), seen_.end(), keyword) != seen_.end()) {
    fail("expected " + keywordName(keyword) + " once, found a second one");
  }
  if (keyword != Keyword::kBeginInformation) {
    seen_.push_back(keyword);
  }
  const auto noArgument = [&] {
    if (!argument.empty()) {
      fail("expected nothing after " + keywordName(keyword) + ", found '" + quote(argument) + "'");
    }
  };
  switch (keyword) {
    case Keyword::kNumberOfPorts: {
      ports_ = static_cast<int32_t>(count(argument, keyword, kMaxPorts));
      if (options_.r.size() != 1 && options_.r.size() != static_cast<std::size_t>(ports_)) {
        fail("expected one R on the option line, or one per port (" + std::to_string(ports_) +
             "), found " + std::to_string(options_.r.size()));
      }
      if ((options_.parameter == Parameter::kH || options_.parameter == Parameter::kG) &&
          ports_ != 2) {
        fail(std::string("expected a two-port for ") + parameterName(options_.parameter) +
             " parameters (H and G exist for two-ports only), found " + std::to_string(ports_) +
             " ports");
      }
      const int64_t named = portsFromName(name_);
      if (named != 0 && named != ports_) {
        warnings_.add(Warning::kNamePorts, line_);
      }
      return;
    }
    case Keyword::kTwoPortDataOrder:
      if (ports_ != 2) {
        fail("expected [Two-Port Data Order] only in a two-port file, found it in a " +
             std::to_string(ports_) + "-port file");
      }
      if (argument == "12_21" || argument == "21_12") {
        order21_12_ = argument == "21_12";
        return;
      }
      fail("expected 12_21 or 21_12 after [Two-Port Data Order], found '" + quote(argument) + "'");
    case Keyword::kNumberOfFrequencies:
      frequencies_ = count(argument, keyword, INT64_MAX / 16);
      return;
    case Keyword::kNumberOfNoiseFrequencies:
      if (ports_ != 2) {
        fail("expected noise data only in a two-port file, found " + keywordName(keyword) +
             " in a " + std::to_string(ports_) + "-port file");
      }
      noiseFrequencies_ = count(argument, keyword, INT64_MAX / 16);
      return;
    case Keyword::kReference:
      pending_ = Pending::kReference;
      pendingLine_ = line_;
      addArguments(argument);
      return;
    case Keyword::kMatrixFormat:
      if (equalsNoCase(argument, "FULL")) {
        matrix_ = MatrixFormat::kFull;
      } else if (equalsNoCase(argument, "LOWER")) {
        matrix_ = MatrixFormat::kLower;
      } else if (equalsNoCase(argument, "UPPER")) {
        matrix_ = MatrixFormat::kUpper;
      } else {
        fail("expected Full, Lower or Upper after [Matrix Format], found '" + quote(argument) +
             "'");
      }
      return;
    case Keyword::kMixedModeOrder:
      pending_ = Pending::kMixedMode;
      pendingLine_ = line_;
      addArguments(argument);
      return;
    case Keyword::kBeginInformation:
      noArgument();
      infoReturn_ = stage_;
      infoLine_ = line_;
      stage_ = Stage::kInformation;
      return;
    case Keyword::kNetworkData:
      noArgument();
      startNetworkData();
      return;
    default:
      fail("expected the keywords between [Number of Ports] and [Network Data], found " +
           keywordName(keyword));
  }
}

// The values of [Reference] or the descriptors of [Mixed-Mode Order], on
// the keyword's line or the lines after it.
void Reader::addArguments(std::string_view text) {
  const std::size_t want = static_cast<std::size_t>(ports_);
  for (const std::string_view token : splitWhitespace(text)) {
    if (pending_ == Pending::kReference) {
      if (references_.size() == want) {
        fail("expected " + std::to_string(want) + " values after [Reference], found more: '" +
             quote(token) + "'");
      }
      const double value = number(token);
      if (!(value > 0.0) || !std::isfinite(value)) {
        fail("expected a positive reference resistance in [Reference], found '" + quote(token) +
             "'");
      }
      references_.push_back(value);
    } else {
      if (modes_.size() == want) {
        fail("expected " + std::to_string(want) +
             " descriptors after [Mixed-Mode Order], found more: '" + quote(token) + "'");
      }
      ModePort mode;
      std::string problem;
      if (!parseModePort(token, ports_, mode, problem)) {
        fail("expected " + problem);
      }
      modes_.push_back(mode);
    }
  }
  if ((pending_ == Pending::kReference ? references_.size() : modes_.size()) == want) {
    pending_ = Pending::kNone;
  }
}

void Reader::argumentLine(std::string_view text) {
  switch (stage_) {
    case Stage::kStart:
      fail("expected the option line '# <unit> <parameter> <format> R <n>' (or [Version]) "
           "before the data, found '" + quote(text) + "'");
    case Stage::kAfterVersion:
      fail("expected the option line after [Version], found '" + quote(text) + "'");
    case Stage::kAfterOptions:
      fail("expected [Number of Ports] after the option line, found '" + quote(text) + "'");
    case Stage::kHeader:
      if (pending_ == Pending::kNone) {
        fail("expected a keyword before [Network Data], found '" + quote(text) + "'");
      }
      addArguments(text);
      return;
    default:
      fail("expected nothing but comments after [End], found '" + quote(text) + "'");
  }
}

void Reader::startNetworkData() {
  if (version_ == 2) {
    if (frequencies_ < 0) {
      fail("expected [Number of Frequencies] before [Network Data]");
    }
    if (ports_ == 2 && std::find(seen_.begin(), seen_.end(), Keyword::kTwoPortDataOrder) ==
                           seen_.end()) {
      fail("expected [Two-Port Data Order] before [Network Data] in a two-port file");
    }
  }
  std::vector<double> z0(static_cast<std::size_t>(ports_), options_.r.front());
  if (options_.r.size() == z0.size()) {
    z0 = options_.r;
  }
  if (!references_.empty()) {
    z0 = references_;
  }
  if (!modes_.empty()) {
    std::string problem;
    if (!checkModeCover(modes_, ports_, problem)) {
      fail("expected " + problem + " in the [Mixed-Mode Order] of line " +
           std::to_string(pendingLine_));
    }
    for (const ModePort& mode : modes_) {
      if (z0[static_cast<std::size_t>(mode.p)] != z0[static_cast<std::size_t>(mode.n)]) {
        fail("expected the two ports of '" + modeText(mode) +
             "' to have the same reference, found " +
             std::to_string(z0[static_cast<std::size_t>(mode.p)]) + " and " +
             std::to_string(z0[static_cast<std::size_t>(mode.n)]) + " ohms");
      }
    }
    for (const ModePort& mode : modes_) {
      network_->texts[ZEFRA_TK_TEXT_MIXED_MODE].push_back(modeText(mode));
    }
  }
  RecordLayout layout;
  layout.ports = ports_;
  layout.format = options_.format;
  layout.parameter = options_.parameter;
  layout.matrix = matrix_;
  layout.order21_12 = ports_ == 2 && (version_ == 1 || order21_12_);
  layout.normalised = version_ == 1;
  layout.z0 = z0;
  layout.modes = modes_;
  converter_.emplace(std::move(layout));
  valuesPerRecord_ = converter_->valuesPerRecord();
  network_->ports = ports_;
  network_->z0 = std::move(z0);
  network_->s = RecordStore(static_cast<std::size_t>(2) * static_cast<std::size_t>(ports_) *
                            static_cast<std::size_t>(ports_));
  pipeline_.emplace(*converter_, network_->s, valuesPerRecord_);
  stage_ = Stage::kNetworkData;
}

// The number of tokens of a data line, up to its comment.
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
  if (version_ == 1 && stage_ == Stage::kNoiseData && tokensOf(text) != 5) {
    fail("expected a noise row of 5 numbers (f, NFmin, |Gopt|, angle, Rn), found " +
         std::to_string(tokensOf(text)));
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
      networkValue(token, first);
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

void Reader::networkValue(std::string_view token, bool firstOnLine) {
  if (position_ == 0) {
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
    return;
  }
  storeValue(token);
}

void Reader::storeValue(std::string_view token) {
  pipeline_->addToken(token, line_);
  ++position_;
  ++valuesOnLine_;
  if (position_ - 1 == valuesPerRecord_) {
    completeRecord();
  }
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

void Reader::finish() {
  const std::string eof = "the end of the file";
  switch (stage_) {
    case Stage::kStart:
      fail("expected the option line '# <unit> <parameter> <format> R <n>' (or [Version]), "
           "found " + eof);
    case Stage::kAfterVersion:
      fail("expected the option line after [Version], found " + eof);
    case Stage::kAfterOptions:
      fail("expected [Number of Ports], found " + eof);
    case Stage::kHeader:
      fail("expected [Network Data], found " + eof);
    case Stage::kInformation:
      fail("expected [End Information] for the [Begin Information] of line " +
           std::to_string(infoLine_) + ", found " + eof);
    case Stage::kNetworkData:
    case Stage::kNoiseData:
      requireWholeRecords(eof);
      if (version_ == 2) {
        if (stage_ == Stage::kNetworkData && noiseFrequencies_ >= 0) {
          fail("expected [Noise Data] ([Number of Noise Frequencies] announces it), found " +
               eof);
        }
        warnings_.add(Warning::kMissingEnd, line_);
      }
      break;
    case Stage::kAfterEnd:
      break;
  }
  network_->sPoints = network_->s.records();
  network_->texts[ZEFRA_TK_TEXT_VERSION].push_back(versionText_);
  network_->texts[ZEFRA_TK_TEXT_WARNING] = warnings_.texts(ports_, portsFromName(name_));
}

}  // namespace

std::unique_ptr<Network> readTouchstone(LineSource& source, const std::string& name) {
  return Reader(source, name).run();
}

}  // namespace zefra::tk
