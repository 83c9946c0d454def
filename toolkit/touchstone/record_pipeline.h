// The data sets on their way from the text to the S store.  The reader
// hands over each data set as it completes it; the pipeline converts it
// (record_converter.h) into the next record of the store.  Once the data
// outgrow one batch (256 KiB of values), the conversions run on a second
// thread while the reader parses the next batch; a text of one batch or
// less is converted on the reader's thread.  Either way the records are
// converted in order, by the same code, into the same store: the result does
// not depend on the thread or the timing.
//
// A conversion can fail (a singular matrix, an S that is not finite); the
// pipeline then converts nothing more and `finish` reports the first failure.
// Every data set handed over was complete before any later point of the
// text, so such a failure comes before any error the reader finds after it.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <exception>
#include <memory>
#include <mutex>
#include <optional>
#include <thread>
#include <vector>

#include "touchstone/record_converter.h"
#include "touchstone/record_store.h"

namespace zefra::tk {

class RecordPipeline {
 public:
  struct Failure {
    int64_t line = 0;        // where the data set begins
    double f = 0.0;          // its frequency, Hz
    bool singular = false;   // I + M singular; else entry/value say what is not finite
    int64_t entry = 0;       // index of the complex S value (i * ports + j)
    double value = 0.0;
  };

  RecordPipeline(RecordConverter& converter, RecordStore& store, int64_t valuesPerRecord);
  RecordPipeline(const RecordPipeline&) = delete;
  RecordPipeline& operator=(const RecordPipeline&) = delete;
  ~RecordPipeline();

  // The next value of the data set being read (they are kept in the batch
  // as they come: a header announcing a huge port count reserves nothing).
  void add(double value) { current_->values.push_back(value); }
  // Ends the data set whose valuesPerRecord values were added: at f Hz,
  // begun at `line`.  False once a conversion has failed: the reader may
  // stop and call finish.
  bool commit(double f, int64_t line);
  // Converts what is left, stops the thread, and returns the first failure,
  // if any.  Rethrows an exception of the conversion thread (bad_alloc).
  std::optional<Failure> finish();

 private:
  struct Batch {
    std::vector<double> values;
    std::vector<double> f;
    std::vector<int64_t> lines;
  };

  void convert(const Batch& batch);
  bool handOver();
  void work();

  RecordConverter& converter_;
  RecordStore& store_;
  const std::size_t valuesPerRecord_;
  const std::size_t batchRecords_;  // data sets per batch, at least 1
  std::unique_ptr<Batch> current_;
  std::optional<Failure> failure_;  // written by the converting thread only

  std::thread thread_;
  std::mutex mutex_;
  std::condition_variable changed_;
  std::vector<std::unique_ptr<Batch>> full_;  // waiting for conversion, in order (front first)
  std::size_t fullFront_ = 0;
  std::vector<std::unique_ptr<Batch>> spare_;
  std::size_t inFlight_ = 0;
  bool closing_ = false;
  bool failed_ = false;
  std::exception_ptr error_;
};

}  // namespace zefra::tk
