#include "detail/securityobjects.h"

#include <gmock/gmock.h>

#include <ctime>
#include <sstream>
#include <string>
#include <vector>

#include "detail/rest.h"
#include "support.h"
#include "tests/support/dtlbuild.h"
#include "tests/support/openscan.h"

namespace tabulon {
namespace {

template <class Object>
std::vector<const Object*> Objects(const TreeHandle& tree) {
  std::vector<const Object*> objects;
  for (KeyRecord at = TreeLowKey(tree.get()); at; at = TreeNextKey(tree.get())) {
    objects.push_back(&FromKey<Object>(at.key()));
  }
  return objects;
}

// "domain\name" of SIDs.
std::vector<std::wstring> Accounts(const std::vector<const SidObject*>& sids) {
  std::vector<std::wstring> accounts;
  for (const SidObject* sid : sids) {
    accounts.push_back(std::wstring(sid->domain) + L"\\" + std::wstring(sid->name));
  }
  return accounts;
}

class SecurityObjectsTest : public testing::Test {
 protected:
  // Both sections, whatever the kind of the scan.
  void Load(std::string_view file) {
    fd_ = FileInMemory(file);
    header_ = ParseHeader(std::span<const unsigned char, kHeaderSize>(
        reinterpret_cast<const unsigned char*>(file.data()), kHeaderSize));
    objects_ = LoadSecurityObjects(fd_.get(), header_);
  }
  // Loads a file whose security and ID section are these bytes.
  void LoadSection(const std::string& section) {
    Load(BuildDtl(
             {.tail = section,
              .adjust = [](LogHeader& header,
                           LogRoot&) { header.securitySection = header.idSection = kSectionAt; }})
             .substr(0, kSectionAt) +
         section);
  }
  static constexpr uint64_t kSectionAt = 100;
  const SidObject* Find(std::wstring_view domain, std::wstring_view account) {
    return FindSid(objects_.get(), domain, account);
  }

  std::vector<const SidObject*> Sids() { return Objects<SidObject>(SidTree(*objects_, pool_)); }
  std::vector<const IdObject*> Ids() {
    return Objects<IdObject>(IdTree(fd_.get(), header_, pool_));
  }

