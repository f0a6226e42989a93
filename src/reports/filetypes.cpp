#include "reports/filetypes.h"

#include <algorithm>
#include <array>
#include <compare>
#include <deque>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

#include "base/bytes.h"
#include "base/localetext.h"
#include "base/unitcode.h"
#include "btree/btree.h"
#include "detail/domainlist.h"
#include "query/filterplan.h"
#include "reports/totals.h"

namespace tabulon {
namespace {

// Finds entries by 64-bit keys without a search in the report's tree: an open-addressing hash
// table. While it is small it is very sparse, so that nearly every key is at the first place that
// is looked at: one multiplication, one load, one branch that is nearly always predicted. Only a
// few neighbouring places are tried; a key that finds no room there is not held, and its records go
// to the tree.
class EntryFront {
  struct Slot {
    uint64_t key = 0;
    TypeEntry* entry = nullptr;  // null = free
  };

 public:
  EntryFront() { Resize(kFirstBits); }

  // Finds keys until the next Add. A loop keeps a copy of its own: the compiler then knows that
  // nothing it writes changes the table's address, and keeps it in a register.
  class Lookup {
   public:
    explicit Lookup(const EntryFront& front) : slots_(front.slots_.data()), shift_(front.shift_) {}
    // The entry of a key; null when it is not held.
    TypeEntry* Find(uint64_t key) const {
      const Slot* slot = slots_ + HomeOf(key, shift_);
      return slot->key == key ? slot->entry : FindFurther(slot, key);
    }

   private:
    [[gnu::noinline]] static TypeEntry* FindFurther(const Slot* slot, uint64_t key) {
      for (size_t i = 0; i < kProbes; ++i) {
        if (slot[i].key == key || slot[i].entry == nullptr) return slot[i].entry;
      }
      return nullptr;
    }
    const Slot* slots_;
    unsigned shift_;
  };

