#include "reports/duplicates.h"

#include <memory>
#include <optional>
#include <string_view>
#include <vector>

#include "base/prefetch.h"
#include "base/spoolfile.h"
#include "query/choosepassing.h"
#include "reports/dupbatch.h"
#include "reports/dupcandidates.h"
#include "reports/dupgroups.h"
#include "reports/filetimes.h"
#include "reports/linewriter.h"
#include "reports/orderedlines.h"
#include "reports/positions.h"

namespace tabulon {
namespace {

// Parts of groups that a thread writes at a time.
struct GroupPiece {
  uint64_t number = 0;
  size_t first = 0;  // of the batch's parts
  size_t end = 0;
};

// What one thread writes groups with.
class GroupWriter {
 public:
  explicit GroupWriter(ReportOutput& output)
      : report_(output.report()),
        isQva_(output.isQva()),
        writer_(LineForm::Of(output)),
        times_(output.settings().dateFmt) {}

  void Write(const DupBatch& batch, const GroupPiece& piece, OrderedLines& lines) {
    for (size_t i = piece.first; i < piece.end; ++i) {
      AddPart(batch, batch.parts()[i]);
      if (writer_.gathered().size() >= OrderedLines::kMostGathered) {
        lines.Write(piece.number, writer_);
      }
    }
    lines.Write(piece.number, writer_);
    lines.Finish(piece.number);
  }

 private:
  static constexpr size_t kLookAhead = 8;

  void AddPart(const DupBatch& batch, const GroupPart& part) {
    if (part.begins() && !isQva_) AddHeading(part.group);
    for (size_t member = part.member; member < part.member + part.count; ++member) {
      if (member + kLookAhead < batch.members()) {
        PrefetchStart(batch.line(member + kLookAhead).data());
      }
      writer_.AddLines(batch.line(member));
    }
    if (part.ends() && !isQva_) writer_.EndLine();
  }

  void AddHeading(const DupGroup& group) {
    writer_.Add(std::string_view("Size: ")).AddSigned(static_cast<int64_t>(group.size));
    if ((report_.dupFields & kDupMdate) != 0) {
      writer_.Add(std::string_view("  Modified: "));
      AddTime(group.modified);
    }
    if ((report_.dupFields & kDupCdate) != 0) {
      writer_.Add(std::string_view("  Created: "));
      AddTime(group.created);
    }
    writer_.EndLine();
  }

  void AddTime(uint32_t seconds) {
    if (char* const end = times_.Put(seconds, writer_.Reserve(kTimeTextSize))) {
      writer_.End(end);
    } else {
      writer_.Add(times_.Format(seconds));
    }
  }

  const ReportDefinition& report_;
  bool isQva_;
  LineWriter writer_;
  FileTimeFormatter times_;
};

// Takes some parts that have so many members together, or the rest of them; false when there are
// none.
bool TakePiece(const std::vector<GroupPart>& parts, size_t members, GroupPiece& piece,
               size_t& next) {
  piece.first = next;
  for (size_t taken = 0; next < parts.size() && taken < members; ++next) taken += parts[next].count;
  piece.end = next;
  return piece.first < piece.end;
}

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
  counts_.count += static_cast<uint32_t>(totals.files);
  counts_.totalBytes += totals.bytes;
  counts_.allocatedBytes += totals.allocated;
}

void Duplicates::Write(ReportOutput& output) {
  DisplayReportFile(output);
  // A title of "none" is printed as it is here.
  if (!output.isQva()) ReportEntry(output, L"\n---- %ls ----\n\n", report_.title);
  std::vector<std::unique_ptr<GroupWriter>> writers;
  for (size_t i = 0; i < run_.threads; ++i) {
    writers.push_back(std::make_unique<GroupWriter>(output));
  }
  DupBatch batch(output, run_);
  const auto writeBatch = [&] {
    batch.Format();
    OrderedLines lines(output.stream());
    size_t next = 0;  // part of the batch
    lines.Share(run_.threads, [&](size_t thread) {
      GroupPiece piece;
      const auto take = [&] { return TakePiece(batch.parts(), run_.linesAtOnce, piece, next); };
      while (lines.NextPiece(piece.number, take)) writers[thread]->Write(batch, piece, lines);
    });
    batch.Clear();
  };
  DupGroup group;
  while (groups_->Next(group)) {
    for (uint32_t done = 0; done < group.count;) {
      done += batch.Add(*groups_, group, done);
      if (batch.full()) writeBatch();
    }
  }
  writeBatch();
}

}  // namespace

std::unique_ptr<ReportAccumulator> MakeDuplicates(const ReportDefinition& report, ReportRun& run) {
  return std::make_unique<Duplicates>(report, run);
}

}  // namespace tabulon
