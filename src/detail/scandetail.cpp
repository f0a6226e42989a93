#include "detail/scandetail.h"

#include <ctime>

#include "base/loganderr.h"
#include "detail/bands.h"
#include "detail/detailfile.h"
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
  void Count() {
    ++records_;
    if (records_ % kRecordsPerMark != 0) return;
    Console().WriteBytes("*");
    if (records_ % kRecordsPerTime == 0) WriteTime();
    Console().Flush();
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

// What has to be counted for every file of the scan; most runs ask for none of it.
struct Tallies {
  bool size = !sizeBands.empty();
  bool created = !cdateBands.empty();
  bool modified = !mdateBands.empty();
  bool accessed = !adateBands.empty();
  bool allocated = fileIncr > 0;
  bool any = size || created || modified || accessed || allocated;

  void Count(ScanRecord& record) const {
    const RecordFields& fields = record.fields();
    if (allocated) record.allocatedSize = AllocatedSize(fields.size());
    if ((fields.attributes() & kAttrAnyDirectory) != 0) return;
    allocSize += record.allocatedSize;
    if (size) UpdateSizeBands(fields.size());
    if (created) UpdateDateBands(fields.created(), cdateBands);
    if (modified) UpdateDateBands(fields.modified(), mdateBands);
    if (accessed) UpdateDateBands(fields.accessed(), adateBands);
  }
};

// Reads the record at `position` into `record` and offers it; returns the next record's position,
// 0 at the end of the stream.
uint64_t ScanDetailRecord(RecordReader& reader, uint64_t position, const Tallies& tallies,
                          RecordText& directory, ScanRecord& record, RecordSink sink) {
  if (!reader.Read(position, record.view)) return 0;
  record.name.Assign(record.view.name);
  if (record.fields().isDirectory()) {
    directory.AssignCopy(record.view.name);
    record.directoryPosition = position;
  }
  if (tallies.any) tallies.Count(record);
  if (record.view.hasTarget) record.target.Assign(record.view.target);
  sink(record);
  return record.view.next;
}

}  // namespace

void ScanDetail(RecordSink sink) {
  RecordReader reader(dtlFile.get(), DetailRecordLayout(), dtlRev7_OrHigher);
  const Tallies tallies;
  RecordText directory;
  ScanRecord record;
  record.directory = &directory;
  Progress progress;
  uint64_t position = logRoot.firstRecord;
  while ((position = ScanDetailRecord(reader, position, tallies, directory, record, sink)) != 0) {
    if (progressFlag) progress.Count();
  }
  if (!reader.atEndMarker()) DebugLogEntry(1, L"The record stream has no end marker.\n");
}

}  // namespace tabulon