  UniqueFd fd_;
  LogHeader header_;
  Pool pool_;
  std::unique_ptr<SecurityObjects> objects_;
};

TEST_F(SecurityObjectsTest, DescriptorsAreCopiedAndIndexed) {
  const std::vector<std::string> descriptors = {"first", "", std::string(600'000, 's'), "last"};
  Load(BuildDtl({.kind = ScanKind::kCifs, .descriptors = descriptors}));
  const TreeHandle index = SdTree(fd_.get(), header_);
  std::string all;
  for (uint32_t i = 0; i < descriptors.size(); ++i) {
    const KeyRecord found = TreeSearch(index.get(), &i, sizeof i);
    ASSERT_TRUE(found);
    EXPECT_EQ(LoadU32(found.extra()), descriptors[i].size());
    EXPECT_EQ(LoadU32(found.extra() + 4), all.size());
    all += descriptors[i];
  }
  EXPECT_EQ(ReadFile(objects_->sdTempFile.path()), all);
}

TEST_F(SecurityObjectsTest, EachTreeHasItsOrder) {
  Load(BuildDtl({.kind = ScanKind::kCifs,
                 .domains = {"beta", "Alpha", "BETA", ""},
                 .sids = {{.sid = "b2", .name = "zoe", .domain = 0, .type = 1},
                          {.sid = "b", .name = "Adam", .domain = 1, .type = 1},
                          {.sid = "\xFF", .name = "adam", .domain = 0, .type = -3},
                          {.sid = "a", .name = "Everyone", .domain = 3, .type = 5},
                          {.sid = "c", .name = "lost", .domain = 4, .type = 5},
                          // Equal to an earlier one in one order each, letter case aside.
                          {.sid = "b2", .name = "yan", .domain = 1, .type = 2},
                          {.sid = "d", .name = "ZOE", .domain = 2, .type = 1},
                          {.sid = "e", .name = "Zoe", .domain = 2, .type = 2}}}));
  using Names = std::vector<std::wstring>;
  EXPECT_EQ(Accounts(Sids()), (Names{L"\\Everyone", L"Alpha\\Adam", L"beta\\zoe", L"\\lost",
                                     L"BETA\\ZOE", L"BETA\\Zoe", L"beta\\adam"}));
  SidsForDisplay(*objects_);
  EXPECT_EQ(Accounts(Objects<SidObject>(objects_->sidDisplayTree)),
            (Names{L"beta\\adam", L"Alpha\\Adam", L"beta\\zoe", L"Alpha\\yan", L"BETA\\Zoe",
                   L"\\Everyone", L"\\lost"}));
  EXPECT_EQ(Accounts(Objects<SidObject>(objects_->sidLookupTree)),
            (Names{L"\\Everyone", L"\\lost", L"Alpha\\Adam", L"Alpha\\yan", L"beta\\adam",
                   L"beta\\zoe"}));

  ASSERT_NE(Find(L"bEtA", L"ZoE"), nullptr);
  EXPECT_EQ(Find(L"bEtA", L"ZoE")->sid, "b2");
  EXPECT_EQ(Find(L"", L"everyone")->sid, "a");
  EXPECT_EQ(Find(L"beta", L"zo"), nullptr);
  EXPECT_EQ(FindSid(nullptr, L"beta", L"zoe"), nullptr);
}

TEST_F(SecurityObjectsTest, IdsAreOrderedByKindAndValue) {
  Load(BuildDtl({.ids = {{.id = 0xFFFFFFFE, .kind = 1, .third = 3, .name = "nobody"},
                         {.id = 0, .kind = 2, .third = 0, .name = "wheel"},
                         {.id = 7, .kind = 1, .third = 0, .name = ""},
                         {.id = 7, .kind = 1, .third = 0, .name = "again"}}}));
  std::ostringstream ids;
  for (const IdObject* id : Ids()) {
    ids << id->kind << ' ' << id->id << ' ' << id->third << ' '
        << std::string_view(id->name.data(), id->name.size()) << ',';
  }
  EXPECT_EQ(ids.str(), "1 7 0 ,1 4294967294 3 nobody,2 0 0 wheel,");
}

// Little-endian words and bytes, one behind the other.
std::string Words(std::initializer_list<uint32_t> words, std::string_view rest = {}) {
  std::string bytes;
  for (const uint32_t word : words) Append32(bytes, word);
  return bytes.append(rest);
}

// At every place where the file may end, what stands whole before it is loaded.
TEST_F(SecurityObjectsTest, AnEntryCutShortEndsTheLoading) {
  const std::string descriptors = Words({1, 4}, "desc");
  const std::string domains = Words({1, 8, 'd', 0});
  const std::string entry = Words({2, 12, 0, 1, 1, 1}, "s");
  const std::string name = Words({'n', 'm', 0});
  const std::string section =
      descriptors + domains + Words({2}) + entry + "1" + name + entry + "2" + name;
  const size_t first = descriptors.size() + domains.size() + 4 + entry.size() + 1 + name.size();
  for (size_t size = 0; size <= section.size(); ++size) {
    LoadSection(section.substr(0, size));
    const size_t sids = size < first ? 0 : size < section.size() ? 1 : 2;
    ASSERT_EQ(Sids().size(), sids) << size;
    const uint32_t ordinal = 0;
    const TreeHandle index = SdTree(fd_.get(), header_);
    ASSERT_EQ(bool(TreeSearch(index.get(), &ordinal, sizeof ordinal)), size >= descriptors.size());
    ASSERT_EQ(Find(L"d", L"nm") != nullptr, sids > 0);
  }
  const std::string ids = Words({2, 5, 1, 0, 2}, "ab") + Words({6, 1, 0, 2}, "cd");
  for (size_t size = 0; size <= ids.size(); ++size) {
    LoadSection(ids.substr(0, size));
    ASSERT_EQ(Ids().size(), size < 22 ? 0U : size < ids.size() ? 1U : 2U);
  }
}

// Two long names that differ in their last letter only, each shared by many SIDs.
TEST_F(SecurityObjectsTest, LongDomainNamesAreNotComparedForEverySid) {
  constexpr uint32_t kLength = 1 << 20, kSids = 20'000;
  constexpr std::clock_t kMost = 2;  // seconds, ten times what the test takes with sanitizers
  std::string section = Words({0, 2});
  for (const char last : {'a', 'b'}) {
    Append32(section, kLength * 4);
    section.append(kLength * 4 - 4, 'd').append({last, 0, 0, 0});
  }
  Append32(section, kSids);
  for (uint32_t i = 0; i < kSids; ++i) section += Words({4, 0, (i * 7) % 2, i, 1, 1, i});
  const std::clock_t start = std::clock();  // processor time
  LoadSection(section);
  EXPECT_EQ(Sids().size(), kSids);
  SidsForDisplay(*objects_);
  EXPECT_LT(std::clock() - start, kMost * CLOCKS_PER_SEC);
  EXPECT_EQ(Objects<SidObject>(objects_->sidLookupTree).size(), 2U);
}

}  // namespace
}  // namespace tabulon
