#include "config/configfile.h"

#include <memory>

#include "config/parameters.h"
#include "config/reportfields.h"
#include "config/rest.h"
#include "configtest.h"

namespace tabulon {
namespace {

using ::testing::ElementsAre;
using ::testing::ElementsAreArray;
using namespace std::string_literals;

class ConfigFile : public ConfigTest {
 protected:
  std::vector<std::wstring> Lines(std::string_view bytes) {
    const std::unique_ptr<FILE, int (*)(FILE*)> file(std::fopen(File(bytes).c_str(), "r"),
                                                     &std::fclose);
    std::vector<std::wstring> lines;
    std::wstring line;
    ConfigLines reader(file.get());
    while (const size_t length = reader.ReadConfigLine(line)) {
      EXPECT_EQ(length, line.size());
      lines.push_back(line);
    }
    EXPECT_EQ(line, L"");
    return lines;
  }
};

TEST_F(ConfigFile, LinesAreCleanedAndJoined) {
  const std::string full(kPhysicalLineBytes, 'x');
  // clang-format off
  const std::pair<std::string, std::vector<std::wstring>> rows[] = {
      {"", {}}, {"# only a comment\n   \n\t\r\n   # another\n", {}},
      {" a = b  # comment # more\n", {L" a = b"}},
      {"last line without a line feed", {L"last line without a line feed"}},
      {"dos\r\nfile\r\ntab\tinside\t\n", {L"dos", L"file", L"tab inside"}},
      {"caf\xE9 au \x01 lait\xE9\ndel\x7F\x7F\n", {L"caf  au   lait", L"del\x7F\x7F"}},
      {"zero\0byte\nnext\n"s, {L"zero byte", L"next"}},
      // Continuations.
      {"k=a_\nb\n", {L"k=ab"}}, {"k=a _\n  b\nnext\n", {L"k=a   b", L"next"}},
      {"a_  # comment\n# comment\n\n  b_\nc\n", {L"a  bc"}}, {"a__\nb\n", {L"a_b"}},
      {"open _", {L"open "}}, {"_\n_\n", {}},
      // A long line is cut where the buffer of the first reader ended, comment or not.
      {full + "\ny\n", {Wide(full), L"y"}}, {full + "tail=1\n", {Wide(full), L"tail=1"}},
      {full + full + "\n", {Wide(full), Wide(full)}}, {"#" + full + " stays\n", {L"x stays"}},
  };
  // clang-format on
  for (const auto& [bytes, lines] : rows) {
    EXPECT_THAT(Lines(bytes), ElementsAreArray(lines)) << bytes;
  }
}

TEST_F(ConfigFile, JoinedLineHasALimit) {
  const std::string part = std::string(100, 'x') + "_\n";
  const std::string five = part + part + part + part + part;
  EXPECT_THAT(Lines(five + std::string(19, 'y')), ElementsAre(testing::SizeIs(519)));
  EXPECT_FATAL(Lines(five + std::string(20, 'y')), "Configuration line too long\n");
  std::string endless;
  for (int i = 0; i < 5000; ++i) endless += "_\n";
  EXPECT_THAT(Lines(endless + "end"), ElementsAre(L"end"));
}

TEST_F(ConfigFile, SectionsSplitKeysAndValues) {
  const Configuration made = Read(
      "[CLASSES]\nTwo Words =doc,.TXT,, rtf\n=htm?\n[Parameters]\n  DateFormat\t=   %Y = %m  \n"
      "[classes]\nlater=x\n[Report]\ntype=custom\ntitle = a = b\n[report]\nTYPE = symlinks\n");
  EXPECT_EQ(made.classes.classList().front().name, L"Two Words");
  std::vector<std::wstring> patterns;
  for (const auto& pattern : made.classes.classList().front().patterns) {
    patterns.push_back(pattern.text);
  }
  EXPECT_THAT(patterns, ElementsAre(L"doc", L"TXT", L"", L" rtf"));
  EXPECT_EQ(made.classes.Find(L"")->patterns[0].text, L"htm\x1");
  EXPECT_EQ(made.settings.dateFmt, L"%Y = %m");
  ASSERT_EQ(made.reportList.size(), 2U);
  EXPECT_EQ(made.reportList.front().title, L"a = b");
}

TEST_F(ConfigFile, ParametersThatNoReportShows) {
  ParameterLine(L"timebase", L"NOW", settings_, scan_);
  ParameterLine(L"timebase", L"scandate", settings_, scan_);
  EXPECT_EQ(settings_.scanDateRelative, 0U) << "now stays now";
  ParameterLine(L"maxpathunits", L"utfbytes", settings_, scan_);
  ParameterLine(L"maxpathunits", L"bytes", settings_, scan_);
  EXPECT_EQ(settings_.maxPathUnits, kPathWideBytes);
  EXPECT_EQ(LargeNumericParameter(L"k", L"5G"), 5368709120U);
}

// The lines of a section go to its report wherever that has moved, and replace earlier ones except
// the duplicates' fields.
TEST_F(ConfigFile, SummaryAndSidUseMoveToTheFront) {
  scan_.rootType = kRootCifs;
  const Configuration made = Read(
      "[report]\ntype=custom\n[report]\ntype=siduse\ntitle=first\ntotals=yes\ntotals=no\n"
      "dupcheck=Name,mdate\ndupcheck=size,CDATE\nfields=size,mdate\nfields=attrs,attrs\n"
      "[report]\ntype=Summary\n[report]\ntype=SIDUSE\n[report]\ntype=summary\n");
  std::vector<std::wstring> types;
  for (const ReportDefinition& report : made.reportList) types.push_back(report.typeName);
  EXPECT_THAT(types, ElementsAre(L"summary", L"Summary", L"SIDUSE", L"siduse", L"custom"));
  const ReportDefinition& first = *std::prev(made.reportList.end(), 2);
  EXPECT_EQ(first.title, L"first");
  EXPECT_EQ(first.flags & kFlagTotals, 0U);
  EXPECT_EQ(first.dupFields, kDupName | kDupMdate | kDupSize | kDupCdate);
  EXPECT_EQ(first.fields, "\x1\x8\x8");
}

}  // namespace
}  // namespace tabulon
