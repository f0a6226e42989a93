#include "config/reportline.h"

#include "config/reportfields.h"
#include "configtest.h"

namespace tabulon {
namespace {

using ::testing::ElementsAre;

// A report of the list, its lines applied one by one.
class ReportLines : public ConfigTest {
 protected:
  ReportLines() { made_.settings.reportDir = directory(); }

  ReportDefinition& Add(const wchar_t* type) {
    ReportDefinition& report = made_.reportList.emplace_back();
    ReportLine(L"type", type, report, context_);
    return report;
  }

  Configuration made_;
  const ConfigContext context_{scan_, kReportKinds, made_};
};

TEST_F(ReportLines, SummaryAndSidUseMoveToTheFront) {
  Add(L"custom");
  ReportDefinition& first = Add(L"siduse");
  for (const wchar_t* type : {L"Summary", L"SIDUSE", L"summary"}) Add(type);
  // Entries keep their identity: lines that follow reach the right report, and replace earlier ones
  // except the duplicates' fields.
  ReportLine(L"title", L"first", first, context_);
  for (const wchar_t* value : {L"yes", L"no"}) ReportLine(L"totals", value, first, context_);
  for (const wchar_t* value : {L"Name,mdate", L"size,CDATE"})
    ReportLine(L"dupcheck", value, first, context_);
  for (const wchar_t* value : {L"size,mdate", L"uid,uid,attrs"})
    ReportLine(L"fields", value, first, context_);
  EXPECT_EQ(first.flags & kFlagTotals, 0U);
  EXPECT_EQ(first.dupFields, kDupName | kDupMdate | kDupSize | kDupCdate);
  EXPECT_EQ(first.fields, "\x1\x4F\x4F\x88");
  std::vector<std::wstring> types;
  for (const ReportDefinition& report : made_.reportList) types.push_back(report.typeName);
  EXPECT_THAT(types, ElementsAre(L"summary", L"Summary", L"SIDUSE", L"siduse", L"custom"));
  EXPECT_EQ(std::prev(made_.reportList.end(), 2)->title, L"first");
}

}  // namespace
}  // namespace tabulon
