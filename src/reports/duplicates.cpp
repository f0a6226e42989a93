#include "reports/duplicates.h"

#include <algorithm>
#include <memory>
#include <optional>
#include <string_view>
#include <vector>

#include "base/memory.h"
#include "base/prefetch.h"
#include "base/spoolfile.h"
#include "detail/recordreader.h"
#include "query/filterplan.h"
#include "reports/dupcandidates.h"
#include "reports/dupgroups.h"
#include "reports/filetimes.h"
#include "reports/linewriter.h"
#include "reports/positions.h"
#include "reports/valueformat.h"

namespace tabulon {
namespace {

// Groups are written in batches of DupLimits::written members or about so many bytes of text.
// Within a batch the records are read in file order, whatever the order of the groups. So the file
// is passed over once for each batch, not once for each group, and memory stays bounded. A large
// group is spread over several batches.
constexpr uint64_t kBatchText = uint64_t{96} << 20;

// Members of a group that are looked at before the batch is known to hold them.
constexpr size_t kPartMembers = 64U << 10;

// How many records ahead the next ones are fetched.
constexpr size_t kLookAhead = 8;

// Some members of a group that follow one another.
struct GroupPart {
  DupGroup group;
  uint32_t first;  // of them, counted in the group
  uint32_t count;
  bool begins() const { return first == 0; }
  bool ends() const { return first + count == group.count; }
};

// A batch: parts of groups, their members, and what the members' records say.
class Batch {
 public:
  Batch(const Scan& scan, size_t most)
      : most_(most), records_(scan), entries_(most), text_(kTextRoom) {}

  // A text that the batch keeps: its ASCII form where there is one, else as it is stored. A stored
  // name has 16 bits of length.
  struct Text {
    uint32_t at = 0;
    uint16_t length = 0;
    bool isAscii = false;
  };
  // A member's record.
  struct Entry {
    Text name;
    Text directory;
    uint32_t created = 0;
    uint32_t accessed = 0;
    uint32_t modified = 0;
  };

  bool full() const { return members_.size() >= most_ || textLength_ >= kBatchText; }
  // Adds members of the group from number `first` on; returns how many. REQUIRES: !full().
  uint32_t Add(DupGroups& groups, const DupGroup& group, uint32_t first) {
    const size_t at = members_.size();
    const size_t room = std::min(most_ - at, kPartMembers);
    groups.members().Read(group.first + first, std::min<size_t>(group.count - first, room),
                          members_);
    size_t end = at;
    while (end < members_.size() && textLength_ < kBatchText) {
      textLength_ += members_[end++].textLength;
    }
    members_.resize(end);
    const auto count = static_cast<uint32_t>(end - at);
    parts_.push_back({group, first, count});
    return count;
  }
  void ReadRecords();
  void Clear() {
    parts_.clear();
    members_.clear();
    text_.Clear();
    textLength_ = 0;
  }

  const std::vector<GroupPart>& parts() const { return parts_; }
  const Entry& entry(size_t member) const { return entries_[member]; }
  // Whether the scan names the member's directory: not for files before the first one.
  bool InDirectory(size_t member) const { return members_[member].directory != 0; }
  void Assign(RecordText& to, const Text& text) const {
    const std::string_view bytes = {text_.begin() + text.at, text.length};
    to.Assign(bytes);
    // The tail is only used to find extensions, and no code asks for those here.
    if (text.isAscii) to.SetAscii(bytes, 0);
  }
  // Has the processor fetch what a member some places ahead needs.
  void Prefetch(size_t member) const {
    if (member >= members_.size()) return;
    const Entry& entry = entries_[member];
    __builtin_prefetch(text_.begin() + entry.name.at);
    PrefetchStart(text_.begin() + entry.directory.at);
  }

 private:
  // The texts have the lengths that were counted, unless someone changes the scan file meanwhile;
  // then some may be left out.
  static constexpr size_t kTextRoom = kBatchText + (size_t{1} << 20);
  static_assert(kTextRoom <= UINT32_MAX);

  // Where a member and its directory are in the file.
  struct Place {
    uint64_t position;
    uint64_t directory;
    uint32_t member;
  };

  void SortPlaces();
  void ReadRecord(const Place& place);
  Text KeepName(const RecordView& view);

