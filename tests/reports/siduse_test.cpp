#include "reports/siduse.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <deque>

#include "capture.h"
#include "config/settings.h"
#include "detail/securityobjects.h"

namespace tabulon {
namespace {

class SidUse : public testing::Test {
 protected:
  void SetUp() override {
    tree_ = TreePlant({.fanOut = 256,
                       .treeMemory = -257,
                       .keysPerKeyNode = 64,
                       .maxKeyBytes = 8,
                       .keyMemory = 500'000,
                       .compare = SidDisplayCmp});
    sidDisplayTree = tree_.get();
    csvSep = L',';
  }
  void TearDown() override {
    sidDisplayTree = nullptr;
    ResetSettings();
  }

  void Add(int32_t type, uint32_t uses, uint32_t owners, std::wstring_view domain,
           std::wstring_view name) {
    SidObject& sid = sids_.emplace_back();
    sid.type = type;
    sid.firstCount = uses;
    sid.secondCount = owners;
    sid.domain = domain;
    sid.name = name;
    const SidObject* reference = &sid;
    ASSERT_TRUE(TreeAddKey(tree_.get(), &reference, sizeof(uintptr_t), nullptr));
  }

  static std::string Text(int format, uint32_t flags = 0) {
    CapturedLog log;
    Report report;
    report.format = format;
    report.flags = flags;
    report.title = L"SID use totals";
    DisplaySidUse(report);
    return log.text();
  }

  TreeHandle tree_;
  std::deque<SidObject> sids_;
};

TEST_F(SidUse, GroupsAccountsByClass) {
  Add(12, 1, 0, L"DOM", L"strange");
  Add(1, 30, 4, L"DOM", L"zoe");
  Add(-3, 2, 1, L"DOM", L"ghost");
  Add(1, 0, 9, L"DOM", L"unused");
  Add(5, UINT32_MAX, 0, L"", L"Everyone");
  Add(1, 3, 0, L"DOM", L"adam");
  Add(0, 1, 1, L"DOM", L"");
  Add(6, 0, 0, L"DOM", L"gone");
  EXPECT_EQ(Text(kFormatText),
            "---- SID use totals\n\n"
            "Unmapped SIDs\n"
            "  (2/1) [unmapped]\n"
            "Not possible\n"
            "  (1/1) [unknown]\n"
            "Domain users\n"
            "  (3/0) [DOM\\adam]\n"
            "  (30/4) [DOM\\zoe]\n"
            "Wellknown groups\n"
            "  (-1/0) [Everyone]\n"
            "Not possible\n"
            "  (1/0) [DOM\\strange]\n");
  EXPECT_EQ(Text(kFormatCsv),
            "Class,Domain\\Account,Use count,Owner count\n"
            "Unmapped SIDs,unmapped,2,1\n"
            "Not possible,unknown,1,1\n"
            "Domain users,DOM\\adam,3,0\n"
            "Domain users,DOM\\zoe,30,4\n"
            "Wellknown groups,Everyone,-1,0\n"
            "Not possible,DOM\\strange,1,0\n");
}

TEST_F(SidUse, SidStringColumnSparesUnmappedSids) {
  Add(-3, 2, 1, L"", L"ghost");
  Add(9, 3, 4, L"DOM", L"PC$");
  EXPECT_EQ(Text(kFormatNone, kFlagShowSids),
            "---- SID use totals\n\n"
            "Unmapped SIDs\n"
            "  (2/1) [unmapped]\n"
            "Computers\n"
            "  (3/4) [DOM\\PC$] [SidString Not Available]\n");
  csvHdrs = 0;
  EXPECT_EQ(Text(kFormatCsv, kFlagShowSids),
            "Unmapped SIDs,unmapped,2,1\n"
            "Computers,DOM\\PC$,3,4,SidString Not Available\n");
}

}  // namespace
}  // namespace tabulon
