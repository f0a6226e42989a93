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

const SidObject dummySidKey{.sid = {}, .domain = {}, .name = L"<unknown>"};

namespace {

constexpr uint32_t kFanOut = 256;
constexpr int32_t kResidentTreeNodes = -257;  // one more than the fan-out; negative counts nodes

// Bytes of a key that refers to an object.
constexpr uint32_t kReferenceSize = sizeof(void*);

template <class Object>
const Object& FromKey(const void* key) {
  const Object* object;
  std::memcpy(&object, key, kReferenceSize);
  return *object;
}

// Adds a key that refers to `object`, unless the tree has an equal one.
template <class Object>
void AddReference(const TreeHandle& tree, const Object* object) {
  TreeAddKey(tree.get(), &object, kReferenceSize, nullptr);
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

// The place of a descriptor in sdTempFile, as its index entry carries it.
struct Place {
  uint32_t length = 0;
  uint32_t offset = 0;
};

// `room` is the number of bytes that the file holds from the section on. A real section needs less
// memory for its index than that. A section full of empty descriptors would need more, and gets no
// more: its index pages out.
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
// is 0 and `step` 1. A tree orders such keys by their bytes in memory: in this order they are
// appended, and fill one page after the other, where in the order of their values each would land
// on another page. (16 MiB of empty descriptors: 1.6 s against 27 s.)
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
  SectionLoader(int fd, const LogHeader& header, SecurityObjects& objects)
      : reader_(fd, header.securitySection), objects_(objects) {}

  uint64_t room() const { return reader_.left(); }
  bool LoadDescriptors();
  bool LoadDomains() { return domains_.Load(reader_, objects_.pool, objects_.domainCount); }
  bool LoadSids();

 private:
  bool LoadSid();

  SectionReader reader_;
  SecurityObjects& objects_;
  DomainList domains_;
};

bool SectionLoader::LoadDescriptors() {
  const uint32_t& sdCount = objects_.sdCount;
  if (!reader_.ReadU32(objects_.sdCount)) return false;
  std::vector<Place> places;
  places.reserve(static_cast<size_t>(std::min<uint64_t>(sdCount, room() / sizeof(uint32_t))));
  TextStream copy;
  copy.Attach(objects_.sdTempFile.fd(), false, TextEncoding::kLocale, objects_.sdTempFile.path());
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
              [&](uint32_t i) { TreeAddKey(objects_.sdTree.get(), &i, sizeof i, &places[i]); });
  return places.size() == sdCount;
}

bool SectionLoader::LoadSids() {
  if (!reader_.ReadU32(objects_.sidCount)) return false;
  for (uint32_t i = 0; i < objects_.sidCount; ++i) {
    if (!LoadSid()) return false;
  }
  return true;
}

bool SectionLoader::LoadSid() {
  std::array<unsigned char, SidEntry::kSize> bytes;
  if (!reader_.Read(bytes)) return false;
  const SidEntry entry = ParseSidEntry(bytes);
  if (uint64_t{entry.sidLength} + entry.nameLength > reader_.left()) return false;

  Pool& pool = objects_.pool;
  auto* sid = static_cast<char*>(pool.allocate(entry.sidLength, 1));
  std::wstring_view name;
  if (!reader_.Read(sid, entry.sidLength)) return false;
  if (!reader_.ReadText(entry.nameLength, pool, name)) return false;
  const Domain domain = domains_.At(entry.domainIndex);
  const auto* object = std::pmr::polymorphic_allocator<>(&pool).new_object<SidObject>(
      SidObject{.sid = {sid, entry.sidLength},
                .type = entry.type,
                .firstCount = entry.firstCount,
                .secondCount = entry.secondCount,
                .domainRank = domain.rank,
                .domain = domain.view(),
                .name = name});
  AddReference(objects_.sidTree, object);
  AddReference(objects_.sidDisplayTree, object);
  AddReference(objects_.sidLookupTree, object);
  return true;
}

bool LoadId(SectionReader& reader, IdObjects& objects) {
  std::array<unsigned char, IdEntry::kSize> bytes;
  if (!reader.Read(bytes)) return false;
  const IdEntry entry = ParseIdEntry(bytes);
  if (entry.nameLength > reader.left()) return false;
  auto* name = static_cast<char*>(objects.pool.allocate(entry.nameLength, 1));
  if (!reader.Read(name, entry.nameLength)) return false;
  AddReference(objects.idTree,
               std::pmr::polymorphic_allocator<>(&objects.pool)
                   .new_object<IdObject>(
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

std::unique_ptr<SecurityObjects> LoadSecurityObjects(int fd, const LogHeader& header) {
  auto objects = std::make_unique<SecurityObjects>();
  objects->sdTempFile = TempFile::Create("sdtemp.tmp");
  if (!objects->sdTempFile.valid()) {
    PosixErrExit(0, L"Unable to create temporary file '%s'\n", objects->sdTempFile.path());
  }
  SectionLoader loader(fd, header, *objects);
  objects->sdTree = PlantDescriptorTree(loader.room());
  objects->sidTree = PlantSidTree(SidKeyCmp);
  objects->sidDisplayTree = PlantSidTree(SidDisplayCmp);
  objects->sidLookupTree = PlantSidTree(SidLookupCmp);
  if (header.securitySection != 0 && loader.LoadDescriptors() && loader.LoadDomains()) {
    loader.LoadSids();
  }
  return objects;
}

std::unique_ptr<IdObjects> LoadIdObjects(int fd, const LogHeader& header) {
  auto objects = std::make_unique<IdObjects>();
  objects->idTree = TreePlant({.fanOut = kFanOut,
                               .treeMemory = kResidentTreeNodes,
                               .keysPerKeyNode = 64,
                               .maxKeyBytes = kReferenceSize,
                               .keyMemory = 500'000,
                               .compare = IdKeyCmp});
  if (header.idSection == 0) return objects;
  SectionReader reader(fd, header.idSection);
  if (!reader.ReadU32(objects->idCount)) return objects;
  for (uint32_t i = 0; i < objects->idCount; ++i) {
    if (!LoadId(reader, *objects)) break;
  }
  return objects;
}

const SidObject* FindSid(const SecurityObjects* objects, std::wstring_view domain,
                         std::wstring_view account) {
  if (objects == nullptr) return nullptr;
  const SidObject probe{.sid = {}, .domain = domain, .name = account};
  const SidObject* key = &probe;
  const KeyRecord found = TreeSearch(objects->sidLookupTree.get(), &key, kReferenceSize);
  return found ? &FromKey<SidObject>(found.key()) : nullptr;
}

}  // namespace tabulon
