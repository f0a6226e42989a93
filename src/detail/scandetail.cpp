#include "detail/scandetail.h"

#include <array>
#include <ctime>
#include <span>

#include "base/loganderr.h"
#include "detail/bands.h"
#include "detail/recordreader.h"

namespace tabulon {

uint32_t fileIncr = 0;
uint64_t allocSize = 0;
bool progressFlag = false;

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

// Counts every file of the scan; most runs ask for none of it. First the batch's files are gathered
// without a branch: each record is written to the next place, and only a file moves the place on.
// Then each distribution has a short loop of its own over them.
void CountFiles(const RecordBatch& batch) {
  std::array<RecordFields, RecordBatch::kMost> fields;
  size_t count = 0;
  for (size_t i = 0; i < batch.size(); ++i) {
    const RecordFields record = batch.fields(i);
    fields[count] = record;
    count += (record.attributes() & kAttrAnyDirectory) == 0 ? 1 : 0;
  }
  const std::span<const RecordFields> files = std::span(fields).first(count);
  if (fileIncr > 0) {
    for (const RecordFields& file : files) allocSize += AllocatedSize(file.size());
  }
  if (!sizeBands.empty()) {
    for (const RecordFields& file : files) UpdateSizeBands(file.size());
  }
  if (!cdateBands.empty()) {
    for (const RecordFields& file : files) UpdateDateBands(file.created(), cdateBands);
  }
  if (!mdateBands.empty()) {
    for (const RecordFields& file : files) UpdateDateBands(file.modified(), mdateBands);
  }
  if (!adateBands.empty()) {
    for (const RecordFields& file : files) UpdateDateBands(file.accessed(), adateBands);
  }
}

}  // namespace

PassEnd ScanDetail(const Scan& scan, const BatchSink& sink, size_t most) {
  RecordReader reader(scan);
  Pass pass(scan);
  const bool counts = fileIncr > 0 || !sizeBands.empty() || !cdateBands.empty() ||
                      !mdateBands.empty() || !adateBands.empty();
  Progress progress;
  PassEnd end;
  uint64_t position = scan.logRoot.firstRecord;
  while (pass.batch.Fill(reader, position, most)) {
    if (counts) CountFiles(pass.batch);
    sink(pass);
    end.records += pass.batch.size();
    if (progressFlag) progress.Count(pass.batch.size());
  }
  end.atEndMarker = reader.atEndMarker();
  return end;
}

}  // namespace tabulon
