#include "detail/securityobjects.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <memory_resource>
#include <vector>

#include "base/loganderr.h"
#include "base/textstream.h"
#include "detail/domainlist.h"
#include "detail/sectionreader.h"

namespace tabulon {

Tree* sidTree = nullptr;
Tree* sidDisplayTree = nullptr;
Tree* sidLookupTree = nullptr;
Tree* sdTree = nullptr;
Tree* idTree = nullptr;
uint32_t sdCount = 0;
uint32_t domainCount = 0;
uint32_t sidCount = 0;
uint32_t idCount = 0;
TempFile sdTempFile;
const SidObject dummySidKey{.sid = {}, .domain = {}, .name = L"<unknown>"};

namespace {

constexpr uint32_t kFanOut = 256;
constexpr int32_t kResidentTreeNodes = -257;  // one more than the fan-out; negative counts nodes

// Bytes of a key that refers to an object.
constexpr uint32_t kReferenceSize = sizeof(void*);

// What the trees refer to and who frees them. Never destroyed: a fatal exit may come from inside a
// tree.
struct Tables {
  Pool sids;
  Pool ids;
  TreeHandle sid, sidDisplay, sidLookup, sd, id;
};

Tables& Owned() {
  static auto* const tables = new Tables;
  return *tables;
}

template <class Object>
const Object& FromKey(const void* key) {
  const Object* object;
  std::memcpy(&object, key, kReferenceSize);
  return *object;
}

// Adds a key that refers to `object`, unless the tree has an equal one.
template <class Object>
void AddReference(Tree* tree, const Object* object) {
  TreeAddKey(tree, &object, kReferenceSize, nullptr);
}

int CompareDomains(const SidObject& a, const SidObject& b) {
  if (a.domainRank == 0 || b.domainRank == 0) return CompareFolded(a.domain, b.domain);
  return a.domainRank == b.domainRank ? 0 : a.domainRank < b.domainRank ? -1 : 1;
}

TreeHandle PlantSidTree(TreeCompare compare) {
  return TreePlant({.fanOut = kFanOut,
                    .treeMemory = kResidentTreeNodes,
                    .keysPerKeyNode = 64,
                    .maxKeyBytes = kReferenceSize,
                    .keyMemory = 500'000,
                    .compare = compare});
}

// Where a descriptor stands in sdTempFile: what its index entry carries.
struct Place {
  uint32_t length = 0;
  uint32_t offset = 0;
};

// `room` is the number of bytes that the file holds from the section on. No real section needs more
// memory for its index than this; one that is full of empty descriptors shall not get it.
TreeHandle PlantDescriptorTree(uint64_t room) {
  return TreePlant(
      {.fanOut = kFanOut,
       .treeMemory = kResidentTreeNodes,
       .keysPerKeyNode = 128,
       .maxKeyBytes = sizeof(uint32_t),
       .extraBytes = sizeof(Place),
       .keyMemory = static_cast<int32_t>(std::min<uint64_t>(5'000'000, 100'000 + room))});
}

// Calls use(i) for each i below `count` in the order of the bytes of i, lowest byte first; `from`
// is 0 and `step` 1. Plain keys stand in that order in a tree: added so, they fill it from left to
// right instead of each landing on a page of its own.
template <class Use>
void InByteOrder(uint64_t from, uint64_t step, uint64_t count, const Use& use) {
  constexpr uint64_t kLastStep = 1 << 24;
  const uint64_t end = std::min(count, from + 256 * step);
  for (uint64_t i = from; i < end; i += step) {
    if (step == kLastStep) {
      use(static_cast<uint32_t>(i));
    } else {
      InByteOrder(i, 256 * step, count, use);
    }
  }
}

// Loads the parts of a security section in their order. Each step is false when the file ends.
class SectionLoader {
 public:
  SectionLoader(int fd, const LogHeader& header)
      : reader_(fd, header.securitySection), pool_(Owned().sids) {}

  uint64_t room() const { return reader_.left(); }
  bool LoadDescriptors();
  bool LoadDomains() { return domains_.Load(reader_, pool_, domainCount); }
  bool LoadSids();

 private:
  bool LoadSid();

  SectionReader reader_;
  Pool& pool_;
  DomainList domains_;
};

bool SectionLoader::LoadDescriptors() {
  if (!reader_.ReadU32(sdCount)) return false;
  std::vector<Place> places;
  places.reserve(static_cast<size_t>(std::min<uint64_t>(sdCount, room() / sizeof(uint32_t))));
  TextStream copy;
  copy.Attach(sdTempFile.fd(), false, TextEncoding::kLocale, sdTempFile.path());
  Place place;
  while (places.size() < sdCount) {
    if (!reader_.ReadU32(place.length)) break;
    const auto write = [&](std::string_view piece) { copy.WriteBytes(piece); };
    if (!reader_.Consume(place.length, write)) break;
    places.push_back(place);
    place.offset += place.length;  // wraps at 32 bits
  }
  if (copy.Close() != 0) PosixErrExit(copy.error(), L"Error writing '%s'\n", copy.name());
  InByteOrder(0, 1, places.size(),
              [&](uint32_t i) { TreeAddKey(sdTree, &i, sizeof i, &places[i]); });
  return places.size() == sdCount;
}

bool SectionLoader::LoadSids() {
  if (!reader_.ReadU32(sidCount)) return false;
  for (uint32_t i = 0; i < sidCount; ++i) {
    if (!LoadSid()) return false;
  }
  return true;
}

bool SectionLoader::LoadSid() {
  std::array<unsigned char, SidEntry::kSize> bytes;
  if (!reader_.Read(bytes)) return false;
  const SidEntry entry = ParseSidEntry(bytes);
  if (uint64_t{entry.sidLength} + entry.nameLength > reader_.left()) return false;

  auto* sid = static_cast<char*>(pool_.allocate(entry.sidLength, 1));
  std::wstring_view name;
  if (!reader_.Read(sid, entry.sidLength)) return false;
  if (!reader_.ReadText(entry.nameLength, pool_, name)) return false;
  const Domain domain = domains_.At(entry.domainIndex);
  const auto* object = std::pmr::polymorphic_allocator<>(&pool_).new_object<SidObject>(
      SidObject{.sid = {sid, entry.sidLength},
                .type = entry.type,
                .firstCount = entry.firstCount,
                .secondCount = entry.secondCount,
                .domainRank = domain.rank,
                .domain = domain.view(),
                .name = name});
  for (Tree* tree : {sidTree, sidDisplayTree, sidLookupTree}) AddReference(tree, object);
  return true;
}

bool LoadId(SectionReader& reader, Pool& pool) {
  std::array<unsigned char, IdEntry::kSize> bytes;
  if (!reader.Read(bytes)) return false;
  const IdEntry entry = ParseIdEntry(bytes);
  if (entry.nameLength > reader.left()) return false;
  auto* name = static_cast<char*>(pool.allocate(entry.nameLength, 1));
  if (!reader.Read(name, entry.nameLength)) return false;
  AddReference(idTree, std::pmr::polymorphic_allocator<>(&pool).new_object<IdObject>(
                           IdObject{entry.id, entry.kind, entry.third, {name, entry.nameLength}}));
  return true;
}

template <class Value>
int Order(Value a, Value b) {
  return a == b ? 0 : a < b ? -1 : 1;
}

}  // namespace

int SidKeyCmp(const void* a, uint32_t, const void* b, uint32_t) {
  return FromKey<SidObject>(a).sid.compare(FromKey<SidObject>(b).sid);
}

int SidDisplayCmp(const void* a, uint32_t, const void* b, uint32_t) {
  const auto& x = FromKey<SidObject>(a);
  const auto& y = FromKey<SidObject>(b);
  if (const int order = Order(x.type, y.type)) return order;
  if (const int order = CompareFolded(x.name, y.name)) return order;
  return CompareDomains(x, y);
}

int SidLookupCmp(const void* a, uint32_t, const void* b, uint32_t) {
  const auto& x = FromKey<SidObject>(a);
  const auto& y = FromKey<SidObject>(b);
  if (const int order = CompareDomains(x, y)) return order;
  return CompareFolded(x.name, y.name);
}

int IdKeyCmp(const void* a, uint32_t, const void* b, uint32_t) {
  const auto& x = FromKey<IdObject>(a);
  const auto& y = FromKey<IdObject>(b);
  if (const int order = Order(x.kind, y.kind)) return order;
  return Order(x.id, y.id);
}

void LoadSecurityObjects(int fd, const LogHeader& header) {
  FreeSecurityObjects();
  Tables& tables = Owned();
  SectionLoader loader(fd, header);
  sdTree = (tables.sd = PlantDescriptorTree(loader.room())).get();
  sidTree = (tables.sid = PlantSidTree(SidKeyCmp)).get();
  sidDisplayTree = (tables.sidDisplay = PlantSidTree(SidDisplayCmp)).get();
  sidLookupTree = (tables.sidLookup = PlantSidTree(SidLookupCmp)).get();
  if (header.securitySection == 0) return;
  if (loader.LoadDescriptors() && loader.LoadDomains()) loader.LoadSids();
}

void LoadIdObjects(int fd, const LogHeader& header) {
  Tables& tables = Owned();
  tables.id = nullptr;
  tables.ids.release();
  idCount = 0;
  tables.id = TreePlant({.fanOut = kFanOut,
                         .treeMemory = kResidentTreeNodes,
                         .keysPerKeyNode = 64,
                         .maxKeyBytes = kReferenceSize,
                         .keyMemory = 500'000,
                         .compare = IdKeyCmp});
  idTree = tables.id.get();
  if (header.idSection == 0) return;
  SectionReader reader(fd, header.idSection);
  if (!reader.ReadU32(idCount)) return;
  for (uint32_t i = 0; i < idCount; ++i) {
    if (!LoadId(reader, tables.ids)) return;
  }
}

void FreeSecurityObjects() {
  Tables& tables = Owned();
  for (TreeHandle* tree : {&tables.sd, &tables.sid, &tables.sidDisplay, &tables.sidLookup}) {
    tree->reset();
  }
  sdTree = sidTree = sidDisplayTree = sidLookupTree = nullptr;
  sdCount = domainCount = sidCount = 0;
  tables.sids.release();
}

const SidObject* FindSid(std::wstring_view domain, std::wstring_view account) {
  if (sidLookupTree == nullptr) return nullptr;
  const SidObject probe{.sid = {}, .domain = domain, .name = account};
  const SidObject* key = &probe;
  const KeyRecord found = TreeSearch(sidLookupTree, &key, kReferenceSize);
  return found ? &FromKey<SidObject>(found.key()) : nullptr;
}

}  // namespace tabulon
