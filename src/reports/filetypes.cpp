#include "reports/filetypes.h"

#include <algorithm>
#include <array>
#include <compare>
#include <cstring>
#include <cwchar>
#include <deque>
#include <string_view>
#include <utility>
#include <vector>

#include "base/endian.h"
#include "base/foldcase.h"
#include "btree/btree.h"
#include "detail/detailfile.h"
#include "detail/domainlist.h"
#include "detail/scandetail.h"
#include "reports/reportwriter.h"
#include "reports/totals.h"

namespace tabulon {
namespace {

// Finds entries by 64-bit keys ahead of the report's tree: an open-addressing hash table at most
// half full. A key is looked for in a few neighbouring places only; one that finds no room there is
// not held, and its records take the way through the tree.
class EntryFront {
 public:
  EntryFront() { Resize(kFirstBits); }

  TypeEntry* Find(uint64_t key) const {
    const Slot* slot = slots_.data() + Home(key);
    for (size_t i = 0; i < kProbes && slot[i].entry != nullptr; ++i) {
      if (slot[i].key == key) return slot[i].entry;
    }
    return nullptr;
  }

  // REQUIRES: the key is not held.
  void Add(uint64_t key, TypeEntry* entry) {
    if (held_ * 2 >= slots_.size()) Grow();
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

struct TypeWork;
// The entry under which a record counts, made when it is the first; null when it does not count.
using EntryFinder = TypeEntry* (*)(const Report&, TypeWork&, const ScanRecord&);

struct TypeWork : ReportWork {
  explicit TypeWork(uint32_t type);

  EntryFinder find = nullptr;
  std::deque<TypeEntry> entries;
  TreeHandle tree;  // of the entries, by their keys
  EntryFront front;
  bool plainFold;  // the locale folds ASCII letters to ASCII letters
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

constexpr uint64_t kEveryByte = 0x0101010101010101;

// The last `length` (1 to 8) bytes of a text as one number.
uint64_t PackTail(std::string_view text, size_t length) {
  if (text.size() >= sizeof(uint64_t)) {
    return LoadU64(text.data() + text.size() - sizeof(uint64_t)) >> (64 - 8 * length);
  }
  uint64_t packed = 0;
  std::memcpy(&packed, text.data() + text.size() - length, length);
  return packed;
}

// Lower-cases eight ASCII characters together: bit 7 of each sum tells whether the byte reaches the
// letter, and a quarter of it is the difference between the cases.
uint64_t LowerPacked(uint64_t packed) {
  const uint64_t fromA = packed + kEveryByte * (0x80 - 'A');
  const uint64_t behindZ = packed + kEveryByte * (0x80 - ('Z' + 1));
  return packed | (fromA & ~behindZ & kEveryByte * 0x80) >> 2;
}

// Whether the locale folds ASCII as LowerPacked does.
bool FoldsAsciiPlainly() {
  for (unsigned char c = 0; c < 0x80; ++c) {
    if (FoldCase()(static_cast<wchar_t>(c)) != static_cast<wchar_t>(LowerPacked(c))) return false;
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

TypeEntry* FindExtension(const Report& report, TypeWork& work, const ScanRecord& record) {
  const RecordText& name = record.name;
  const std::ptrdiff_t dot = name.LastDot();
  if (dot <= 0) return nullptr;
  const auto start = static_cast<size_t>(dot);
  const bool ascii = name.IsAscii();
  const bool foldCase = rootType == kRootCifs;
  const size_t length = (ascii ? name.Ascii().size() : name.Wide().size()) - start;
  if (length < 2 || length > size_t{report.extLength} + 1) return nullptr;

  if (!ascii || length > sizeof(uint64_t) || (foldCase && !work.plainFold)) {
    return ExtensionInTree(work, name.Wide().substr(start));
  }
  const uint64_t packed = PackTail(name.Ascii(), length);
  const uint64_t key = foldCase ? LowerPacked(packed) : packed;
  TypeEntry* entry = work.front.Find(key);
  if (entry == nullptr) {
    entry = ExtensionInTree(work, name.Wide().substr(start));
    work.front.Add(key, entry);
  }
  return entry;
}

template <uint32_t (RecordFields::*field)() const>
TypeEntry* FindId(const Report&, TypeWork& work, const ScanRecord& record) {
  const uint32_t id = (record.fields().*field)();
  TypeEntry* entry = work.front.Find(id);
  if (entry == nullptr) {
    entry = IdInTree(work, id);
    work.front.Add(id, entry);
  }
  return entry;
}

// How each type groups. Totals by owner count nothing.
constexpr std::array<std::pair<uint32_t, EntryFinder>, 3> kGroupings = {{
    {kReportFiletypes, FindExtension},
    {kReportUidTotals, FindId<&RecordFields::uid>},
    {kReportGidTotals, FindId<&RecordFields::gid>},
}};

TypeWork::TypeWork(uint32_t type)
    : tree(PlantTypeTree(type == kReportFiletypes)), plainFold(FoldsAsciiPlainly()) {
  for (const auto& [groupingType, finder] : kGroupings) {
    if (groupingType == type) find = finder;
  }
}

TypeWork& WorkOf(Report& report) {
  if (!report.work) report.work = std::make_unique<TypeWork>(report.type);
  return static_cast<TypeWork&>(*report.work);
}

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
  Tree* const tree = WorkOf(report).tree.get();
  for (KeyRecord record = TreeLowKey(tree); record; record = TreeNextKey(tree)) {
    const SortKey key{&report, LoadLittle<TypeEntry*>(record.extra())};
    width = std::max(width, key.entry->name.size());
    TreeAddKey(sorted.get(), &key, sizeof key, nullptr);
  }
  return sorted;
}

}  // namespace

void ClassifyFile(Report& report, const ScanRecord& record) {
  if (!report.plan.Passes(record)) return;
  TypeWork& work = WorkOf(report);
  TypeEntry* entry = work.find != nullptr ? work.find(report, work, record) : nullptr;
  if (entry == nullptr) return;
  ++entry->count;
  entry->totalBytes += record.fields().size();
  entry->allocatedBytes += record.allocatedSize;
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
