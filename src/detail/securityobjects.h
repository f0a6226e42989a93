// The lookup tables that come with a scan: security descriptors, domains and SIDs of a CIFS scan,
// user and group IDs of an NFS scan. Loaded before the scan, only read afterwards.
#pragma once

#include <cstdint>
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
// tables.
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

// The tables of a CIFS scan. Keys of the SID trees are 8-byte references to objects. Looking
// something up moves a tree's cursor, so one thread at a time may do it.
struct SecurityObjects {
  Pool pool;                  // the objects and their texts
  TempFile sdTempFile;        // the descriptors, back to back
  TreeHandle sidTree;         // by SID bytes
  TreeHandle sidDisplayTree;  // by type, account name, domain name
  TreeHandle sidLookupTree;   // by domain name, account name
  TreeHandle sdTree;          // u32 ordinal -> u32 length, u32 offset in sdTempFile
  uint32_t sdCount = 0;       // counts as the section gives them
  uint32_t domainCount = 0;
  uint32_t sidCount = 0;
};

// The table of an NFS scan.
struct IdObjects {
  Pool pool;
  TreeHandle idTree;     // by kind, value; keys are 8-byte references to objects
  uint32_t idCount = 0;  // as the section gives it
};

extern const SidObject dummySidKey;  // "<unknown>": shown for a SID without an entry

// Compare functions of the trees; both keys are object references. Account and domain names are
// compared with their letter case folded, so of two SIDs that differ in it alone a tree keeps the
// first.
int SidKeyCmp(const void* a, uint32_t lengthA, const void* b, uint32_t lengthB);
int SidDisplayCmp(const void* a, uint32_t lengthA, const void* b, uint32_t lengthB);
int SidLookupCmp(const void* a, uint32_t lengthA, const void* b, uint32_t lengthB);
int IdKeyCmp(const void* a, uint32_t lengthA, const void* b, uint32_t lengthB);

// Plant the trees and fill them from the section of the open file `fd`. When the file ends inside
// the section, the whole entries before the end are loaded, without a message. No memory is taken
// for a length or count that exceeds the file. A SID whose domain index is out of range has an
// empty domain. A temporary file that cannot be made or written ends the run.
std::unique_ptr<SecurityObjects> LoadSecurityObjects(int fd, const LogHeader& header);
std::unique_ptr<IdObjects> LoadIdObjects(int fd, const LogHeader& header);

// The SID of an account, letter case ignored; null when `objects` (which may be null) hold none.
const SidObject* FindSid(const SecurityObjects* objects, std::wstring_view domain,
                         std::wstring_view account);

}  // namespace tabulon
