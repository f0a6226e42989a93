// The reports of a run at work. Each is an accumulator: it takes the records of a scan, or some of
// them, batch by batch, and writes its text in the end. Threads that share a scan have accumulators
// of their own, parts, which are merged after the last record.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <list>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "config/reportdefinition.h"
#include "detail/scandetail.h"
#include "reports/reportwriter.h"

namespace tabulon {

// How much the duplicate finder takes in at a time; tests set it lower. Defaults: runs of 5,000,000
// files, 96 MiB of gathered entries with 24 MiB of directories, and in the sorted stores 224, 256
// and 256 MiB.
struct DupLimits {
  uint32_t runFiles = 5'000'000;       // files of one run: groups are counted run by run
  size_t gathered = size_t{12} << 20;  // entries gathered in memory
  size_t sorted = size_t{4} << 20;     // candidates held in memory; twice as many groups, four
                                       // times as many members
  size_t written = size_t{2} << 20;    // members of groups whose records are read at a time
  size_t partition = 8192;             // files that are looked at together, about
  uint32_t rangeBits = 24;             // records are read in ranges of 2^rangeBits bytes
};

// How much totals by type hold in memory; tests set it lower.
struct TypeLimits {
  size_t entries = size_t{1} << 19;                  // keys of one report in its table
  size_t spooled = size_t{8} << 20;                  // bytes of tallies that are sorted together
  std::atomic<int64_t> memory = int64_t{512} << 20;  // bytes left to all reports of the run
};

// What the reports of a run share. It must outlive them.
struct ReportRun {
  const Scan& scan;
  const Settings& settings;
  std::string_view dtlName = {};  // the detail file's name in the locale's encoding
  std::wstring qvaRoot = {};      // the root as the QVA output shows it
  DupLimits dupLimits = {};
  TypeLimits typeLimits = {};
  int keptFiles = 0;          // files of duplicates that -z has kept so far, over all reports
  size_t threads = 1;         // that share the work of the run
  size_t linesAtOnce = 4096;  // lines that a thread formats or writes at a time
  // Set by ReportSet: listings are few enough to hold descriptors while they are gathered.
  bool filesStayOpen = false;
};

// What a report counts.
struct ReportCounts {
  uint32_t count = 0;           // matching records; wraps at 32 bits
  uint64_t totalBytes = 0;      // sum of their sizes
  uint64_t allocatedBytes = 0;  // sum of their allocated sizes
};

class ReportAccumulator {
 public:
  virtual ~ReportAccumulator() = default;

  // Whether the report looks at records. Add is called only if so.
  virtual bool wantsRecords() const { return false; }
  // Takes the next batch. It chooses records of its own in `pass`, whatever has been chosen there.
  virtual void Add(Pass&) {}
  // Makes an accumulator for other records of the scan, which another thread feeds at the same
  // time. Null: the report cannot be gathered in parts, and one thread reads the scan.
  virtual std::unique_ptr<ReportAccumulator> NewPart() { return nullptr; }
  // Takes over what a part has gathered. Both were fed different records of one scan, each in file
  // order: their records may come in turns. The outcome is that of one accumulator that saw all of
  // them in file order. REQUIRES: `part` was made by NewPart of this accumulator or of one that
  // this one is a part of; it is used up.
  virtual void Merge(ReportAccumulator&) {}
  // Called once, after the last Add or Merge and before any report of the run is written.
  virtual void Finish() {}
  // Writes the report.
  virtual void Write(ReportOutput& output) = 0;

  const ReportCounts& counts() const { return counts_; }

 protected:
  void MergeCounts(const ReportAccumulator& part);

  ReportCounts counts_;
};

// All reports of a run, as they take the records of a scan or some of them.
class ReportSet {
 public:
  // Definitions and run must outlive the set.
  ReportSet(std::list<ReportDefinition>& reportList, ReportRun& run);

  // Reads the run's scan and feeds every report with its records, then finishes the reports. The
  // run's threads do so together, when all reports can be gathered in parts.
  PassEnd TakeScan(const PassOptions& options);
  // What TakeScan does, step by step. NewPart makes a set for another thread, null when some report
  // cannot be gathered in parts.
  std::unique_ptr<ReportSet> NewPart() const;
  void Add(Pass& pass);
  void Merge(ReportSet& part);
  void Finish();
  // Writes every report to its end: its QVA tag line, its text, and the closing of its file. What a
  // report has gathered goes when it is written. `qvaOutput`: the file that all of them share in a
  // -qva run; null: none.
  void Write(TextStream* qvaOutput);
  // Writes the first report alone, to the list log.
  void WriteFirst(ReportOutput& output) { members_.front().accumulator->Write(output); }

 private:
  explicit ReportSet(ReportRun& run) : run_(run) {}
  struct Member {
    ReportDefinition* report;
    std::unique_ptr<ReportAccumulator> accumulator;
  };
  std::vector<Tally> Tallies() const;

  ReportRun& run_;
  std::vector<Member> members_;
  std::vector<ReportAccumulator*> watching_;  // those that look at records
};

// How many threads share the work of a run.
size_t ThreadsOf(const Settings& settings, const Scan& scan, const PassShare& share);
// How many lines of a listing a thread writes at a time: those of a block, roughly.
inline size_t LinesAtOnce(const PassShare& share) {
  return share.block / 256 + 1;
}
// How the scan is read for the reports of a run.
PassOptions PassOptionsOf(const Settings& settings, const PassShare& share = {});

}  // namespace tabulon
