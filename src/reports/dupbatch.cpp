#include "reports/dupbatch.h"

#include <algorithm>
#include <deque>
#include <span>
#include <string>
#include <utility>

#include "base/radixsort.h"
#include "base/threads.h"
#include "detail/recordreader.h"

namespace tabulon {
namespace {

// Members of a group that are looked at before the batch is known to hold them.
constexpr size_t kPartMembers = 64U << 10;

// Text of a batch, bytes. Fewer batches pass less often over a large file; smaller ones take less
// memory.
uint64_t MostText(const Scan& scan) {
  constexpr uint64_t kLeast = uint64_t{96} << 20;
  return std::clamp(scan.fileSize / 32, kLeast, 2 * kLeast);
}

// How many records ahead the next ones are fetched.
constexpr size_t kLookAhead = 12;

// Texts that stay where they are, in large blocks: see HugeArray.
class TextBlocks {
 public:
  // `expected`: about the bytes of all texts, so that a few take no large page.
  explicit TextBlocks(uint64_t expected)
      : block_(std::clamp<uint64_t>(expected, kBlock / 512, kBlock)) {}
  // A copy of the text. Valid until Clear.
  std::string_view Keep(std::string_view text) {
    if (text.size() > block_ / 16) return large_.emplace_back(text);
    if (used_ == 0 || blocks_[used_ - 1].capacity() - blocks_[used_ - 1].size() < text.size()) {
      NextBlock();
    }
    HugeArray<char>& block = blocks_[used_ - 1];
    char* const copy = block.end();
    std::copy(text.begin(), text.end(), copy);
    block.Resize(block.size() + text.size());
    return {copy, text.size()};
  }
  void Clear() {
    large_.clear();
    used_ = 0;
  }

 private:
  static constexpr size_t kBlock = size_t{32} << 20;
  void NextBlock() {
    if (used_ == blocks_.size()) blocks_.emplace_back(block_);
    blocks_[used_++].Clear();
  }

  size_t block_;
  std::vector<HugeArray<char>> blocks_;
  size_t used_ = 0;  // the last one of these is being filled
  std::deque<std::string> large_;
};

}  // namespace

// What one thread formats lines with.
class DupBatch::Formatter {
 public:
  explicit Formatter(DupBatch& owner)
      : owner_(owner),
        report_(owner.output_.report()),
        scan_(owner.run_.scan),
        isQva_(owner.output_.isQva()),
        records_(scan_),
        writer_(owner.form_),
        root_(writer_.NewText()),
        directory_(writer_.NewText()),
        texts_(scan_.fileSize) {
    root_.Add(scan_.rootPath);
  }

  // Formats the lines of some places, and tells where they are.
  void Format(std::span<const Place> places);
  void Clear() { texts_.Clear(); }

 private:
  void FormatLine(const Place& place);
  void EnterDirectory(uint64_t position);
  // `found`: the record is still there.
  void FormatQvaLine(const GroupPart& part, bool found);

