// The version-2 keywords between [Version] and [Network Data], and the
// start of the network data (for both versions).
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <string>
#include <string_view>

#include "touchstone/number_scan.h"
#include "touchstone/reader.h"
#include "touchstone/reader_state.h"
#include "touchstone/text_util.h"
#include "zefra/toolkit.h"

namespace zefra::tk::detail {

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

}  // namespace zefra::tk::detail
