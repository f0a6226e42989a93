// The tables that come with a scan: security descriptors, domains and SIDs of a CIFS scan, user and
// group IDs of an NFS scan. A scan may claim to have any number of them, so no memory is taken for
// a count or a length beyond what the file holds, and a table is read when a run asks for it.
#pragma once

#include <cstdint>
#include <cstring>
#include <functional>
#include <memory>
#include <memory_resource>
#include <string_view>

#include "base/tempfile.h"
#include "btree/btree.h"
#include "detail/dtlformat.h"

namespace tabulon {

// Memory for what a section holds, given back as a whole.
using Pool = std::pmr::monotonic_buffer_resource;

// One SID with what is known of its account. Objects, SID bytes and texts live as long as the
// pool that they are read into.
struct SidObject {
  std::string_view sid;      // binary form
  int32_t type = 0;          // -3 unmapped ... 9 computer
  uint32_t firstCount = 0;   // uses in access control lists
  uint32_t secondCount = 0;  // uses as owner
  uint32_t domainRank = 0;   // place of the domain among the scan's, 0 = not known: spares most
                             // comparisons of domain texts
  std::wstring_view domain;  // empty when the scan names none
  std::wstring_view name;    // account name
};

struct IdObject {
  uint32_t id = 0;
  uint32_t kind = 0;
  uint32_t third = 0;
  std::string_view name;  // bytes as stored
};

// The tables of a CIFS scan. Looking something up reads them, the first time, and moves a tree's
// cursor, so one thread at a time may do it.
struct SecurityObjects {
  TempFile sdTempFile;        // the descriptors, back to back
  int fd = -1;                // the scan file, which others own
  uint64_t domainsAt = 0;     // offset of the domains, which the SIDs follow; 0 = the scan has none
  Pool pool;                  // what has been read of them
  TreeHandle sidDisplayTree;  // by type, account name, domain name; null = not read yet
  TreeHandle sidLookupTree;   // by domain name, account name; likewise
};

// Copies the descriptors of the scan file `fd`, which must stay open while the tables are used.
// Where the file ends inside the section, what is whole before the end counts, without a message;
// so it is for SIDs and IDs. A temporary file that cannot be made or written ends the run.
std::unique_ptr<SecurityObjects> LoadSecurityObjects(int fd, const LogHeader& header);

// The SIDs in their display order: a tree of references to objects.
Tree* SidsForDisplay(SecurityObjects& objects);
// The SID of an account, letter case ignored; null when `objects` (which may be null) hold none.
const SidObject* FindSid(SecurityObjects* objects, std::wstring_view domain,
                         std::wstring_view account);

// Calls use(SidObject) for each SID that comes after the domains at offset `domainsAt` of the file.
// A SID whose domain index is out of range has an empty domain. Texts live in `pool`.
void ReadSids(int fd, uint64_t domainsAt, Pool& pool,
              const std::function<void(const SidObject&)>& use);
// Calls use(IdObject) for each entry of the ID section. Names live in `pool`.
void ReadIds(int fd, const LogHeader& header, Pool& pool,
             const std::function<void(const IdObject&)>& use);

// A tree whose keys are 8-byte references to objects, which the compare function looks at.
TreeHandle PlantReferenceTree(TreeCompare compare);
// Adds a reference to `object`, unless the tree has an equal one.
void AddReference(Tree* tree, const void* object);
// The object that a key refers to.
template <class Object>
const Object& FromKey(const void* key) {
  const Object* object;
  std::memcpy(&object, key, sizeof object);
  return *object;
}

// Compare functions of the trees. Account and domain names are compared with their letter case
// folded, so of two SIDs that differ in it alone a tree keeps the first.
int SidDisplayCmp(const void* a, uint32_t lengthA, const void* b, uint32_t lengthB);
int SidLookupCmp(const void* a, uint32_t lengthA, const void* b, uint32_t lengthB);

}  // namespace tabulon
