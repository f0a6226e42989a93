// How reports write paths and dates, group duplicates and count bands, on small Unix scans.
#include "driver/configrun.h"

namespace tabulon {
namespace {

// How directory and name are written, by root, path form and name form. The scan has a file in its
// root and one below.
TEST(ReportForms, PathForms) {
  const std::string inDirectory = "nameform=fileindir\n";
  const std::string relative = "pathform=relative\n";
  const struct {
    const char* root;
    std::string lines;
    const char* text;
    const char* csv;
  } rows[] = {
      {"/", inDirectory, "In directory: /\n  top\nIn directory: /sub\n  low\n",
       "D,/\nF,top\nD,/sub\nF,low\n"},
      {"/", "", "/top\n/sub/low\n", "/top\n/sub/low\n"},
      {"/srv", inDirectory, "In directory: /srv\n  top\nIn directory: /srv/sub\n  low\n",
       "D,/srv\nF,top\nD,/srv/sub\nF,low\n"},
      {"/srv", "", "/srv/top\n/srv/sub/low\n", "/srv/top\n/srv/sub/low\n"},
      {"/srv", inDirectory + relative, "In directory: /\n  top\nIn directory: /sub\n  low\n",
       "D,/\nF,top\nD,/sub\nF,low\n"},
      {"/srv", relative, "/top\n/sub/low\n", "/top\n/sub/low\n"},
      {"/srv", relative + "pathform=absolute\n", "/srv/top\n/srv/sub/low\n",
       "/srv/top\n/srv/sub/low\n"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(std::string(row.root) + ", " + row.lines);
    const ScanSpec scan{.revision = 7,
                        .rootPath = row.root,
                        .records = {DirectoryRecord("/"), FileRecord("top"),
                                    DirectoryRecord("/sub"), FileRecord("low")}};
    // The forms may be the report's own, or the default that the parameters choose.
    const std::string common = "[report]\ntype=custom\ntitle=none\nfields=name\n";
    const std::string forms = row.lines.find("nameform") == std::string::npos
                                  ? "nameform=fullpath\n" + row.lines
                                  : row.lines;
    const std::string parameters = "[parameters]\ncsvhdrs=no\n";
    ExpectReports({scan, parameters + common + forms + "reportfile=a\n" + common + forms +
                             "format=csv\nreportfile=b\n"},
                  {{"a", "none", row.text}, {"b", "none", row.csv}});
    ExpectReports({scan, parameters + forms + common + "reportfile=a\n"},
                  {{"a", "none", row.text}});
  }
}

// Groups by what is compared with the size. The totals count all but the first file of a group.
TEST(ReportForms, DuplicateChecks) {
  const auto file = [](const char* name, uint64_t size, uint32_t modified, uint32_t created) {
    return FileRecord(name, {.created = created, .modified = modified, .size = size});
  };
  const ScanSpec scan{
      .revision = 7,
      .rootPath = "/r",
      .records = {DirectoryRecord("/"), file("one.dat", 10, 4, 1), file("two.dat", 10, 4, 2),
                  file("one.txt", 10, 4, 1), file("x", 20, 1, 1), DirectoryRecord("/b"),
                  file("one.dat", 10, 5, 1), file("y", 20, 1, 1), file("z", 20, 2, 2)}};
  const struct {
    const char* lines;
    const char* text;
    const char* totals;
  } rows[] = {
      {"", R"(Size: 20  Modified: 1
  /r\x
  /r/b\y

Size: 10  Modified: 4
  /r\one.dat
  /r\two.dat

)",
       "Twice,2,30\n"},
      {"dupcheck=size\npathform=relative\nnameform=fileindir\n", R"(Size: 20
  /\x
  /b\y
  /b\z

Size: 10
  /\one.dat
  /\two.dat
  /\one.txt
  /b\one.dat

)",
       "Twice,5,70\n"},
      {"dupcheck=NAME\n", "Size: 10\n  /r\\one.dat\n  /r/b\\one.dat\n\n", "Twice,1,10\n"},
      {"dupcheck=mdate\ndupcheck=cdate\n", R"(Size: 20  Modified: 1  Created: 1
  /r\x
  /r/b\y

Size: 10  Modified: 4  Created: 1
  /r\one.dat
  /r\one.txt

)",
       "Twice,2,30\n"},
      {"dupcheck=extension,cdate\nfilter=name isnot y\n", R"(Size: 10  Created: 1
  /r\one.dat
  /r/b\one.dat

)",
       "Twice,1,10\n"},
      {"filter=size gt 1K\n", "", "Twice,0,0\n"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.lines);
    ExpectReports({scan, std::string("[parameters]\ndateformat=%n\n[report]\ntype=duplicates\n"
                                     "title=Twice\ntotals=yes\nreportfile=dups\n") +
                             row.lines + "[report]\ntype=totals\nformat=csv\nreportfile=totals\n"},
                  {{"dups", "Twice", std::string("\n---- Twice ----\n\n") + row.text},
                   {"totals", "Report totals", row.totals}});
  }
}

