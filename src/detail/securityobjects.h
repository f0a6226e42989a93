// The lookup tables that come with a scan: security descriptors, domains and SIDs of a CIFS scan,
// user and group IDs of an NFS scan. Loaded before the scan, only read afterwards.
#pragma once

#include <cstdint>
#include <string_view>

#include "base/tempfile.h"
#include "btree/btree.h"
#include "detail/dtlformat.h"

namespace tabulon {

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

// Keys of the SID and ID trees are 8-byte object references.
extern Tree* sidTree;         // by SID bytes
extern Tree* sidDisplayTree;  // by type, account name, domain name
extern Tree* sidLookupTree;   // by domain name, account name
extern Tree* sdTree;          // u32 ordinal -> u32 length, u32 offset in sdTempFile
extern Tree* idTree;          // by kind, value
extern uint32_t sdCount;      // counts as the section gives them
extern uint32_t domainCount;
extern uint32_t sidCount;
extern uint32_t idCount;
extern TempFile sdTempFile;          // the descriptors, back to back
extern const SidObject dummySidKey;  // "<unknown>": stands for a SID without an entry

// Compare functions of the trees; both keys are object references. Account and domain names are
// compared with their letter case folded, so of two SIDs that differ in it alone a tree keeps the
// first.
int SidKeyCmp(const void* a, uint32_t lengthA, const void* b, uint32_t lengthB);
int SidDisplayCmp(const void* a, uint32_t lengthA, const void* b, uint32_t lengthB);
int SidLookupCmp(const void* a, uint32_t lengthA, const void* b, uint32_t lengthB);
int IdKeyCmp(const void* a, uint32_t lengthA, const void* b, uint32_t lengthB);

// Plant the trees and fill them from the section of the open file `fd`. A section that the file
// ends in is loaded up to the last whole entry, quietly; what a length or count says beyond the
// file is neither believed nor allocated. A SID whose domain index is out of range has an empty
// domain. The descriptors go to `sdTempFile`, which must be open; a write that fails ends the run.
void LoadSecurityObjects(int fd, const LogHeader& header);
void LoadIdObjects(int fd, const LogHeader& header);
// Frees the four security trees and their objects; the ID tree and its objects stay.
void FreeSecurityObjects();

// The SID of an account, letter case ignored; null when the scan knows none.
const SidObject* FindSid(std::wstring_view domain, std::wstring_view account);

}  // namespace tabulon
