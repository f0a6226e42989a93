#include "reports/filetypes.h"

#include <algorithm>
#include <compare>
#include <cstring>
#include <functional>
#include <string>
#include <type_traits>

#include "base/bytes.h"
#include "base/localetext.h"
#include "query/choosepassing.h"
#include "reports/totals.h"

namespace tabulon {
namespace {

// The tallies of one report, and how its keys are told.
struct TypeWork {
  TypeWork(const ReportDefinition& report, ReportRun& run);

  size_t longest;  // extension that is counted, with its '.'
  bool foldCase;   // extensions that differ in letter case only count as one
  bool packs;      // short ASCII extensions are known by their bytes: LowerWord folds as the locale
                   // does
  TypeTallies tallies;
  TypeEntry uncounted;  // takes what records without a key would count
  std::wstring folded;  // of the extension in hand
  std::string text;     // of the key in hand
};

// The word of an extension: its bytes, when they are few and ASCII, else a hash of its key. It
// leaves the text of the key in work.text, and says how much of that is the key.
uint64_t ExtensionWord(TypeWork& work, std::wstring_view extension, size_t& keyLength) {
  work.text.clear();
  if (work.foldCase) {
    const CaseFold& fold = FoldCase();
    work.folded.assign(extension);
    for (wchar_t& unit : work.folded) unit = fold(unit);
    AppendUnits(work.text, work.folded);
  } else {
    AppendUnits(work.text, extension);
  }
  keyLength = work.text.size();
  const auto isAscii = [](char byte) { return (byte & 0x80) == 0; };
  uint64_t word = 0;
  if (work.packs && keyLength <= kWordBytes && std::ranges::all_of(work.text, isAscii)) {
    std::memcpy(&word, work.text.data(), keyLength);
  } else {
    word = std::hash<std::string_view>()(work.text) | kHashedWord;
  }
  if (work.foldCase && work.folded != extension) AppendUnits(work.text, extension);
  return word;
}

// The entry under which a record counts, made for its first record; `uncounted` when the record
// does not count. For any record, whether or not the front can know its key.
[[gnu::noinline]] TypeEntry* FindAnyExtension(TypeWork& work, RecordBatch& batch, size_t i) {
  const RecordText& name = batch.names().other[i] != 0 ? batch.OtherName(i) : batch.At(i).name;
  const std::ptrdiff_t dot = name.LastDot();
  if (dot <= 0) return &work.uncounted;
  const std::wstring_view extension = name.Wide().substr(static_cast<size_t>(dot));
  if (extension.size() < 2 || extension.size() > work.longest) return &work.uncounted;
  size_t keyLength = 0;
  const uint64_t word = ExtensionWord(work, extension, keyLength);
  return work.tallies.Find(word, work.text, keyLength, batch.PositionOf(i));
}

[[gnu::noinline]] TypeEntry* FindNewId(TypeWork& work, uint32_t id, uint64_t position) {
  work.text = std::to_string(static_cast<int32_t>(id));
  return work.tallies.Find(id, work.text, work.text.size(), position);
}

// Finds the entry under which a record counts by its extension.
class ExtensionFinder {
 public:
  ExtensionFinder(TypeWork& work, RecordBatch& batch)
      : work_(work), batch_(batch), front_(work.tallies.front()), folds_(work.foldCase) {
    batch.WantNames();
    // The front knows extensions that fill a word or less, with their '.'.
    const size_t longest = work.packs ? std::min(work.longest, kWordBytes) : 1;
    mostBits_ = 8 * (longest - 1);
    packsAll_ = longest == work.longest;
  }

  TypeEntry* operator()(size_t i) {
    const RecordBatch::Names& names = batch_.names();
    const uint64_t tail = names.tail[i];
    const uint64_t dots = MarksOf('.', tail);
    const auto behindDot = static_cast<size_t>(__builtin_clzll(dots | 1));
    // No extension: nothing after the '.' (the difference wraps), or nothing before it.
    if (dots != 0 && behindDot - 8 < mostBits_ && behindDot != 8 * size_t{names.length[i]} - 8) {
      uint64_t key = tail >> (kWordBits - 8 - behindDot);
      if (folds_) key = LowerWord(key);
      if (TypeEntry* entry = front_.Find(key)) return entry;
    } else if (packsAll_ && names.other[i] == 0) {
      return &work_.uncounted;
    }
    TypeEntry* entry = FindAnyExtension(work_, batch_, i);
    front_ = TypeFront::Lookup(work_.tallies.front());
    return entry;
  }

 private:
  TypeWork& work_;
  RecordBatch& batch_;
  TypeFront::Lookup front_;
  bool folds_;
  bool packsAll_;    // an ASCII name whose extension cannot be packed does not count
  size_t mostBits_;  // after the '.', of the extensions that the front knows
};

// Finds the entry under which a record counts by its user or group ID.
template <uint8_t RecordLayout::*field>
class IdFinder {
 public:
  IdFinder(TypeWork& work, RecordBatch& batch)
      : work_(work), batch_(batch), offset_(batch.layout().*field), front_(work.tallies.front()) {}

  TypeEntry* operator()(size_t i) {
    const uint32_t id = LoadU32(batch_.fields(i).bytes() + offset_);
    if (TypeEntry* entry = front_.Find(id)) return entry;
    TypeEntry* entry = FindNewId(work_, id, batch_.PositionOf(i));
    front_ = TypeFront::Lookup(work_.tallies.front());
    return entry;
  }

