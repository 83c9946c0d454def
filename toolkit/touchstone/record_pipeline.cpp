#include "touchstone/record_pipeline.h"

#include <algorithm>
#include <cmath>

namespace zefra::tk {
namespace {

constexpr std::size_t kBatchValues = std::size_t{1} << 15;  // 256 KiB of doubles
constexpr std::size_t kMaxInFlight = 2;                      // batches handed over, not converted

}  // namespace

RecordPipeline::RecordPipeline(RecordConverter& converter, RecordStore& store,
                               int64_t valuesPerRecord)
    : converter_(converter),
      store_(store),
      valuesPerRecord_(static_cast<std::size_t>(valuesPerRecord)),
      batchRecords_(std::max<std::size_t>(1, kBatchValues / std::max<std::size_t>(
                                                               1, valuesPerRecord_))),
      current_(std::make_unique<Batch>()) {}

RecordPipeline::~RecordPipeline() {
  if (thread_.joinable()) {
    {
      std::lock_guard<std::mutex> lock(mutex_);
      closing_ = true;
      failed_ = true;  // convert nothing more: the text failed
    }
    changed_.notify_all();
    thread_.join();
  }
}

bool RecordPipeline::commit(double f, int64_t line) {
  Batch& batch = *current_;
  batch.f.push_back(f);
  batch.lines.push_back(line);
  return batch.f.size() < batchRecords_ || handOver();
}

// Converts the data sets of a batch into the store, stopping at the first
// failure.
void RecordPipeline::convert(const Batch& batch) {
  const std::size_t sValues = 2 * static_cast<std::size_t>(converter_.ports()) *
                              static_cast<std::size_t>(converter_.ports());
  for (std::size_t k = 0; k < batch.f.size() && !failure_; ++k) {
    double* const slot = store_.append();
    if (!converter_.convert(batch.values.data() + k * valuesPerRecord_, slot)) {
      failure_ = Failure{batch.lines[k], batch.f[k], true, 0, 0.0};
      return;
    }
    if (!converter_.isPlain()) {
      // Values within range can still give an S beyond it (10^(d/20) of a
      // huge dB value, a nearly singular conversion): never inf or NaN.
      for (std::size_t i = 0; i < sValues; ++i) {
        if (!std::isfinite(slot[i])) {
          failure_ = Failure{batch.lines[k], batch.f[k], false, static_cast<int64_t>(i / 2),
                             slot[i]};
          return;
        }
      }
    }
  }
}

bool RecordPipeline::handOver() {
  if (!thread_.joinable()) {
    thread_ = std::thread(&RecordPipeline::work, this);
  }
  std::unique_ptr<Batch> next;
  bool failed = false;
  {
    std::unique_lock<std::mutex> lock(mutex_);
    changed_.wait(lock, [&] { return inFlight_ < kMaxInFlight || failed_; });
    failed = failed_;
    if (!failed) {
      full_.push_back(std::move(current_));
      ++inFlight_;
      if (!spare_.empty()) {
        next = std::move(spare_.back());
        spare_.pop_back();
      }
    }
  }
  if (failed) {
    return false;  // nothing more is converted: keep the batch, the reader stops
  }
  changed_.notify_all();
  if (!next) {
    next = std::make_unique<Batch>();
  }
  next->values.clear();
  next->f.clear();
  next->lines.clear();
  current_ = std::move(next);
  return true;
}

void RecordPipeline::work() {
  for (;;) {
    std::unique_ptr<Batch> batch;
    bool skip = false;
    {
      std::unique_lock<std::mutex> lock(mutex_);
      changed_.wait(lock, [&] { return fullFront_ < full_.size() || closing_; });
      if (fullFront_ == full_.size()) {
        return;  // closing, nothing left
      }
      batch = std::move(full_[fullFront_++]);
      skip = failed_;
      if (fullFront_ == full_.size()) {
        full_.clear();
        fullFront_ = 0;
      }
    }
    bool failedNow = false;
    if (!skip) {
      try {
        convert(*batch);
      } catch (...) {
        error_ = std::current_exception();
      }
      failedNow = failure_.has_value() || error_ != nullptr;
    }
    {
      std::lock_guard<std::mutex> lock(mutex_);
      failed_ = failed_ || failedNow;
      spare_.push_back(std::move(batch));
      --inFlight_;
    }
    changed_.notify_all();
  }
}

std::optional<RecordPipeline::Failure> RecordPipeline::finish() {
  if (thread_.joinable()) {
    if (!current_->f.empty() && !handOver()) {
      current_->f.clear();  // a failure came first: these are not converted
    }
    {
      std::lock_guard<std::mutex> lock(mutex_);
      closing_ = true;
    }
    changed_.notify_all();
    thread_.join();
  } else if (!current_->f.empty()) {
    convert(*current_);
  }
  current_->f.clear();
  current_->values.clear();
  current_->lines.clear();
  if (error_) {
    std::rethrow_exception(error_);
  }
  return failure_;
}

}  // namespace zefra::tk
