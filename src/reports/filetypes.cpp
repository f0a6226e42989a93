#include "reports/filetypes.h"

#include <algorithm>
#include <array>
#include <compare>
#include <cwchar>
#include <deque>
#include <string_view>
#include <utility>
#include <vector>

#include "base/byteword.h"
#include "base/foldcase.h"
#include "btree/btree.h"
#include "detail/detailfile.h"
#include "detail/domainlist.h"
#include "detail/scandetail.h"
#include "query/batchfilter.h"
#include "reports/reportwriter.h"
#include "reports/totals.h"

namespace tabulon {
namespace {

// Finds entries by 64-bit keys ahead of the report's tree: an open-addressing hash table, very
// sparse while it is small, so that nearly every key stands where it is looked for first. A key is
// looked for in a few neighbouring places only; one that finds no room there is not held, and its
// records take the way through the tree.
class EntryFront {
 public:
  EntryFront() { Resize(kFirstBits); }

  TypeEntry* Find(uint64_t key) const {
    const Slot* slot = slots_.data() + Home(key);
    for (size_t i = 0; i < kProbes; ++i) {
      if (slot[i].key == key || slot[i].entry == nullptr) return slot[i].entry;
    }
    return nullptr;
  }

  // REQUIRES: the key is not held.
  void Add(uint64_t key, TypeEntry* entry) {
    const size_t room = slots_.size() <= kSmall ? kSparse : kFull;
    if (held_ * room >= slots_.size()) Grow();
    Slot* slot = slots_.data() + Home(key);
    for (size_t i = 0; i < kProbes; ++i) {
      if (slot[i].entry != nullptr) continue;
      slot[i] = {key, entry};
      ++held_;
      return;
    }
  }

 private:
  static constexpr unsigned kFirstBits = 5;  // thousands of reports may ask for little
  static constexpr size_t kProbes = 8;
  static constexpr size_t kSmall = 64 * 1024;  // slots
  static constexpr size_t kSparse = 16;        // slots for each key in a small table
  static constexpr size_t kFull = 2;           // and in a large one
  struct Slot {
    uint64_t key = 0;
    TypeEntry* entry = nullptr;  // null = free
  };

  // Multiplicative hashing: the top bits of the product with 2^64 / golden ratio.
  size_t Home(uint64_t key) const { return (key * 0x9E3779B97F4A7C15) >> shift_; }

  void Resize(unsigned bits) {
    shift_ = 64 - bits;
    slots_.assign((size_t{1} << bits) + kProbes, Slot{});  // the last home has neighbours, too
    held_ = 0;
  }
  void Grow() {
    const std::vector<Slot> old = std::move(slots_);
    Resize(64 - shift_ + 1);
    for (const Slot& slot : old) {
      if (slot.entry != nullptr) Add(slot.key, slot.entry);
    }
  }

  std::vector<Slot> slots_;
  unsigned shift_ = 0;
  size_t held_ = 0;
};

struct TypeWork : ReportWork {
  explicit TypeWork(const Report& report);

