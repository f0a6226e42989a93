// How reports write paths and count bands, on small scans.
#include "driver/configrun.h"

namespace tabulon {
namespace {

// How directory and name are written, by root and forms. The scan has a file in its root and one
// below. The forms may be the report's own, or the default that the parameters choose.
TEST(ReportForms, PathForms) {
  // clang-format off
  const struct { const char* root; std::string form, directory, below, top, low; } rows[] = {
      {"/", "", "/", "/sub", "/top", "/sub/low"},
      {"/srv", "", "/srv", "/srv/sub", "/srv/top", "/srv/sub/low"},
      {"/srv", "pathform=relative", "/", "/sub", "/top", "/sub/low"},
      {"/d", "pathform=relative\npathform=absolute", "/d", "/d/sub", "/d/top", "/d/sub/low"},
      {R"(C:\)", "", R"(C:\)", R"(C:\sub)", R"(C:\top)", R"(C:\sub\low)"},
      {R"(C:\data)", "", R"(C:\data)", R"(C:\data\sub)", R"(C:\data\top)", R"(C:\data\sub\low)"},
      {R"(C:\)", "pathform=relative", R"(\)", R"(\sub)", R"(\top)", R"(\sub\low)"},
      {R"(\\f\s)", "pathform=relative", R"(\)", R"(\sub)", R"(\top)", R"(\sub\low)"},
  };
  // clang-format on
  for (const auto& row : rows) {
    SCOPED_TRACE(std::string(row.root) + ", " + row.form);
    const bool nfs = row.root[0] == '/';
    const ScanSpec scan{.kind = nfs ? ScanKind::kNfs : ScanKind::kCifs,
                        .revision = 7,
                        .rootPath = row.root,
                        .records = {DirectoryRecord(nfs ? "/" : "\\"), FileRecord("top"),
                                    DirectoryRecord(nfs ? "/sub" : "\\sub"), FileRecord("low")}};
    const std::string names = InDirectory(row.directory, {"top"}) + InDirectory(row.below, {"low"});
    const std::string coded = "D," + row.directory + "\nF,top\nD," + row.below + "\nF,low\n";
    const std::string paths = row.top + "\n" + row.low + "\n";
    const std::string type = "type=custom;title=none;fields=name", csv = ";format=csv";
    const std::string own = type + ";" + row.form + "\nnameform=";
    const std::string top = row.directory + (row.directory.back() == '\\' ? "" : "\\") + "top";
    ExpectReports({scan, "[parameters]\ncsvhdrs=no\nnameform=fullpath\n"},
                  {Titled("type=duplicates;dupcheck=size;" + row.form, "Duplicate file report",
                          "Size: 0\n  " + top + "\n  " + row.below + "\\low\n\n"),
                   {own + "fullpath", "none", paths},
                   {own + "fullpath" + csv, "none", paths},
                   {own + "fileindir", "none", names},
                   {own + "fileindir" + csv, "none", coded}});
    ExpectReports({scan, "[parameters]\n" + row.form + "\nnameform=fullpath\n"},
                  {{type, "none", paths}});
    ExpectReports({scan, "[parameters]\n" + row.form + "\n"}, {{type, "none", names}});
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
  // The day and the count of each band, and what a query for the scan's day selects.
  // clang-format off
  const struct {
    const char* zone; const char* time; std::vector<std::string> create, modify, access;
    const char* queried;
  } rows[] = {
      {"UTC", "12:00:00", {"11-Mar-24:  4", "09-Mar-24:  1"}, {"11-Mar-24:  4", "09-Mar-24:  2"},
       {"05-Mar-24:  5"}, "/f\n"},
      {"America/New_York", "08:00:00", {"10-Mar-24:  3", "08-Mar-24:  1"},
       {"10-Mar-24:  3", "08-Mar-24:  1"}, {"04-Mar-24:  0"}, ""},
  };
  // clang-format on
  const std::string totals = R"(---- Totals for NFS root: / (local filesystem)

       Directories: 1
             Files: 5
   Total file size: 0 bytes
   Volume capacity: 0 bytes
   Available space: 0 bytes

)";
  for (const auto& row : rows) {
    SCOPED_TRACE(row.zone);
    const auto bands = [](const char* what, const std::vector<std::string>& lines) {
      std::string text = std::string("---- File date distribution: ") + what + "\n\n";
      for (const std::string& line : lines) text += "     " + line + "\n";
      return text + "\n";
    };
    ExpectReports({.scan = scan,
                   .config = "[parameters]\ncdatebands=20240309,20240311\nMDateBands=3d,1D\n"
                             "adatebands=1w\n",
                   .zone = row.zone},
                  {Summary(std::string("Tue, 12 Mar, 2024 at ") + row.time, "server",
                           totals + bands("CREATE", row.create) + bands("MODIFY", row.modify) +
                               bands("ACCESS", row.access))});
    const std::vector<std::string> query = {"-qf", "mdate eq 20240312"};
    EXPECT_EQ(RunOnScan({.scan = scan, .options = query, .zone = row.zone}).out, row.queried);
  }
}

}  // namespace
}  // namespace tabulon