 private:
  TypeWork& work_;
  const RecordBatch& batch_;
  size_t offset_;
  TypeFront::Lookup front_;
};

TypeWork::TypeWork(const ReportDefinition& report, ReportRun& run)
    : longest(size_t{report.extLength} + 1),
      foldCase(run.scan.isCifs()),
      packs(!foldCase || FoldCase().isPlain()),
      tallies(run.typeLimits) {}

// The order of the report.
struct ByTypeOrder : TallyForm {
  SortOrder order;
  explicit ByTypeOrder(const SortOrder& by) : order(by) {}
  bool Less(const char* a, const char* b) const {
    return SortKeyCompare(order, Counts(a), Text(a), Counts(b), Text(b)) < 0;
  }
  uint64_t Rank(const char* entry) const {
    const TypeCounts counts = Counts(entry);
    return ~(order.countFirst    ? counts.count
             : order.byAllocated ? counts.allocatedBytes
                                 : counts.totalBytes);
  }
};

size_t UnitsIn(std::string_view bytes) {
  const auto begins = [](char byte) { return (byte & 0xC0) != 0x80; };
  return static_cast<size_t>(std::ranges::count_if(bytes, begins));
}

// Finds nothing: totals by owner.
struct NoFinder {};

// The totals that Finder finds entries for.
template <class Finder>
class TypeTotals : public ReportAccumulator {
 public:
  TypeTotals(const ReportDefinition& report, ReportRun& run)
      : report_(report), run_(run), fileIncr_(run.settings.fileIncr), work_(report, run) {}

  bool wantsRecords() const override { return !std::is_same_v<Finder, NoFinder>; }
  void Add(Pass& pass) override {
    if constexpr (!std::is_same_v<Finder, NoFinder>) Classify(pass);
  }
  std::unique_ptr<ReportAccumulator> NewPart() override {
    return std::make_unique<TypeTotals>(report_, run_);
  }
  void Merge(ReportAccumulator& part) override {
    work_.tallies.Merge(static_cast<TypeTotals&>(part).work_.tallies);
  }
  void Write(ReportOutput& output) override;

 private:
  void Classify(Pass& pass);

  const ReportDefinition& report_;
  ReportRun& run_;
  uint32_t fileIncr_;
  TypeWork work_;
};

template <class Finder>
void TypeTotals<Finder>::Classify(Pass& pass) {
  RecordBatch& batch = pass.batch;
  ChoosePassing(report_.plan, pass);
  if (pass.chosen.count == 0) return;  // the names are not needed
  Finder find(work_, batch);
  const size_t sizeOffset = batch.layout().size;
  const uint32_t fileIncr = fileIncr_;  // a copy stays in a register while entries are written
  ForEachChosen(pass, [&](size_t i) {
    TypeEntry* entry = find(i);
    const uint64_t size = LoadU64(batch.fields(i).bytes() + sizeOffset);
    TypeCounts& counts = entry->counts;
    ++counts.count;
    counts.totalBytes += size;
    counts.allocatedBytes += AllocatedSize(size, fileIncr);
  });
}

template <class Finder>
void TypeTotals<Finder>::Write(ReportOutput& output) {
  TextSpool<ByTypeOrder> sorted(run_.typeLimits.spooled, "types",
                                ByTypeOrder({report_.typeSort == kSortByCount, fileIncr_ > 0}));
  size_t width = 0;
  work_.tallies.TakeAll([&](TypeCounts counts, std::string_view text) {
    const std::string_view name = ShownName(counts, text);
    width = std::max(width, UnitsIn(name));
    counts.keyLength = counts.textLength = static_cast<uint32_t>(name.size());
    sorted.Add(&counts, sizeof counts, name);
  });
  sorted.Finish();
  DisplayReportFile(output);
  if (report_.format != kFormatCsv) {
    ReportEntry(output, L"\n---- %ls ----\n\n", report_.title);
  }
  std::wstring name;
  while (const char* entry = sorted.Next()) {
    const TypeCounts counts = TallyForm::Counts(entry);
    TakeUnits(TallyForm::Text(entry), name);
    WriteTally(output, width,
               {.name = name,
                .count = counts.count,
                .totalBytes = counts.totalBytes,
                .allocatedBytes = counts.allocatedBytes});
  }
}

}  // namespace

std::unique_ptr<ReportAccumulator> MakeFileTypes(const ReportDefinition& report, ReportRun& run) {
  return std::make_unique<TypeTotals<ExtensionFinder>>(report, run);
}
std::unique_ptr<ReportAccumulator> MakeOwnerTotals(const ReportDefinition& report, ReportRun& run) {
  return std::make_unique<TypeTotals<NoFinder>>(report, run);
}
std::unique_ptr<ReportAccumulator> MakeUidTotals(const ReportDefinition& report, ReportRun& run) {
  return std::make_unique<TypeTotals<IdFinder<&RecordLayout::uid>>>(report, run);
}
std::unique_ptr<ReportAccumulator> MakeGidTotals(const ReportDefinition& report, ReportRun& run) {
  return std::make_unique<TypeTotals<IdFinder<&RecordLayout::gid>>>(report, run);
}

int SortKeyCompare(const SortOrder& order, const TypeCounts& a, std::string_view nameA,
                   const TypeCounts& b, std::string_view nameB) {
  const auto size = [&](const TypeCounts& counts) {
    return order.byAllocated ? counts.allocatedBytes : counts.totalBytes;
  };
  const std::strong_ordering byCount = b.count <=> a.count;
  const std::strong_ordering bySize = size(b) <=> size(a);
  const std::strong_ordering first = order.countFirst ? byCount : bySize;
  const std::strong_ordering second = order.countFirst ? bySize : byCount;
  if (std::is_neq(first)) return std::is_lt(first) ? -1 : 1;
  if (std::is_neq(second)) return std::is_lt(second) ? -1 : 1;
  return nameA.compare(nameB);
}

}  // namespace tabulon
