#include "reports/report.h"

#include <algorithm>

#include "base/loganderr.h"

namespace tabulon {
namespace {

// Files that listings may hold open: few beside the least number of descriptors that runs get by
// with (64).
constexpr size_t kMostOpenFiles = 32;

// What totals may hold in memory beside duplicates, which take most of the 900 MiB of a run.
constexpr int64_t kTypeMemoryBesideDuplicates = int64_t{24} << 20;

bool IsDuplicates(const ReportDefinition& report) {
  return report.type() == kReportDuplicates;
}

}  // namespace

void ReportAccumulator::MergeCounts(const ReportAccumulator& part) {
  counts_.count += part.counts_.count;
  counts_.totalBytes += part.counts_.totalBytes;
  counts_.allocatedBytes += part.counts_.allocatedBytes;
}

ReportSet::ReportSet(std::list<ReportDefinition>& reportList, ReportRun& run) : run_(run) {
  run.filesStayOpen = reportList.size() * run.threads <= kMostOpenFiles;
  if (std::ranges::any_of(reportList, IsDuplicates)) {
    run.typeLimits.memory = std::min(run.typeLimits.memory.load(), kTypeMemoryBesideDuplicates);
  }
  for (ReportDefinition& report : reportList) {
    members_.push_back({&report, report.kind->make(report, run)});
    ReportAccumulator* const accumulator = members_.back().accumulator.get();
    if (accumulator->wantsRecords()) watching_.push_back(accumulator);
  }
}

PassEnd ReportSet::TakeScan(const PassOptions& options) {
  std::vector<std::unique_ptr<ReportSet>> parts;
  std::vector<BatchSink> sinks = {[this](Pass& pass) { Add(pass); }};
  while (sinks.size() < run_.threads) {
    std::unique_ptr<ReportSet> part = NewPart();
    if (part == nullptr) break;
    sinks.push_back([to = part.get()](Pass& pass) { to->Add(pass); });
    parts.push_back(std::move(part));
  }
  const PassEnd end = ScanDetail(run_.scan, sinks, options);
  for (const auto& part : parts) Merge(*part);
  Finish();
  return end;
}

std::unique_ptr<ReportSet> ReportSet::NewPart() const {
  std::unique_ptr<ReportSet> set(new ReportSet(run_));
  for (ReportAccumulator* each : watching_) {
    std::unique_ptr<ReportAccumulator> part = each->NewPart();
    if (part == nullptr) return nullptr;
    set->watching_.push_back(part.get());
    set->members_.push_back({nullptr, std::move(part)});
  }
  return set;
}

void ReportSet::Add(Pass& pass) {
  for (ReportAccumulator* each : watching_) each->Add(pass);
}

void ReportSet::Merge(ReportSet& part) {
  for (size_t i = 0; i < watching_.size(); ++i) watching_[i]->Merge(*part.watching_[i]);
}

void ReportSet::Finish() {
  for (ReportAccumulator* each : watching_) each->Finish();
}

// What the totals report lists.
std::vector<Tally> ReportSet::Tallies() const {
  std::vector<Tally> tallies;
  for (const auto& [report, accumulator] : members_) {
    if ((report->flags & kFlagTotals) == 0) continue;
    const ReportCounts& counts = accumulator->counts();
    // A count is shown as a signed number: from 2^31 on it is negative. Kept so.
    const auto shown = static_cast<int32_t>(counts.count);
    tallies.push_back({.name = report->totalTag ? *report->totalTag : report->title,
                       .count = static_cast<uint64_t>(shown),
                       .totalBytes = counts.totalBytes,
                       .allocatedBytes = counts.allocatedBytes});
  }
  return tallies;
}

void ReportSet::Write(TextStream* qvaOutput) {
  const std::vector<Tally> tallies = Tallies();
  for (auto& [report, accumulator] : members_) {
    ReportOutput output(*report, run_.settings, qvaOutput, tallies);
    OpenReportFile(output);
    if (run_.settings.qvaFlag && report->qvaTag) {
      ReportEntry(output, L"[[QVA]]:%ls\n", *report->qvaTag);
    }
    const bool isListing = (report->type() & kNotRecordList) == 0;
    if (!isListing || report->type() == kReportDuplicates || report->format != kFormatNone) {
      DebugLogEntry(4, L"%ls", report->kind->debugLine);
      accumulator->Write(output);
    }
    CloseReport(output);
    accumulator.reset();
  }
}

// With -z the duplicates reports tell of the files that they fill. In batches of one record, read
// by one thread, their lines come in the order of the records, among themselves and between the
// marks of -p.
size_t ThreadsOf(const Settings& settings, const Scan& scan, const PassShare& share) {
  return settings.dbgFlag ? 1 : ThreadsFor(scan, share);
}

PassOptions PassOptionsOf(const Settings& settings, const PassShare& share) {
  return {.most = settings.dbgFlag ? 1 : RecordBatch::kMost,
          .progressFlag = settings.progressFlag,
          .block = share.block};
}

}  // namespace tabulon
