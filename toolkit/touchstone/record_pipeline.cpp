#include "touchstone/record_pipeline.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdlib>
#include <cstring>

#include "touchstone/number_scan.h"

namespace zefra::tk {
namespace {

constexpr std::size_t kBatchValues = std::size_t{1} << 12;

bool blank(char c) { return c == ' ' || c == '\t' || c == '\r'; }

// One worker per core, at most 4; ZEFRA_TK_THREADS (1 .. 64) sets the
// number (the results are the same bits whatever it is).
std::size_t workerCount() {
  if (const char* text = std::getenv("ZEFRA_TK_THREADS")) {
    char* end = nullptr;
    const long asked = std::strtol(text, &end, 10);
    if (end != text && *end == '\0' && asked >= 1 && asked <= 64) {
      return static_cast<std::size_t>(asked);
    }
  }
  const unsigned cores = std::thread::hardware_concurrency();
  return std::clamp<std::size_t>(cores, 1, 4);
}

// The tokens of a batch as numbers, into `values`.  A failure at the first
// token that is not one.
std::optional<RecordPipeline::Failure> parseTokens(const std::string& text,
                                                   const auto& runs,
                                                   std::vector<double>& values) {
  values.clear();
  const char* p = text.data();
  const char* const end = p + text.size();
  for (const auto& run : runs) {
    for (int64_t k = 0; k < run.tokens; ++k) {
      while (blank(*p)) {
        ++p;  // the text ends in a space after the last token: never past end
      }
      // The common case at full speed: from_chars finds the end of the
      // number, which must be a blank; scanNumber sorts out the rest (a
      // '+', underflow, overflow, inf/nan, and what is not a number).
      double value = 0.0;
      const char* const lead = *p == '-' ? p + 1 : p;
      const auto [stop, error] = std::from_chars(p, end, value, std::chars_format::general);
      const char* next = stop;
      if (error != std::errc() || !blank(*stop) ||
          !((*lead >= '0' && *lead <= '9') || *lead == '.')) {
        next = p;
        while (!blank(*next)) {
          ++next;
        }
        const std::string_view token(p, static_cast<std::size_t>(next - p));
        const ScanResult result = scanNumber(token, value);
        if (result != ScanResult::kOk) {
          RecordPipeline::Failure failure;
          failure.fault = result == ScanResult::kOverflow ? RecordPipeline::Fault::kOverflow
                                                          : RecordPipeline::Fault::kNotANumber;
          failure.line = run.line;
          failure.token = std::string(token);
          return failure;
        }
      }
      values.push_back(value);
      p = next;
    }
  }
  return std::nullopt;
}

}  // namespace

RecordPipeline::RecordPipeline(const RecordConverter& converter, RecordStore& store,
                               int64_t valuesPerRecord)
    : converter_(converter),
      store_(store),
      valuesPerRecord_(static_cast<std::size_t>(valuesPerRecord)),
      batchRecords_(std::max<std::size_t>(1, kBatchValues / std::max<std::size_t>(
                                                               1, valuesPerRecord_))),
      current_(std::make_unique<Batch>()) {}

RecordPipeline::~RecordPipeline() {
  if (!workers_.empty()) {
    {
      std::lock_guard<std::mutex> lock(mutex_);
      closing_ = true;
      failedSequence_ = -1;  // handle nothing more: the text failed
    }
    changed_.notify_all();
    for (std::thread& worker : workers_) {
      worker.join();
    }
  }
}

bool RecordPipeline::commit(double f, int64_t line) {
  Batch& batch = *current_;
  batch.f.push_back(f);
  batch.lines.push_back(line);
  batch.slots.push_back(store_.append());
  return batch.f.size() < batchRecords_ || handOver();
}

// Parses and converts a batch into its records.
std::optional<RecordPipeline::Failure> RecordPipeline::process(const Batch& batch,
                                                               Worker& worker,
                                                               std::size_t valuesPerRecord) {
  if (auto failure = parseTokens(batch.text, batch.runs, worker.values)) {
    return failure;
  }
  RecordConverter& converter = worker.converter;
  const std::size_t sValues = 2 * static_cast<std::size_t>(converter.ports()) *
                              static_cast<std::size_t>(converter.ports());
  for (std::size_t k = 0; k < batch.f.size(); ++k) {
    double* const slot = batch.slots[k];
    if (!converter.convert(worker.values.data() + k * valuesPerRecord, slot)) {
      Failure failure;
      failure.fault = Fault::kSingular;
      failure.line = batch.lines[k];
      failure.f = batch.f[k];
      return failure;
    }
    if (!converter.isPlain()) {
      // Values within range can still give an S beyond it (10^(d/20) of a
      // huge dB value, a nearly singular conversion): never inf or NaN.
      for (std::size_t i = 0; i < sValues; ++i) {
        if (!std::isfinite(slot[i])) {
          Failure failure;
          failure.fault = Fault::kNotFinite;
          failure.line = batch.lines[k];
          failure.f = batch.f[k];
          failure.entry = static_cast<int64_t>(i / 2);
          failure.re = slot[i & ~std::size_t{1}];
          failure.im = slot[i | 1];
          return failure;
        }
      }
    }
  }
  return std::nullopt;
}

// Keeps the failure (or exception) of batch `sequence` if it comes first.
void RecordPipeline::record(int64_t sequence, std::optional<Failure> failure,
                            std::exception_ptr error) {
  if (!failure && !error) {
    return;
  }
  std::lock_guard<std::mutex> lock(mutex_);
  if (sequence < failedSequence_) {
    failedSequence_ = sequence;
    failure_ = std::move(failure);
    error_ = error;
  }
}

bool RecordPipeline::handOver() {
  if (workers_.empty()) {
    const std::size_t count = workerCount();
    for (std::size_t k = 0; k < count; ++k) {
      workers_.emplace_back(&RecordPipeline::work, this);
    }
  }
  std::unique_ptr<Batch> next;
  bool failed = false;
  {
    std::unique_lock<std::mutex> lock(mutex_);
    changed_.wait(lock, [&] {
      return inFlight_ < 2 * workers_.size() + 2 || failedSequence_ != INT64_MAX;
    });
    failed = failedSequence_ != INT64_MAX;
    if (!failed) {
      current_->sequence = nextSequence_++;
      full_.push_back(std::move(current_));
      ++inFlight_;
      if (!spare_.empty()) {
        next = std::move(spare_.back());
        spare_.pop_back();
      }
    }
  }
  if (failed) {
    return false;  // a failure is known: the reader stops
  }
  changed_.notify_all();
  if (!next) {
    next = std::make_unique<Batch>();
  }
  next->clear();
  current_ = std::move(next);
  return true;
}

void RecordPipeline::work() {
  Worker worker{converter_, {}};
  for (;;) {
    std::unique_ptr<Batch> batch;
    bool skip = false;
    {
      std::unique_lock<std::mutex> lock(mutex_);
      changed_.wait(lock, [&] { return !full_.empty() || closing_; });
      if (full_.empty()) {
        return;  // closing, nothing left
      }
      batch = std::move(full_.front());
      full_.pop_front();
      // A batch after a known failure need not be handled; one before it
      // must (its failure, if any, comes first).
      skip = batch->sequence > failedSequence_;
    }
    if (!skip) {
      std::optional<Failure> failure;
      std::exception_ptr error;
      try {
        failure = process(*batch, worker, valuesPerRecord_);
      } catch (...) {
        error = std::current_exception();
      }
      record(batch->sequence, std::move(failure), error);
    }
    {
      std::lock_guard<std::mutex> lock(mutex_);
      spare_.push_back(std::move(batch));
      --inFlight_;
    }
    changed_.notify_all();
  }
}

std::optional<RecordPipeline::Failure> RecordPipeline::finish() {
  if (!workers_.empty()) {
    // The tokens of an unfinished data set go too: one that is not a number
    // comes before the end of the data.
    if (!current_->f.empty() || !current_->runs.empty()) {
      handOver();
    }
    {
      std::lock_guard<std::mutex> lock(mutex_);
      closing_ = true;
    }
    changed_.notify_all();
    for (std::thread& worker : workers_) {
      worker.join();
    }
    workers_.clear();
  } else if (failedSequence_ == INT64_MAX) {
    Worker worker{converter_, {}};
    current_->sequence = nextSequence_++;
    std::optional<Failure> failure;
    std::exception_ptr error;
    try {
      failure = process(*current_, worker, valuesPerRecord_);
    } catch (...) {
      error = std::current_exception();
    }
    record(current_->sequence, std::move(failure), error);
  }
  current_->clear();
  if (error_) {
    std::rethrow_exception(error_);
  }
  return failure_;
}

}  // namespace zefra::tk
