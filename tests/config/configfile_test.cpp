#include "config/configfile.h"

#include <sys/stat.h>

#include <memory>

#include "configtest.h"

namespace tabulon {
namespace {

using ::testing::ElementsAre;
using ::testing::ElementsAreArray;
using namespace std::string_literals;

class ConfigFile : public ConfigTest {
 protected:
  std::vector<std::wstring> Lines(std::string_view bytes) {
    configEOF = 0;
    const std::unique_ptr<FILE, int (*)(FILE*)> file(std::fopen(File(bytes).c_str(), "r"),
                                                     &std::fclose);
    std::vector<std::wstring> lines;
    std::wstring line;
    while (const size_t length = ReadConfigLine(file.get(), line)) {
      EXPECT_EQ(length, line.size());
      lines.push_back(line);
    }
    EXPECT_EQ(line, L"");
    return lines;
  }
};

TEST_F(ConfigFile, LinesAreCleanedAndJoined) {
  const std::string full(kPhysicalLineBytes, 'x');
  struct Row {
    std::string bytes;
    std::vector<std::wstring> lines;
  };
  const Row rows[] = {
      {"", {}},
      {"# only a comment\n   \n\t\r\n   # another\n", {}},
      {" a = b  # comment # more\n", {L" a = b"}},
      {"last line without a line feed", {L"last line without a line feed"}},
      {"dos\r\nfile\r\n", {L"dos", L"file"}},
      {"tab\tinside\t\n", {L"tab inside"}},
      {"caf\xE9 au \x01 lait\xE9\n", {L"caf  au   lait"}},
      {"zero\0byte\nnext\n"s, {L"zero byte", L"next"}},
      {"del\x7F\x7F\n", {L"del\x7F\x7F"}},
      // Continuations.
      {"k=a_\nb\n", {L"k=ab"}},
      {"k=a _\n  b\nnext\n", {L"k=a   b", L"next"}},
      {"a_  # comment\n# comment\n\n  b_\nc\n", {L"a  bc"}},
      {"a__\nb\n", {L"a_b"}},
      {"open_\n", {L"open"}},
      {"open _", {L"open "}},
      {"_\n_\n", {}},
      // A long line is cut where the buffer of the first reader ended, comment or not.
      {full + "\ny\n", {Wide(full), L"y"}},
      {full + "tail=1\n", {Wide(full), L"tail=1"}},
      {full + full + "\n", {Wide(full), Wide(full)}},
      {"#" + full + " stays\n", {L"x stays"}},
  };
  for (const Row& row : rows) {
    EXPECT_THAT(Lines(row.bytes), ElementsAreArray(row.lines)) << row.bytes;
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
  Read(
      "[CLASSES]\n"
      "Two Words =doc,.TXT,, rtf\n"
      "=htm?\n"
      "[Parameters]\n"
      "  DateFormat\t=   %Y = %m  \n"
      "[classes]\n"
      "later=x\n"
      "[Report]\n"
      "type=custom\n"
      "title = a = b\n"
      "[report]\n"
      "TYPE = symlinks\n");
  ASSERT_EQ(classList.size(), 3U);
  EXPECT_EQ(classList.front().name, L"Two Words");
  EXPECT_THAT(classList.front().patterns,
              ElementsAre(testing::Field(&ClassPattern::text, L"doc"),
                          testing::Field(&ClassPattern::text, L"TXT"),
                          testing::Field(&ClassPattern::text, L""),
                          testing::Field(&ClassPattern::text, L" rtf")));
  const FileClass* nameless = FindClass(L"");
  ASSERT_NE(nameless, nullptr);
  EXPECT_TRUE(nameless->patterns[0].wildcard);
  EXPECT_EQ(nameless->patterns[0].text, L"htm\x1");
  EXPECT_EQ(dateFmt, L"%Y = %m");
  ASSERT_EQ(reportList.size(), 2U);
  EXPECT_EQ(reportList.front().title, L"a = b");
  EXPECT_EQ(csvSep, L',');
}

TEST_F(ConfigFile, EndOfTheFileIsAnnounced) {
  const std::string file = File("[report]\ntype=totals\n");
  testing::internal::CaptureStdout();
  testing::internal::CaptureStderr();
  ProcessConfigFile(file.c_str());
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "ProcessConfigFile DONE\n");
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "ReportDir is NULL\n");
}

TEST_F(ConfigFile, OnlyActiveReportsAreCompleted) {
  Read(
      "[report]\ntype=custom\n"
      "[report]\ntype=custom\ninactive=yes\nreportfile=off.txt\n"
      "[report]\ntype=compressed\ncategory=weekly\n");  // a CIFS type would be refused
  std::vector<int> active;
  for (const Report& report : reportList) active.push_back(report.active);
  EXPECT_THAT(active, ElementsAre(1, 0, 0));
  EXPECT_TRUE(reportList.front().positions.IsOpen());
  EXPECT_NE(access(Path("reports/off.txt").c_str(), F_OK), 0);
  struct stat made {};
  ASSERT_EQ(stat(Path("reports").c_str(), &made), 0);
  EXPECT_EQ(made.st_mode & 0777U, 0700U);
}

}  // namespace
}  // namespace tabulon
