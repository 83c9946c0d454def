// The data sets on their way from the text to the S store.  The reader
// finds the value tokens of each data set and hands over their text (the
// frequency it reads itself, for its checks); the pipeline turns the tokens
// into doubles (std::from_chars), converts each data set
// (record_converter.h) into its record of the store.  The records are
// placed in the store in order as the reader completes them; once the data
// outgrow one batch (about 16 Ki values), batches are parsed and converted
// by worker threads (one per core, at most 4) while the reader scans on.  A
// smaller text is done on the reader's thread at the end.  Each record is a
// pure function of its own tokens, written to its own place: the result
// does not depend on the number of threads or the timing.
//
// A token that is not a number, a singular matrix or an S that is not
// finite is a failure; `finish` reports the first one in the order of the
// text.  Every token handed over comes before the point the reader has
// reached, so such a failure comes before any error the reader finds
// itself.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <deque>
#include <exception>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "touchstone/record_converter.h"
#include "touchstone/record_store.h"

namespace zefra::tk {

class RecordPipeline {
 public:
  enum class Fault { kNotANumber, kOverflow, kSingular, kNotFinite };
  struct Failure {
    Fault fault = Fault::kNotANumber;
    int64_t line = 0;   // the token's line, or where the data set begins
    std::string token;  // kNotANumber, kOverflow: the token
    double f = 0.0;     // kSingular, kNotFinite: the frequency, Hz
    int64_t entry = 0;  // kNotFinite: index of the complex S value (i * ports + j)
    double re = 0.0;    // ... and that value
    double im = 0.0;
  };

  RecordPipeline(const RecordConverter& converter, RecordStore& store, int64_t valuesPerRecord);
  RecordPipeline(const RecordPipeline&) = delete;
  RecordPipeline& operator=(const RecordPipeline&) = delete;
  ~RecordPipeline();

  // The next `tokens` value tokens of the data set being read, found on
  // `line`: the text holds them between blanks (space, tab, CR).
  void addSegment(std::string_view text, int64_t tokens, int64_t line) {
    Batch& batch = *current_;
    if (line != batch.lastLine) {
      batch.runs.push_back(Run{line, 0});
      batch.lastLine = line;
    }
    batch.runs.back().tokens += tokens;
    batch.text.append(text);
    batch.text.push_back(' ');
  }
  // Ends the data set whose valuesPerRecord tokens were added: at f Hz,
  // begun at `line`.  False once a failure is known: the reader may stop
  // and call finish.
  bool commit(double f, int64_t line);
  // Handles what is left, stops the threads, and returns the first failure,
  // if any.  Rethrows an exception of a worker (bad_alloc).
  std::optional<Failure> finish();

 private:
  struct Run {  // consecutive tokens of one line
    int64_t line;
    int64_t tokens;
  };
  struct Batch {
    int64_t sequence = 0;
    std::string text;  // the tokens between blanks, each segment followed by a space
    std::vector<Run> runs;
    int64_t lastLine = -1;
    std::vector<double> f;  // the data sets completed, and their records
    std::vector<int64_t> lines;
    std::vector<double*> slots;
    void clear() {
      text.clear();
      runs.clear();
      lastLine = -1;
      f.clear();
      lines.clear();
      slots.clear();
    }
  };
  struct Worker {
    RecordConverter converter;  // each thread its own work space
    std::vector<double> values;
  };

  static std::optional<Failure> process(const Batch& batch, Worker& worker,
                                        std::size_t valuesPerRecord);
  void record(int64_t sequence, std::optional<Failure> failure, std::exception_ptr error);
  bool handOver();
  void work();

  const RecordConverter& converter_;
  RecordStore& store_;
  const std::size_t valuesPerRecord_;
  const std::size_t batchRecords_;  // data sets per batch, at least 1
  std::unique_ptr<Batch> current_;
  int64_t nextSequence_ = 0;

  std::vector<std::thread> workers_;
  std::mutex mutex_;
  std::condition_variable changed_;
  std::deque<std::unique_ptr<Batch>> full_;
  std::vector<std::unique_ptr<Batch>> spare_;
  std::size_t inFlight_ = 0;
  bool closing_ = false;
  // The first failure in the order of the text: its batch's sequence.
  int64_t failedSequence_ = INT64_MAX;
  std::optional<Failure> failure_;
  std::exception_ptr error_;
};

}  // namespace zefra::tk
