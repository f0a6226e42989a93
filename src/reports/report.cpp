#include "reports/report.h"

#include "base/loganderr.h"

namespace tabulon {

void ReportAccumulator::MergeCounts(const ReportAccumulator& later) {
  counts_.count += later.counts_.count;
  counts_.totalBytes += later.counts_.totalBytes;
  counts_.allocatedBytes += later.counts_.allocatedBytes;
}

ReportSet::ReportSet(std::list<ReportDefinition>& reportList, ReportRun& run) : run_(run) {
  for (ReportDefinition& report : reportList) {
    members_.push_back({&report, report.kind->make(report, run)});
    ReportAccumulator* const accumulator = members_.back().accumulator.get();
    if (accumulator->wantsRecords()) watching_.push_back(accumulator);
  }
}

void ReportSet::Add(Pass& pass) {
  for (ReportAccumulator* each : watching_) each->Add(pass);
}

void ReportSet::Merge(ReportSet& later) {
  for (size_t i = 0; i < watching_.size(); ++i) watching_[i]->Merge(*later.watching_[i]);
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
    tallies.push_back({.name = report->totalTag ? *report->totalTag : report->title,
                       .count = static_cast<uint64_t>(counts.count),
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

PassOptions PassOptionsOf(const Settings& settings) {
  // With -z the duplicates reports tell of the files that they fill. In batches of one record their
  // lines come in the order of the records, among themselves and between the marks of -p.
  return {.most = settings.dbgFlag ? 1 : RecordBatch::kMost, .progressFlag = settings.progressFlag};
}

}  // namespace tabulon
