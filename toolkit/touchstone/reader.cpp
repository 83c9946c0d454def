#include "touchstone/reader.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <string>
#include <string_view>

#include "touchstone/number_scan.h"
#include "touchstone/reader_state.h"
#include "touchstone/text_util.h"
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

namespace detail {

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

}  // namespace detail

std::unique_ptr<Network> readTouchstone(LineSource& source, const std::string& name) {
  return detail::Reader(source, name).run();
}

}  // namespace zefra::tk