  DupBatch& owner_;
  const ReportDefinition& report_;
  const Scan& scan_;
  bool isQva_;
  RecordReader records_;
  RecordView view_;
  RecordText name_;
  LineWriter writer_;
  EncodedText root_;
  EncodedText directory_;  // as lines in it begin
  uint64_t directoryPosition_ = UINT64_MAX;
  TextBlocks texts_;
};

void DupBatch::Formatter::Format(std::span<const Place> places) {
  for (size_t i = 0; i < places.size(); ++i) {
    if (i + kLookAhead < places.size()) {
      records_.Prefetch(places[i + kLookAhead].position);
      records_.Prefetch(places[i + kLookAhead].directory);
      __builtin_prefetch(&owner_.lines_[places[i + kLookAhead].member], 1);
    }
    FormatLine(places[i]);
    owner_.lines_[places[i].member] = texts_.Keep(writer_.gathered());
    writer_.Drop();
  }
}

void DupBatch::Formatter::FormatLine(const Place& place) {
  const GroupPart& part = owner_.parts_[place.part];
  if (isQva_ && (!part.begins() || place.member != part.member)) return;
  if (!isQva_) EnterDirectory(place.directory);
  name_.Assign({});
  const bool found = records_.Read(place.position, view_);
  if (found) view_.LookAtName(name_);
  if (isQva_) {
    FormatQvaLine(part, found);
  } else {
    writer_.Add(directory_).Add(name_).EndLine();
  }
}

void DupBatch::Formatter::EnterDirectory(uint64_t position) {
  if (position == directoryPosition_) return;
  directoryPosition_ = position;
  directory_.Clear();
  directory_.Add(std::string_view("  "));
  // Files before the first directory are in an empty one.
  wchar_t last = L'\0';
  if (position != 0) {
    name_.Assign({});
    if (records_.Read(position, view_)) view_.LookAtName(name_);
    last = AddDirectory(report_, scan_, root_, name_, directory_);
  }
  // A backslash is used whatever the scanned system's separator is. Kept so.
  if (last != L'\\') directory_.Add(std::string_view("\\"));
}

void DupBatch::Formatter::FormatQvaLine(const GroupPart& part, bool found) {
  const RecordFields& fields = view_.fields;
  writer_.Add(name_).Add('|').AddNumber(part.group.size).Add('|').AddNumber(part.group.count);
  writer_.Add('|').AddNumber(found ? fields.created() : 0);
  writer_.Add('|').AddNumber(found ? fields.accessed() : 0);
  writer_.Add('|').AddNumber(found ? fields.modified() : 0).EndLine();
}

DupBatch::DupBatch(ReportOutput& output, const ReportRun& run)
    : output_(output),
      run_(run),
      form_(LineForm::Of(output)),
      mostText_(MostText(run.scan)),
      places_(run.dupLimits.written),
      sparePlaces_(run.dupLimits.written),
      lines_(run.dupLimits.written) {}

DupBatch::~DupBatch() = default;

uint32_t DupBatch::Add(DupGroups& groups, const DupGroup& group, uint32_t first) {
  const size_t at = places_.size();
  const size_t room = std::min(places_.capacity() - at, kPartMembers);
  some_.clear();
  groups.members().Read(group.first + first, std::min<size_t>(group.count - first, room), some_);
  for (const DupMember& member : some_) {
    if (textLength_ >= mostText_) break;
    textLength_ += member.textLength();
    places_.Push({member.position(), member.directory, static_cast<uint32_t>(places_.size()),
                  static_cast<uint32_t>(parts_.size())});
  }
  const auto count = static_cast<uint32_t>(places_.size() - at);
  parts_.push_back({group, first, count, static_cast<uint32_t>(at)});
  return count;
}

// The members are spread over ranges of the file. Each range is then sorted, in the nearer caches,
// and read.
void DupBatch::Format() {
  const size_t count = places_.size();
  const size_t ranges = count / run_.linesAtOnce + 1;
  const uint64_t length = run_.scan.fileSize / ranges + 1;  // of a range, bytes
  sparePlaces_.Resize(count);
  std::vector<size_t> starts(ranges + 2);
  Spread(places_.begin(), count, sparePlaces_.begin(), starts, [&](const Place& place) {
    return std::min<uint64_t>(place.position / length, ranges - 1);
  });
  lines_.Resize(count);
  while (formatters_.size() < run_.threads) {
    formatters_.push_back(std::make_unique<Formatter>(*this));
  }
  ShareOut(run_.threads, ranges, [&](size_t thread, size_t range) {
    FormatRange(*formatters_[thread], range * length, starts[range], starts[range + 1]);
  });
}

// The range begins at `start` in the file; its places are sparePlaces_[first, end).
void DupBatch::FormatRange(Formatter& formatter, uint64_t start, size_t first, size_t end) {
  Place* const unsorted = sparePlaces_.begin() + first;
  Place* const room = places_.begin() + first;
  const bool inRoom = RadixSort(unsorted, room, end - first,
                                [&](const Place& place) { return place.position - start; });
  formatter.Format({inRoom ? room : unsorted, end - first});
}

void DupBatch::Clear() {
  parts_.clear();
  places_.Clear();
  lines_.Clear();
  textLength_ = 0;
  for (const auto& formatter : formatters_) formatter->Clear();
}

}  // namespace tabulon