  size_t most_;  // members
  RecordReader records_;
  std::vector<GroupPart> parts_;
  std::vector<DupMember> members_;
  HugeArray<Entry> entries_;   // by member
  std::vector<Place> places_;  // of the members, in file order
  HugeArray<char> text_;
  uint64_t textLength_ = 0;
  uint64_t directoryPosition_ = 0;
  Text directory_;  // the one that was read last
  RecordText look_;
};

void Batch::ReadRecords() {
  entries_.Resize(members_.size());
  SortPlaces();
  directoryPosition_ = 0;
  directory_ = {};
  for (size_t i = 0; i < places_.size(); ++i) {
    if (i + kLookAhead < places_.size()) {
      const Place& ahead = places_[i + kLookAhead];
      records_.Prefetch(ahead.position);
      records_.Prefetch(ahead.directory);
      __builtin_prefetch(&entries_[ahead.member], 1);
    }
    ReadRecord(places_[i]);
  }
}

void Batch::SortPlaces() {
  places_.resize(members_.size());
  for (uint32_t i = 0; i < places_.size(); ++i) {
    places_[i] = {members_[i].position, members_[i].directory, i};
  }
  std::sort(places_.begin(), places_.end(),
            [](const Place& a, const Place& b) { return a.position < b.position; });
}

Batch::Text Batch::KeepName(const RecordView& view) {
  view.LookAtName(look_);
  const bool isAscii = look_.IsAscii();
  const std::string_view bytes = isAscii ? look_.Ascii() : view.name;
  const size_t at = text_.size();
  if (bytes.size() > text_.capacity() - at) return {};
  text_.Resize(at + bytes.size());
  std::copy(bytes.begin(), bytes.end(), text_.begin() + at);
  return {static_cast<uint32_t>(at), static_cast<uint16_t>(bytes.size()), isAscii};
}

void Batch::ReadRecord(const Place& from) {
  RecordView view;
  if (from.directory != directoryPosition_) {
    directoryPosition_ = from.directory;
    directory_ = records_.Read(from.directory, view) ? KeepName(view) : Text{};
  }
  Entry& entry = entries_[from.member];
  entry = {};
  if (!records_.Read(from.position, view)) return;
  entry = {.name = KeepName(view),
           .directory = directory_,
           .created = view.fields.created(),
           .accessed = view.fields.accessed(),
           .modified = view.fields.modified()};
}

class Writer {
 public:
  Writer(ReportOutput& output, const Scan& scan)
      : output_(output),
        report_(output.report()),
        scan_(scan),
        writer_(output),
        times_(output.settings().dateFmt),
        root_(writer_.NewText()) {
    root_.Add(scan.rootPath);
  }

  void WriteBatch(Batch& batch) {
    batch.ReadRecords();
    size_t member = 0;
    for (const GroupPart& part : batch.parts()) {
      if (!output_.isQva()) {
        WritePart(batch, part, member);
      } else if (part.begins()) {
        WriteQvaLine(batch, part.group, batch.entry(member));
      }
      member += part.count;
    }
    batch.Clear();
  }

 private:
  void WriteQvaLine(const Batch& batch, const DupGroup& group, const Batch::Entry& first) {
    batch.Assign(name_, first.name);
    ReportEntry(output_, L"%ls|%llu|%u|%u|%u|%u\n", name_.Wide(), group.size, group.count,
                first.created, first.accessed, first.modified);
  }

  void WritePart(const Batch& batch, const GroupPart& part, size_t member) {
    if (part.begins()) WriteHeading(part.group, batch.entry(member));
    for (size_t i = 0; i < part.count; ++i) {
      batch.Prefetch(member + i + kLookAhead);
      WriteMember(batch, member + i);
    }
    if (part.ends()) writer_.EndLine();
  }

  void WriteHeading(const DupGroup& group, const Batch::Entry& first) {
    writer_.Add(std::string_view("Size: ")).AddSigned(static_cast<int64_t>(group.size));
    if ((report_.dupFields & kDupMdate) != 0) {
      writer_.Add(std::string_view("  Modified: ")).Add(times_.Format(first.modified));
    }
    if ((report_.dupFields & kDupCdate) != 0) {
      writer_.Add(std::string_view("  Created: ")).Add(times_.Format(first.created));
    }
    writer_.EndLine();
  }

  void WriteMember(const Batch& batch, size_t member) {
    const Batch::Entry& entry = batch.entry(member);
    batch.Assign(directory_, entry.directory);
    batch.Assign(name_, entry.name);
    writer_.Add(std::string_view("  "));
    // Files before the first directory are in an empty one.
    const wchar_t last = batch.InDirectory(member)
                             ? AddDirectory(report_, scan_, root_, directory_, writer_)
                             : L'\0';
    // A backslash is used whatever the scanned system's separator is. Kept so.
    if (last != L'\\') writer_.Add('\\');
    writer_.Add(name_).EndLine();
  }

  ReportOutput& output_;
  const ReportDefinition& report_;
  const Scan& scan_;
  LineWriter writer_;
  FileTimeFormatter times_;
  EncodedText root_;
  RecordText directory_;
  RecordText name_;
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
  Writer writer(output, run_.scan);
  Batch batch(run_.scan, run_.dupLimits.written);
  DupGroup group;
  while (groups_->Next(group)) {
    for (uint32_t done = 0; done < group.count;) {
      done += batch.Add(*groups_, group, done);
      if (batch.full()) writer.WriteBatch(batch);
    }
  }
  writer.WriteBatch(batch);
}

}  // namespace

std::unique_ptr<ReportAccumulator> MakeDuplicates(const ReportDefinition& report, ReportRun& run) {
  return std::make_unique<Duplicates>(report, run);
}

}  // namespace tabulon
