#include "detail/securityobjects.h"

#include <array>

#include "base/loganderr.h"
#include "base/textstream.h"
#include "detail/domainlist.h"
#include "detail/sectionreader.h"

namespace tabulon {
namespace {

// Bytes of a key that refers to an object.
constexpr uint32_t kReferenceSize = sizeof(void*);

int CompareDomains(const SidObject& a, const SidObject& b) {
  if (a.domainRank == 0 || b.domainRank == 0) return CompareFolded(a.domain, b.domain);
  return a.domainRank == b.domainRank ? 0 : a.domainRank < b.domainRank ? -1 : 1;
}

template <class Value>
int Order(Value a, Value b) {
  return a == b ? 0 : a < b ? -1 : 1;
}

// False when the file ends inside the descriptors.
bool CopyDescriptors(SectionReader& reader, const TempFile& to) {
  uint32_t sdCount = 0;
  if (!reader.ReadU32(sdCount)) return false;
  TextStream copy;
  copy.Attach(to.fd(), false, TextEncoding::kLocale, to.path());
  const auto write = [&](std::string_view piece) { copy.WriteBytes(piece); };
  uint32_t copied = 0;
  uint32_t length = 0;
  while (copied < sdCount && reader.ReadU32(length) && reader.Consume(length, write)) ++copied;
  if (copy.Close() != 0) PosixErrExit(copy.error(), L"Error writing '%s'\n", copy.name());
  return copied == sdCount;
}

bool ReadSid(SectionReader& reader, const DomainList& domains, Pool& pool, SidObject& object) {
  std::array<unsigned char, SidEntry::kSize> bytes;
  if (!reader.Read(bytes)) return false;
  const SidEntry entry = ParseSidEntry(bytes);
  if (uint64_t{entry.sidLength} + entry.nameLength > reader.left()) return false;
  auto* sid = static_cast<char*>(pool.allocate(entry.sidLength, 1));
  std::wstring_view name;
  if (!reader.Read(sid, entry.sidLength)) return false;
  if (!reader.ReadText(entry.nameLength, pool, name)) return false;
  const Domain domain = domains.At(entry.domainIndex);
  object = {.sid = {sid, entry.sidLength},
            .type = entry.type,
            .firstCount = entry.firstCount,
            .secondCount = entry.secondCount,
            .domainRank = domain.rank,
            .domain = domain.view(),
            .name = name};
  return true;
}

bool ReadId(SectionReader& reader, Pool& pool, IdObject& object) {
  std::array<unsigned char, IdEntry::kSize> bytes;
  if (!reader.Read(bytes)) return false;
  const IdEntry entry = ParseIdEntry(bytes);
  if (entry.nameLength > reader.left()) return false;
  auto* name = static_cast<char*>(pool.allocate(entry.nameLength, 1));
  if (!reader.Read(name, entry.nameLength)) return false;
  object = {entry.id, entry.kind, entry.third, {name, entry.nameLength}};
  return true;
}

// Fills the trees, unless they have been filled.
void LoadSids(SecurityObjects& objects) {
  if (objects.sidLookupTree) return;
  objects.sidDisplayTree = PlantReferenceTree(SidDisplayCmp);
  objects.sidLookupTree = PlantReferenceTree(SidLookupCmp);
  ReadSids(objects.fd, objects.domainsAt, objects.pool, [&](const SidObject& sid) {
    const auto* object =
        std::pmr::polymorphic_allocator<>(&objects.pool).new_object<SidObject>(sid);
    AddReference(objects.sidDisplayTree.get(), object);
    AddReference(objects.sidLookupTree.get(), object);
  });
}

}  // namespace

std::unique_ptr<SecurityObjects> LoadSecurityObjects(int fd, const LogHeader& header) {
  auto objects = std::make_unique<SecurityObjects>();
  objects->fd = fd;
  objects->sdTempFile = TempFile::Create("sdtemp.tmp");
  if (!objects->sdTempFile.valid()) {
    PosixErrExit(0, L"Unable to create temporary file '%s'\n", objects->sdTempFile.path());
  }
  if (header.securitySection == 0) return objects;
  SectionReader reader(fd, header.securitySection);
  if (CopyDescriptors(reader, objects->sdTempFile)) objects->domainsAt = reader.position();
  return objects;
}

Tree* SidsForDisplay(SecurityObjects& objects) {
  LoadSids(objects);
  return objects.sidDisplayTree.get();
}

const SidObject* FindSid(SecurityObjects* objects, std::wstring_view domain,
                         std::wstring_view account) {
  if (objects == nullptr) return nullptr;
  LoadSids(*objects);
  const SidObject probe{.sid = {}, .domain = domain, .name = account};
  const SidObject* key = &probe;
  const KeyRecord found = TreeSearch(objects->sidLookupTree.get(), &key, kReferenceSize);
  return found ? &FromKey<SidObject>(found.key()) : nullptr;
}

void ReadSids(int fd, uint64_t domainsAt, Pool& pool,
              const std::function<void(const SidObject&)>& use) {
  if (domainsAt == 0) return;
  SectionReader reader(fd, domainsAt);
  DomainList domains;
  uint32_t sidCount = 0;
  if (!domains.Load(reader, pool) || !reader.ReadU32(sidCount)) return;
  SidObject sid;
  for (uint32_t i = 0; i < sidCount && ReadSid(reader, domains, pool, sid); ++i) use(sid);
}

void ReadIds(int fd, const LogHeader& header, Pool& pool,
             const std::function<void(const IdObject&)>& use) {
  if (header.idSection == 0) return;
  SectionReader reader(fd, header.idSection);
  uint32_t idCount = 0;
  if (!reader.ReadU32(idCount)) return;
  IdObject id;
  for (uint32_t i = 0; i < idCount && ReadId(reader, pool, id); ++i) use(id);
}

TreeHandle PlantReferenceTree(TreeCompare compare) {
  return TreePlant({.fanOut = 256,
                    .treeMemory = -257,  // nodes: one more than the fan-out
                    .keysPerKeyNode = 64,
                    .maxKeyBytes = kReferenceSize,
                    .keyMemory = 500'000,
                    .compare = compare});
}

void AddReference(Tree* tree, const void* object) {
  TreeAddKey(tree, &object, kReferenceSize, nullptr);
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

}  // namespace tabulon
