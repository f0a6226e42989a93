#include "detail/scandetail.h"

#include <algorithm>
#include <ctime>

#include "base/loganderr.h"
#include "base/threads.h"

namespace tabulon {
namespace {

constexpr int kRecordsPerMark = 1000;
constexpr int kRecordsPerTime = 50000;

// The marks of -p: '*' after every 1000th record, the time taken after every 50000th.
class Progress {
 public:
  void Count(size_t records) {
    for (; records > 0; --records) {
      ++records_;
      if (records_ % kRecordsPerMark != 0) continue;
      Console().WriteBytes("*");
      if (records_ % kRecordsPerTime == 0) WriteTime();
      Console().Flush();
    }
  }

 private:
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

}  // namespace

size_t ThreadsFor(const Scan&, const PassShare& share) {
  return std::max<size_t>(share.threads, 1);
}

PassEnd ScanDetail(const Scan& scan, std::span<const BatchSink> sinks, const PassOptions& options) {
  return ScanDetail(scan, sinks.front(), options);
}

PassEnd ScanDetail(const Scan& scan, const BatchSink& sink, const PassOptions& options) {
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

}  // namespace tabulon
