#include "tools/mkdtl/security.h"

#include <array>
#include <span>
#include <utility>

#include "tools/mkdtl/names.h"
#include "tools/scanwriter/littlebytes.h"

namespace tabulon {
namespace {

const char* const kDomains[] = {"", "CORP", "FILER01", "BUILTIN", "NT AUTHORITY"};
enum Domain : uint32_t { kNoDomain, kCorp, kMachine, kBuiltin, kAuthority };

// SID types, as the SID section gives them.
constexpr int32_t kUnmapped = -3, kLocalUser = -2, kLocalGroup = -1, kDomainUser = 1,
                  kDomainGroup = 2, kDomainItself = 3, kAlias = 4, kWellKnown = 5, kDeleted = 6,
                  kInvalid = 7, kUnknown = 8, kComputer = 9;

constexpr uint64_t kNtAuthority = 5;
constexpr uint32_t kGroups = 20;

// Accounts of the fixed part of the table: beside the domain's users and groups, at least one of
// every other type. `parts` are the sub-authorities after those of the account's domain.
struct FixedAccount {
  const char* name;
  Domain domain;
  int32_t type;
  std::vector<uint32_t> parts;
};

constexpr std::array<uint32_t, 4> kCorpParts = {21, 1004336348, 1177238915, 682003330};
constexpr std::array<uint32_t, 4> kMachineParts = {21, 2127521184, 1604012920, 1887927527};

std::vector<FixedAccount> FixedAccounts() {
  return {{"Administrator", kMachine, kLocalUser, {500}},
          {"Backup Operator", kMachine, kLocalUser, {1001}},
          {"Filer Users", kMachine, kLocalGroup, {1002}},
          {"CORP", kCorp, kDomainItself, {}},
          {"Administrators", kBuiltin, kAlias, {32, 544}},
          {"Users", kBuiltin, kAlias, {32, 545}},
          {"SYSTEM", kAuthority, kWellKnown, {18}},
          {"Authenticated Users", kAuthority, kWellKnown, {11}},
          {"leaver01", kCorp, kDeleted, {3001}},
          {"leaver02", kCorp, kDeleted, {3002}},
          {"", kNoDomain, kInvalid, {99, 1}},
          {"", kNoDomain, kUnknown, {21, 1, 2, 3, 1500}},
          {"", kNoDomain, kUnmapped, {21, 4, 5, 6, 1600}},
          {"FILER01$", kCorp, kComputer, {2001}}};
}

std::span<const uint32_t> DomainParts(Domain domain) {
  if (domain == kCorp) return kCorpParts;
  if (domain == kMachine) return kMachineParts;
  return {};
}

std::string AccountSid(Domain domain, const std::vector<uint32_t>& parts) {
  const std::span<const uint32_t> domainParts = DomainParts(domain);
  std::vector<uint32_t> whole(domainParts.begin(), domainParts.end());
  whole.insert(whole.end(), parts.begin(), parts.end());
  return BinarySid(kNtAuthority, whole);
}

}  // namespace

SecurityMaker::SecurityMaker(Random& random) {
  MakeAccounts();
  for (uint32_t i = 0; i < kDescriptors; ++i) {
    descriptors_.push_back(i < kOrdinary ? MakeOrdinary(random) : MakeOdd(random, i));
  }
}

// The owners come first, so that an owner is drawn by a number below kOwners.
void SecurityMaker::MakeAccounts() {
  for (uint32_t i = 0; i < kOwners; ++i) {
    AddAccount(UserName(i), kCorp, kDomainUser, AccountSid(kCorp, {1100 + i}));
  }
  for (uint32_t i = 0; i < kGroups; ++i) {
    AddAccount(GroupName(i), kCorp, kDomainGroup, AccountSid(kCorp, {1500 + i}));
  }
  for (const FixedAccount& account : FixedAccounts()) {
    AddAccount(account.name, account.domain, account.type,
               AccountSid(account.domain, account.parts));
    if (account.type == kDeleted) orphan_ = sids_.size() - 1;
  }
}

void SecurityMaker::AddAccount(std::string name, uint32_t domain, int32_t type, std::string sid) {
  sids_.push_back({.sid = std::move(sid), .name = std::move(name), .domain = domain, .type = type});
}

bool SecurityMaker::IsOrphan(size_t account) const {
  return account != kNobody && sids_[account].type == kDeleted;
}

SecurityMaker::Descriptor SecurityMaker::MakeOrdinary(Random& random) const {
  Descriptor made;
  made.owner = random.Skewed(kOwners);
  made.group = kOwners + random.Below(kGroups);
  for (uint32_t i = random.Between(2, 6); i > 0; --i) {
    made.allowed.push_back(random.Skewed(kOwners + kGroups));
  }
  return made;
}

// A descriptor that may lack its owner or group and name accounts of any type. Each account is
// named by some of them, and each oddity that a record can be marked with occurs.
SecurityMaker::Descriptor SecurityMaker::MakeOdd(Random& random, uint32_t number) const {
  enum : uint32_t { kNoOwner = kOrdinary, kNoGroup, kOrphanOwner, kOrphanGroup };
  Descriptor made = MakeOrdinary(random);
  const auto accounts = static_cast<uint32_t>(sids_.size());
  made.allowed.push_back(number % accounts);
  if (random.PerMille(100)) made.owner = random.Below(accounts);
  if (random.PerMille(100)) made.group = random.Below(accounts);
  if (number == kNoOwner || random.PerMille(30)) made.owner = kNobody;
  if (number == kNoGroup || random.PerMille(30)) made.group = kNobody;
  if (number == kOrphanOwner) made.owner = orphan_;
  if (number == kOrphanGroup) made.group = orphan_;
  made.recordFlags = RecordFlags(made);
  return made;
}

uint32_t SecurityMaker::RecordFlags(const Descriptor& descriptor) const {
  uint32_t flags = 0;
  if (descriptor.owner == kNobody) flags |= kRecordNoOwner;
  if (descriptor.group == kNobody) flags |= kRecordNoGroup;
  if (IsOrphan(descriptor.owner)) flags |= kRecordOrphanOwner;
  if (IsOrphan(descriptor.group)) flags |= kRecordOrphanGroup;
  for (const size_t account : descriptor.allowed) {
    if (IsOrphan(account)) flags |= kRecordOrphanInAcl;
  }
  return flags;
}

// A self-relative security descriptor (MS-DTYP 2.4.6) without a SACL: 20 bytes of header, owner,
// group, then an access list of allowing entries.
std::string SecurityMaker::DescriptorBytes(const Descriptor& descriptor) const {
  constexpr uint16_t kSelfRelativeWithDacl = 0x8004;
  constexpr uint32_t kFullAccess = 0x001F01FF;
  constexpr size_t kOwnerAt = 4, kGroupAt = 8, kDaclAt = 16, kHeader = 20;
  std::string bytes(kHeader, '\0');
  bytes[0] = 1;
  Store16(bytes, 2, kSelfRelativeWithDacl);
  const auto putSid = [&](size_t at, size_t account) {
    if (account == kNobody) return;
    Store32(bytes, at, static_cast<uint32_t>(bytes.size()));
    bytes += sids_[account].sid;
  };
  putSid(kOwnerAt, descriptor.owner);
  putSid(kGroupAt, descriptor.group);
  std::string entries;
  for (const size_t account : descriptor.allowed) {
    const std::string& sid = sids_[account].sid;
    Append16(entries, 0);
    Append16(entries, static_cast<uint16_t>(8 + sid.size()));
    Append32(entries, kFullAccess);
    entries += sid;
  }
  Store32(bytes, kDaclAt, static_cast<uint32_t>(bytes.size()));
  Append16(bytes, 2);
  Append16(bytes, static_cast<uint16_t>(8 + entries.size()));
  Append32(bytes, static_cast<uint32_t>(descriptor.allowed.size()));
  return bytes + entries;
}

void SecurityMaker::Finish(ScanSpec& spec) const {
  spec.domains.assign(std::begin(kDomains), std::end(kDomains));
  spec.sids = sids_;
  for (const Descriptor& descriptor : descriptors_) {
    spec.descriptors.push_back(DescriptorBytes(descriptor));
    if (descriptor.owner != kNobody) spec.sids[descriptor.owner].secondCount += descriptor.uses;
    for (const size_t account : descriptor.allowed) {
      spec.sids[account].firstCount += descriptor.uses;
    }
  }
  for (const SidSpec& sid : spec.sids) {
    if (sid.type != kDeleted) continue;
    ++spec.orphanedSids;
    spec.orphanedAsOwner += sid.secondCount > 0 ? 1 : 0;
  }
}

}  // namespace tabulon
