#include "detail/scandetail.h"

#include <algorithm>
#include <ctime>

#include "base/loganderr.h"
#include "base/threads.h"
#include "detail/baton.h"

namespace tabulon {
namespace {

constexpr int kRecordsPerMark = 1000;
constexpr int kRecordsPerTime = 50000;

// The marks of -p: '*' after every 1000th record, the time taken after every 50000th.
class Progress {
 public:
  void Count(size_t records) {
    WriteInTurn([&] { Mark(records); });
  }

 private:
  void Mark(size_t records) {
    for (; records > 0; --records) {
      ++records_;
      if (records_ % kRecordsPerMark != 0) continue;
      Console().WriteBytes("*");
      if (records_ % kRecordsPerTime == 0) WriteTime();
      Console().Flush();
    }
  }

  void WriteTime() {
    const std::time_t now = std::time(nullptr);
    const auto seconds = static_cast<int>(now - since_);
    since_ = now;
    ConsoleEntry(Console(), L" : %d %02d:%02d:%02d\n", records_, seconds / 3600, seconds / 60 % 60,
                 seconds % 60);
  }

  int records_ = 0;
  std::time_t since_ = std::time(nullptr);
};

// One thread reads the scan: the batches come from one mapped window.
PassEnd ReadAlone(const Scan& scan, const BatchSink& sink, const PassOptions& options) {
  RecordReader reader(scan);
  Pass pass(scan);
  Progress progress;
  PassEnd end;
  uint64_t position = scan.logRoot.firstRecord;
  while (pass.batch.Fill(reader, position, options.most)) {
    sink(pass);
    end.records += pass.batch.size();
    if (options.progressFlag) progress.Count(pass.batch.size());
  }
  end.atEndMarker = reader.atEndMarker();
  return end;
}

// What threads that read a scan together have in common.
struct SharedPass {
  const Scan& scan;
  const PassOptions& options;
  Baton baton;
  // Of the thread that has the baton:
  Progress progress = {};
  bool atEndMarker = false;
};

// One of them, on its way from block to block.
class BlockReader {
 public:
  explicit BlockReader(SharedPass& shared)
      : shared_(shared),
        blockSize_(shared.options.block),
        reader_(shared.scan, blockSize_ + kBehindBlock),
        pass_(shared.scan) {}

  void ReadBlocks(const BatchSink& sink) {
    bool more = true;
    while (more) {
      const uint64_t block = shared_.baton.NextBlock();
      // Blocks are parts of the file of equal size; the first one begins at the first record.
      const uint64_t first = shared_.scan.logRoot.firstRecord;
      const uint64_t start = first + block * blockSize_;
      if (start >= shared_.scan.fileSize) return;
      reader_.Hold(start, blockSize_ + kBehindBlock);
      if (!shared_.baton.Await(block)) return;
      more = WalkOver(start + blockSize_);
      if (more) {
        shared_.baton.HandOn(block);
      } else {
        shared_.baton.End();
      }
      LookAtRecords(sink);
    }
  }

 private:
  // What is read with a block, because its last record reaches beyond it: enough for a record with
  // a path of PATH_MAX.
  static constexpr size_t kBehindBlock = 8 * 1024;

  // With the baton in hand: moves it over the records that begin before `stop`. False when the
  // stream ends there.
  bool WalkOver(uint64_t stop) {
    StreamPlace& place = shared_.baton.place();
    from_ = place;
    bool more = true;
    while (place.position < stop && more) {
      const unsigned char* directory = nullptr;
      place.number +=
          reader_.WalkAhead(place.position, stop, [&](size_t, const RecordFields& fields) {
            directory = fields.isDirectory() ? fields.bytes() : directory;
          });
      if (directory != nullptr) place.directoryPosition = reader_.PositionOf(directory);
      if (place.position < stop) more = StepOver(place);
    }
    if (place.directoryPosition != from_.directoryPosition) {
      if (reader_.Read(place.directoryPosition, view_)) place.directory = view_.name;
    }
    to_ = place.position;
    if (shared_.options.progressFlag) shared_.progress.Count(place.number - from_.number);
    return more;
  }
  // One record that is not read ahead. False when there is none.
  bool StepOver(StreamPlace& place) {
    if (!reader_.Read(place.position, view_)) {
      shared_.atEndMarker = reader_.atEndMarker();
      return false;
    }
    if (view_.fields.isDirectory()) place.directoryPosition = place.position;
    place.position = view_.next;
    ++place.number;
    return true;
  }

  // Here the block becomes batches. The next thread has the baton.
  void LookAtRecords(const BatchSink& sink) {
    RecordBatch& batch = pass_.batch;
    batch.Begin(from_);
    uint64_t position = from_.position;
    while (position < to_ && batch.Fill(reader_, position, shared_.options.most, to_)) sink(pass_);
  }

  SharedPass& shared_;
  size_t blockSize_;
  RecordReader reader_;
  Pass pass_;
  RecordView view_;
  StreamPlace from_;  // where the block's records begin
  uint64_t to_ = 0;   // and end
};

// Below that size a scan is read before other threads have got going.
constexpr uint64_t kWorthSharing = uint64_t{16} << 20;

}  // namespace

size_t ThreadsFor(const Scan& scan, const PassShare& share) {
  if (share.threads > 0) return std::min(share.threads, kMostThreads);
  return scan.fileSize < kWorthSharing ? 1 : UsableProcessors();
}

PassEnd ScanDetail(const Scan& scan, const BatchSink& sink, const PassOptions& options) {
  return ScanDetail(scan, std::span(&sink, 1), options);
}

PassEnd ScanDetail(const Scan& scan, std::span<const BatchSink> sinks, const PassOptions& options) {
  if (sinks.size() == 1) return ReadAlone(scan, sinks.front(), options);
  SharedPass shared{scan, options, Baton({.position = scan.logRoot.firstRecord})};
  OnThreads(sinks.size(), [&](size_t thread) {
    try {
      BlockReader(shared).ReadBlocks(sinks[thread]);
    } catch (...) {
      shared.baton.End();
      throw;
    }
  });
  return {.records = shared.baton.place().number, .atEndMarker = shared.atEndMarker};
}

}  // namespace tabulon
