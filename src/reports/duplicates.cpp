#include "reports/duplicates.h"

#include <memory>
#include <optional>
#include <string_view>
#include <vector>

#include "base/prefetch.h"
#include "base/spoolfile.h"
#include "query/filterplan.h"
#include "reports/dupbatch.h"
#include "reports/dupcandidates.h"
#include "reports/dupgroups.h"
#include "reports/filetimes.h"
#include "reports/linewriter.h"
#include "reports/positions.h"

namespace tabulon {
namespace {

// Writes batches of groups.
class Writer {
 public:
  explicit Writer(ReportOutput& output)
      : output_(output),
        report_(output.report()),
        lines_(LineForm::Of(output)),
        times_(output.settings().dateFmt) {}

  void Write(DupBatch& batch) {
    batch.Format();
    for (const GroupPart& part : batch.parts()) {
      AddPart(batch, part);
      if (lines_.gathered().size() >= kGathered) WriteOut();
    }
    WriteOut();
    batch.Clear();
  }

 private:
  static constexpr size_t kGathered = size_t{1} << 20;  // bytes
  static constexpr size_t kLookAhead = 8;

  void AddPart(const DupBatch& batch, const GroupPart& part) {
    if (part.begins() && !output_.isQva()) AddHeading(part.group);
    for (size_t member = part.member; member < part.member + part.count; ++member) {
      if (member + kLookAhead < batch.members()) {
        PrefetchStart(batch.line(member + kLookAhead).data());
      }
      lines_.AddLines(batch.line(member));
    }
    if (part.ends() && !output_.isQva()) lines_.EndLine();
  }

  void AddHeading(const DupGroup& group) {
    lines_.Add(std::string_view("Size: ")).AddSigned(static_cast<int64_t>(group.size));
    if ((report_.dupFields & kDupMdate) != 0) {
      lines_.Add(std::string_view("  Modified: "));
      AddTime(group.modified);
    }
    if ((report_.dupFields & kDupCdate) != 0) {
      lines_.Add(std::string_view("  Created: "));
      AddTime(group.created);
    }
    lines_.EndLine();
  }

  void AddTime(uint32_t seconds) { lines_.Add(times_.Format(seconds)); }

  void WriteOut() {
    output_.stream().WriteBytes(lines_.gathered());
    lines_.Drop();
  }

  ReportOutput& output_;
  const ReportDefinition& report_;
  LineWriter lines_;
  FileTimeFormatter times_;
};

class Duplicates : public ReportAccumulator {
 public:
  // `isPart`: another one takes over what this one gathers.
  Duplicates(const ReportDefinition& report, ReportRun& run, bool isPart = false)
      : report_(report),
        run_(run),
        files_(run.settings.dbgFlag ? std::make_unique<DupDebugFiles>(run.keptFiles) : nullptr),
        candidates_(run.scan, report.dupFields, OfOneThread(run), run.settings.dbgFlag) {
    if (!isPart) CreatePositionFile(positions_);
  }

  bool wantsRecords() const override { return true; }
  void Add(Pass& pass) override;
  // Null with -z, which tells of runs while they fill.
  std::unique_ptr<ReportAccumulator> NewPart() override {
    return files_ ? nullptr : std::make_unique<Duplicates>(report_, run_, true);
  }
  void Merge(ReportAccumulator& part) override {
    candidates_.Merge(static_cast<Duplicates&>(part).candidates_);
  }
  void Finish() override;
  void Write(ReportOutput& output) override;

 private:
  // The threads share the memory for what they gather.
  static DupLimits OfOneThread(const ReportRun& run) {
    DupLimits limits = run.dupLimits;
    limits.gathered = limits.gathered / run.threads + 1;
    return limits;
  }

  const ReportDefinition& report_;
  ReportRun& run_;
  SpoolFile positions_;  // as a listing has it, but always empty: where no temporary file can be
                         // made, this report tells so, too. Kept so.
  std::unique_ptr<DupDebugFiles> files_;  // with -z only
  DupCandidates candidates_;
  std::optional<DupGroups> groups_;  // from Finish on
};

void Duplicates::Add(Pass& pass) {
  ChoosePassing(report_.plan, pass);
  const bool runWasFull = candidates_.Gather(pass);
  if (runWasFull && files_) files_->NewRun();
}

// Makes the groups and counts the duplicates.
void Duplicates::Finish() {
  if (files_) files_->NewRun();  // of the files since, even if there are none
  std::vector<DigestPartitions> found = candidates_.Find(run_.threads);
  groups_.emplace(files_.get(), run_.dupLimits.sorted, run_.settings.fileIncr);
  groups_->Make(found);
  if (files_) files_->Finish();
  const DupTotals& totals = groups_->totals();
  counts_.count += static_cast<int32_t>(totals.files);
  counts_.totalBytes += totals.bytes;
  counts_.allocatedBytes += totals.allocated;
}

void Duplicates::Write(ReportOutput& output) {
  DisplayReportFile(output);
  // A title of "none" is printed as it is here.
  if (!output.isQva()) ReportEntry(output, L"\n---- %ls ----\n\n", report_.title);
  Writer writer(output);
  DupBatch batch(output, run_);
  DupGroup group;
  while (groups_->Next(group)) {
    for (uint32_t done = 0; done < group.count;) {
      done += batch.Add(*groups_, group, done);
      if (batch.full()) writer.Write(batch);
    }
  }
  writer.Write(batch);
}

}  // namespace

std::unique_ptr<ReportAccumulator> MakeDuplicates(const ReportDefinition& report, ReportRun& run) {
  return std::make_unique<Duplicates>(report, run);
}

}  // namespace tabulon