// Bands are counted from the midnight of the scan's day in the time zone of the run. West of
// Greenwich, midnights of summer days come out two hours early.
TEST(ReportForms, BandsFollowTheTimeZone) {
  const auto file = [](uint32_t created, uint32_t modified) {
    return FileRecord("f", {.created = created, .accessed = March(4, 23), .modified = modified});
  };
  const ScanSpec scan{.revision = 7,
                      .scanTime = March(12, 12),
                      .records = {DirectoryRecord("/"), file(March(8, 23), March(8, 21)),
                                  file(March(9), March(8, 23)), file(March(10, 21), March(9, 12)),
                                  file(March(10, 23), March(10, 23)), file(March(11), March(12))}};
  const struct {
    const char* zone;
    const char* created;
    const char* bands;
    const char* queried;  // mdate eq 20240312
  } rows[] = {
      {"UTC", "Tue, 12 Mar, 2024 at 12:00:00", R"(---- File date distribution: CREATE

     11-Mar-24:  4
     09-Mar-24:  1

---- File date distribution: MODIFY

     11-Mar-24:  4
     09-Mar-24:  2

---- File date distribution: ACCESS

     05-Mar-24:  5

)",
       "/f\n"},
      {"America/New_York", "Tue, 12 Mar, 2024 at 08:00:00", R"(---- File date distribution: CREATE

     10-Mar-24:  3
     08-Mar-24:  1

---- File date distribution: MODIFY

     10-Mar-24:  3
     08-Mar-24:  1

---- File date distribution: ACCESS

     04-Mar-24:  0

)",
       ""},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.zone);
    ExpectReports({.scan = scan,
                   .config = "[parameters]\ncdatebands=20240309,20240311\nMDateBands=3d,1D\n"
                             "adatebands=1w\n[report]\ntype=summary\nreportfile=a\n",
                   .zone = row.zone},
                  {{"a", "Audit summary",
                    std::string("\n\nVelmora Filesystem Audit Summary Report\n\n"
                                "Source file: scan.dtl, Created: ") +
                        row.created + R"(

Server: server
---- Totals for NFS root: / (local filesystem)

       Directories: 1
             Files: 5
   Total file size: 0 bytes
   Volume capacity: 0 bytes
   Available space: 0 bytes

)" + row.bands,
                    2}});
    const RunOutcome query = RunOnScan(
        {.scan = scan, .config = "", .options = {"-qf", "mdate eq 20240312"}, .zone = row.zone});
    EXPECT_EQ(query.out, row.queried);
  }
}

// Dates in listings take the format of the parameters.
TEST(ReportForms, DateFormats) {
  const struct {
    std::string format;
    const char* zone;
    std::string date;
  } rows[] = {
      {"", "UTC", "03/10/24 07:00:00"},
      {"dateformat=%n\n", "UTC", "1710054000"},
      {"dateformat=%d %b %y %H:%M %Z\n", "America/New_York", "10 Mar 24 03:00 EDT"},
      {"dateformat=%d %b %y %H:%M %Z\n", "UTC", "10 Mar 24 07:00 UTC"},
      {"dateformat=%Y=%%\n", "UTC", "2024=%"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.format + row.zone);
    const ScanSpec scan{
        .revision = 7,
        .records = {DirectoryRecord("/"), FileRecord("f", {.modified = March(10, 7), .size = 1})}};
    ExpectReports({.scan = scan,
                   .config = "[parameters]\ncsvhdrs=no\nnameform=fullpath\n" + row.format +
                             "[report]\ntype=custom\nformat=csv\nreportfile=a\n",
                   .zone = row.zone},
                  {{"a", "Custom file report", "/f,1," + row.date + "\n"}});
  }
}

}  // namespace
}  // namespace tabulon