  size_t longest;  // extension that is counted, with its '.'
  std::deque<TypeEntry> entries;
  TreeHandle tree;  // of the entries, by their keys
  EntryFront front;
  bool foldCase;  // extensions that differ in letter case only count as one
  bool packs;     // short ASCII extensions are known by their bytes: LowerWord folds as the tree
                  // does
};

// A key of the tree is an ID, or the reference to an extension: keys are small, however long
// extensions are.
using ExtensionKey = const std::wstring*;

const std::wstring& ExtensionOf(const void* key) {
  return *LoadLittle<ExtensionKey>(key);
}

// The order of extensions, without regard to letter case on a CIFS scan.
int CompareExtensions(const void* a, uint32_t, const void* b, uint32_t) {
  const std::wstring& x = ExtensionOf(a);
  const std::wstring& y = ExtensionOf(b);
  return rootType == kRootCifs ? CompareFolded(x, y) : x.compare(y);
}

TreeHandle PlantTypeTree(bool byExtension) {
  return TreePlant({.fanOut = 512,
                    .treeMemory = -513,
                    .keysPerKeyNode = byExtension ? 512U : 64U,
                    .maxKeyBytes = sizeof(ExtensionKey),
                    .extraBytes = sizeof(TypeEntry*),
                    .keyMemory = 10'000'000,
                    .compare = byExtension ? CompareExtensions : nullptr});
}

// The entry with this key; null when there is none.
TypeEntry* EntryInTree(TypeWork& work, const void* key, uint32_t length) {
  const KeyRecord found = TreeSearch(work.tree.get(), key, length);
  return found ? LoadLittle<TypeEntry*>(found.extra()) : nullptr;
}

// Whether the locale folds ASCII as LowerWord does.
bool FoldsAsciiPlainly() {
  for (unsigned char c = 0; c < 0x80; ++c) {
    if (FoldCase()(static_cast<wchar_t>(c)) != static_cast<wchar_t>(LowerWord(c))) return false;
  }
  return true;
}

TypeEntry* ExtensionInTree(TypeWork& work, std::wstring_view extension) {
  const std::wstring text(extension);
  ExtensionKey key = &text;
  if (TypeEntry* found = EntryInTree(work, &key, sizeof key)) return found;
  TypeEntry* entry = &work.entries.emplace_back();
  entry->name = text;
  key = &entry->name;
  TreeAddKey(work.tree.get(), &key, sizeof key, &entry);
  return entry;
}

TypeEntry* IdInTree(TypeWork& work, uint32_t id) {
  if (TypeEntry* found = EntryInTree(work, &id, sizeof id)) return found;
  TypeEntry* entry = &work.entries.emplace_back();
  entry->name = std::to_wstring(static_cast<int32_t>(id));
  TreeAddKey(work.tree.get(), &id, sizeof id, &entry);
  return entry;
}

// The entry of an extension that is long, not ASCII or must be folded as the locale does.
TypeEntry* FindAnyExtension(TypeWork& work, const RecordText& name) {
  const std::ptrdiff_t dot = name.LastDot();
  if (dot <= 0) return nullptr;
  const std::wstring_view extension = name.Wide().substr(static_cast<size_t>(dot));
  if (extension.size() < 2 || extension.size() > work.longest) return nullptr;
  return ExtensionInTree(work, extension);
}

// The entry under which a record counts, made when it is the first; null when it does not count.
TypeEntry* FindExtension(TypeWork& work, RecordBatch& batch, size_t i) {
  const RecordBatch::Names& names = batch.names();
  const uint64_t tail = names.tail[i];
  const uint64_t dots = MarksOf('.', tail);
  if (dots == 0 || !work.packs) {
    const bool tooLong = names.other[i] == 0 && work.longest <= kWordBytes && work.packs;
    return tooLong ? nullptr : FindAnyExtension(work, batch.At(i).name);
  }
  const size_t length = static_cast<size_t>(__builtin_clzll(dots)) / 8 + 1;
  if (length < 2 || length > work.longest || length == names.text[i].size()) return nullptr;
  const uint64_t packed = tail >> (8 * (kWordBytes - length));
  const uint64_t key = work.foldCase ? LowerWord(packed) : packed;
  TypeEntry* entry = work.front.Find(key);
  if (entry == nullptr) {
    entry = FindAnyExtension(work, batch.At(i).name);
    work.front.Add(key, entry);
  }
  return entry;
}

template <uint32_t (RecordFields::*field)() const>
TypeEntry* FindId(TypeWork& work, RecordBatch& batch, size_t i) {
  const uint32_t id = (batch.fields(i).*field)();
  TypeEntry* entry = work.front.Find(id);
  if (entry == nullptr) {
    entry = IdInTree(work, id);
    work.front.Add(id, entry);
  }
  return entry;
}

template <TypeEntry* (*find)(TypeWork&, RecordBatch&, size_t)>
void Classify(Report& report, RecordBatch& batch) {
  TypeWork& work = static_cast<TypeWork&>(*report.work);
  static ChosenRecords chosen;
  ChoosePassing(report.plan, batch, chosen);
  for (const uint16_t i : chosen) {
    TypeEntry* const entry = find(work, batch, i);
    if (entry == nullptr) continue;
    const uint64_t size = batch.fields(i).size();
    ++entry->count;
    entry->totalBytes += size;
    if (fileIncr > 0) entry->allocatedBytes += AllocatedSize(size);
  }
}

void ClassifyNothing(Report&, RecordBatch&) {}

// How each type groups. Totals by owner count nothing.
constexpr std::array<std::pair<uint32_t, Classifier>, 4> kGroupings = {{
    {kReportFiletypes, Classify<FindExtension>},
    {kReportOwnerTotals, ClassifyNothing},
    {kReportUidTotals, Classify<FindId<&RecordFields::uid>>},
    {kReportGidTotals, Classify<FindId<&RecordFields::gid>>},
}};

TypeWork::TypeWork(const Report& report)
    : longest(size_t{report.extLength} + 1),
      tree(PlantTypeTree(report.type == kReportFiletypes)),
      foldCase(rootType == kRootCifs),
      packs(!foldCase || FoldsAsciiPlainly()) {}

struct SortKey {
  Report* report;
  TypeEntry* entry;
};
static_assert(sizeof(SortKey) == 16);

// The tree of the report's entries in printing order; `width` becomes the length of the longest
// name.
TreeHandle SortEntries(Report& report, size_t& width) {
  TreeHandle sorted = TreePlant({.fanOut = 512,
                                 .treeMemory = -513,
                                 .keysPerKeyNode = 512,
                                 .maxKeyBytes = sizeof(SortKey),
                                 .keyMemory = 10'000'000,
                                 .compare = SortKeyCompare});
  Tree* const tree = static_cast<TypeWork&>(*report.work).tree.get();
  for (KeyRecord record = TreeLowKey(tree); record; record = TreeNextKey(tree)) {
    const SortKey key{&report, LoadLittle<TypeEntry*>(record.extra())};
    width = std::max(width, key.entry->name.size());
    TreeAddKey(sorted.get(), &key, sizeof key, nullptr);
  }
  return sorted;
}

}  // namespace

Classifier NewClassifier(Report& report) {
  report.work = std::make_unique<TypeWork>(report);
  const auto row =
      std::ranges::find(kGroupings, report.type, &decltype(kGroupings)::value_type::first);
  return row != kGroupings.end() ? row->second : ClassifyNothing;
}

void FiletypeReport(Report& report) {
  size_t width = 0;
  const TreeHandle sorted = SortEntries(report, width);
  DisplayReportFile(report);
  if (report.format != kFormatCsv && !report.title.empty()) {
    ReportEntry(report, L"\n---- %ls ----\n\n", report.title);
  }
  for (KeyRecord record = TreeLowKey(sorted.get()); record; record = TreeNextKey(sorted.get())) {
    const TypeEntry& entry = *LoadLittle<SortKey>(record.key()).entry;
    WriteTally(report, width,
               {.name = entry.name,
                .count = entry.count,
                .totalBytes = entry.totalBytes,
                .allocatedBytes = entry.allocatedBytes});
  }
  report.work.reset();
}

int SortKeyCompare(const void* a, uint32_t, const void* b, uint32_t) {
  const auto keyA = LoadLittle<SortKey>(a);
  const auto keyB = LoadLittle<SortKey>(b);
  const TypeEntry& entryA = *keyA.entry;
  const TypeEntry& entryB = *keyB.entry;
  const auto size = [](const TypeEntry& e) {
    return fileIncr > 0 ? e.allocatedBytes : e.totalBytes;
  };
  const std::strong_ordering byCount = entryB.count <=> entryA.count;
  const std::strong_ordering bySize = size(entryB) <=> size(entryA);
  const bool countFirst = keyA.report->typeSort == kSortByCount;
  const std::strong_ordering first = countFirst ? byCount : bySize;
  const std::strong_ordering second = countFirst ? bySize : byCount;
  if (std::is_neq(first)) return std::is_lt(first) ? -1 : 1;
  if (std::is_neq(second)) return std::is_lt(second) ? -1 : 1;
  return std::wcscmp(entryA.name.c_str(), entryB.name.c_str());
}

}  // namespace tabulon