  // REQUIRES: the key is not held.
  void Add(uint64_t key, TypeEntry* entry) {
    const size_t room = slots_.size() <= kSmall ? kSparse : kFull;
    if (held_ * room >= slots_.size()) Grow();
    Slot* slot = slots_.data() + HomeOf(key, shift_);
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
  // Multiplicative hashing: the top bits of the product with 2^64 / golden ratio.
  static size_t HomeOf(uint64_t key, unsigned shift) { return (key * 0x9E3779B97F4A7C15) >> shift; }

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

// The tallies of one report, and the ways to find one by its key.
struct TypeWork {
  TypeWork(const ReportDefinition& report, const Scan& scan);

  size_t longest;    // extension that is counted, with its '.'
  bool byExtension;  // else by ID
  std::deque<TypeEntry> entries;
  TypeEntry uncounted;  // takes what records without a key would count
  TreeHandle tree;      // of the entries, by their keys
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

int CompareExtensions(const void* a, uint32_t, const void* b, uint32_t) {
  return CompareUnits(ExtensionOf(a), ExtensionOf(b));
}
int CompareFoldedExtensions(const void* a, uint32_t, const void* b, uint32_t) {
  return CompareFolded(ExtensionOf(a), ExtensionOf(b));
}

// Letter case does not count in extensions of a CIFS scan (`foldCase`).
TreeHandle PlantTypeTree(bool byExtension, bool foldCase) {
  const TreeCompare byText = foldCase ? CompareFoldedExtensions : CompareExtensions;
  return TreePlant({.fanOut = 512,
                    .treeMemory = -513,
                    .keysPerKeyNode = byExtension ? 512U : 64U,
                    .maxKeyBytes = sizeof(ExtensionKey),
                    .extraBytes = sizeof(TypeEntry*),
                    .keyMemory = 10'000'000,
                    .compare = byExtension ? byText : nullptr});
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

// The entry of an extension; when there is none yet, it is made for the record at `position`.
TypeEntry* ExtensionInTree(TypeWork& work, std::wstring_view extension, uint64_t position) {
  const std::wstring text(extension);
  ExtensionKey key = &text;
  if (TypeEntry* found = EntryInTree(work, &key, sizeof key)) return found;
  TypeEntry* entry = &work.entries.emplace_back();
  entry->first = position;
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

// A short ASCII extension as the word by which the front knows it; 0 for any other.
uint64_t PackedExtension(const TypeWork& work, std::wstring_view extension) {
  if (!work.packs || extension.size() > kWordBytes) return 0;
  uint64_t key = 0;
  for (size_t i = 0; i < extension.size(); ++i) {
    if (!IsAsciiUnit(extension[i])) return 0;
    key |= static_cast<uint64_t>(extension[i]) << (8 * i);
  }
  return work.foldCase ? LowerWord(key) : key;
}

// The entry under which a record counts, made for its first record; `uncounted` when the record
// does not count. For any record, whether or not the front can know its key.
[[gnu::noinline]] TypeEntry* FindAnyExtension(TypeWork& work, RecordBatch& batch, size_t i) {
  const RecordText& name = batch.names().other[i] != 0 ? batch.OtherName(i) : batch.At(i).name;
  const std::ptrdiff_t dot = name.LastDot();
  if (dot <= 0) return &work.uncounted;
  const std::wstring_view extension = name.Wide().substr(static_cast<size_t>(dot));
  if (extension.size() < 2 || extension.size() > work.longest) return &work.uncounted;
  const uint64_t key = PackedExtension(work, extension);
  const uint64_t position = batch.PositionOf(i);
  if (key == 0) return ExtensionInTree(work, extension, position);
  TypeEntry* entry = EntryFront::Lookup(work.front).Find(key);
  if (entry != nullptr) return entry;
  entry = ExtensionInTree(work, extension, position);
  work.front.Add(key, entry);
  return entry;
}

[[gnu::noinline]] TypeEntry* FindNewId(TypeWork& work, uint32_t id) {
  TypeEntry* entry = IdInTree(work, id);
  work.front.Add(id, entry);
  return entry;
}

// Finds the entry under which a record counts by its extension.
class ExtensionFinder {
 public:
  ExtensionFinder(TypeWork& work, RecordBatch& batch)
      : work_(work), batch_(batch), front_(work.front), folds_(work.foldCase) {
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
    front_ = EntryFront::Lookup(work_.front);
    return entry;
  }

 private:
  TypeWork& work_;
  RecordBatch& batch_;
  EntryFront::Lookup front_;
  bool folds_;
  bool packsAll_;    // an ASCII name whose extension cannot be packed does not count
  size_t mostBits_;  // after the '.', of the extensions that the front knows
};

// Finds the entry under which a record counts by its user or group ID.
template <uint8_t RecordLayout::*field>
class IdFinder {
 public:
  IdFinder(TypeWork& work, RecordBatch& batch)
      : work_(work), batch_(batch), offset_(batch.layout().*field), front_(work.front) {}

  TypeEntry* operator()(size_t i) {
    const uint32_t id = LoadU32(batch_.fields(i).bytes() + offset_);
    if (TypeEntry* entry = front_.Find(id)) return entry;
    TypeEntry* entry = FindNewId(work_, id);
    front_ = EntryFront::Lookup(work_.front);
    return entry;
  }

 private:
  TypeWork& work_;
  const RecordBatch& batch_;
  size_t offset_;
  EntryFront::Lookup front_;
};

TypeWork::TypeWork(const ReportDefinition& report, const Scan& scan)
    : longest(size_t{report.extLength} + 1),
      byExtension(report.type() == kReportFiletypes),
      tree(PlantTypeTree(byExtension, scan.isCifs())),
      foldCase(scan.isCifs()),
      packs(!foldCase || FoldsAsciiPlainly()) {}

struct SortKey {
  const SortOrder* order;
  TypeEntry* entry;
};
static_assert(sizeof(SortKey) == 16);

// The tree of the entries in printing order; `width` becomes the length of the longest name.
TreeHandle SortEntries(const TypeWork& work, const SortOrder& order, size_t& width) {
  TreeHandle sorted = TreePlant({.fanOut = 512,
                                 .treeMemory = -513,
                                 .keysPerKeyNode = 512,
                                 .maxKeyBytes = sizeof(SortKey),
                                 .keyMemory = 10'000'000,
                                 .compare = SortKeyCompare});
  Tree* const tree = work.tree.get();
  for (KeyRecord record = TreeLowKey(tree); record; record = TreeNextKey(tree)) {
    const SortKey key{&order, LoadLittle<TypeEntry*>(record.extra())};
    width = std::max(width, key.entry->name.size());
    TreeAddKey(sorted.get(), &key, sizeof key, nullptr);
  }
  return sorted;
}

// Adds the tallies of a part. Of two spellings the one of the earlier record stays.
void MergeEntries(TypeWork& work, const TypeWork& part) {
  Tree* const tree = part.tree.get();
  for (KeyRecord record = TreeLowKey(tree); record; record = TreeNextKey(tree)) {
    const TypeEntry& from = *LoadLittle<TypeEntry*>(record.extra());
    TypeEntry* const to = work.byExtension ? ExtensionInTree(work, from.name, from.first)
                                           : IdInTree(work, LoadLittle<uint32_t>(record.key()));
    if (from.first < to->first) {
      to->first = from.first;
      to->name = from.name;
    }
    to->count += from.count;
    to->totalBytes += from.totalBytes;
    to->allocatedBytes += from.allocatedBytes;
  }
}

// Finds nothing: totals by owner.
struct NoFinder {};

// The totals that Finder finds entries for.
template <class Finder>
class TypeTotals : public ReportAccumulator {
 public:
  TypeTotals(const ReportDefinition& report, const ReportRun& run)
      : report_(report), run_(run), fileIncr_(run.settings.fileIncr), work_(report, run.scan) {}

  bool wantsRecords() const override { return !std::is_same_v<Finder, NoFinder>; }
  void Add(Pass& pass) override {
    if constexpr (!std::is_same_v<Finder, NoFinder>) Classify(pass);
  }
  std::unique_ptr<ReportAccumulator> NewPart() override {
    return std::make_unique<TypeTotals>(report_, run_);
  }
  void Merge(ReportAccumulator& part) override {
    MergeEntries(work_, static_cast<TypeTotals&>(part).work_);
  }
  void Write(ReportOutput& output) override;

 private:
  void Classify(Pass& pass);

  const ReportDefinition& report_;
  const ReportRun& run_;
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
    ++entry->count;
    entry->totalBytes += size;
    entry->allocatedBytes += AllocatedSize(size, fileIncr);
  });
}

template <class Finder>
void TypeTotals<Finder>::Write(ReportOutput& output) {
  const SortOrder order{report_.typeSort == kSortByCount, fileIncr_ > 0};
  size_t width = 0;
  const TreeHandle sorted = SortEntries(work_, order, width);
  DisplayReportFile(output);
  if (report_.format != kFormatCsv) {
    ReportEntry(output, L"\n---- %ls ----\n\n", report_.title);
  }
  for (KeyRecord record = TreeLowKey(sorted.get()); record; record = TreeNextKey(sorted.get())) {
    const TypeEntry& entry = *LoadLittle<SortKey>(record.key()).entry;
    WriteTally(output, width,
               {.name = entry.name,
                .count = entry.count,
                .totalBytes = entry.totalBytes,
                .allocatedBytes = entry.allocatedBytes});
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

int SortKeyCompare(const void* a, uint32_t, const void* b, uint32_t) {
  const auto keyA = LoadLittle<SortKey>(a);
  const auto keyB = LoadLittle<SortKey>(b);
  const TypeEntry& entryA = *keyA.entry;
  const TypeEntry& entryB = *keyB.entry;
  const SortOrder& order = *keyA.order;
  const auto size = [&](const TypeEntry& e) {
    return order.byAllocated ? e.allocatedBytes : e.totalBytes;
  };
  const std::strong_ordering byCount = entryB.count <=> entryA.count;
  const std::strong_ordering bySize = size(entryB) <=> size(entryA);
  const std::strong_ordering first = order.countFirst ? byCount : bySize;
  const std::strong_ordering second = order.countFirst ? bySize : byCount;
  if (std::is_neq(first)) return std::is_lt(first) ? -1 : 1;
  if (std::is_neq(second)) return std::is_lt(second) ? -1 : 1;
  // As far as they are printed: up to a zero unit.
  return CompareUnits(entryA.name.c_str(), entryB.name.c_str());
}

}  // namespace tabulon
