// Every report that the scan of a Windows share can give, whole.
#include "driver/configrun.h"

namespace tabulon {
namespace {

// A listing type and the one file that it selects. Sizes are powers of two, so that a sum tells
// which files are in it.
struct Listing {
  std::string type;
  std::string title;
  RecordSpec file;
  std::string link = "";  // what listings show behind the name
};

constexpr size_t kFirstInSub = 9;  // nine are in the root of the scan and the rest in "sub"

std::vector<Listing> Listings() {
  const auto file = [](const char* name, uint32_t attributes = 0, uint32_t flags = 0) {
    return FileRecord(name, {.flags = flags, .attributes = attributes});
  };
  RecordSpec mount = MountPointRecord("mount", "\\??\\Volume{1}\\");
  mount.streams = {{":s", 1}};  // without the flag that lists it as a file with streams
  // clang-format off
  std::vector<Listing> rows = {
      {"compressed", "Compressed files", file("packed", 0x800)},
      {"offline", "Offline files", file("tape", 0x1000)},
      {"encrypted", "Encrypted files", file("secret", 0x4021)},
      {"noowner", "Files with no owner SID", file("a", 0, 0x8)},
      {"orphanowner", "Files with orphan owner SIDs", file("b", 0, 0x20)},
      {"nogroup", "Files with no group SID", file("c", 0, 0x10)},
      {"orphangroup", "Files with orphan group SIDs", file("d", 0, 0x200)},
      {"orphaninacl", "Files with orphan SIDs in ACL", file("e", 0, 0x40)},
      {"adsfiles", "Files with Alternate Data Stream",
       WithStreams(file("f"), {{":n\u00F6te", 5}, {":x", 1ULL << 40}})},
      {"longpaths", "Files with pathnames exceeding 18 characters", file("fourteen_chars")},
      {"utfrequired", "Files with names requiring UTF-8 based on codepage 8859-1",
       file("\u0416.txt")},
      {"nameconflict", "Files with potential long/short name conflicts", file("PROGRA~1.TXT")},
      {"symlinks", "Symbolic links", LinkRecord("link", "..\\f"), "  =>  ..\\f"},
      {"mountpoints", "Mount point links", mount, "  =>  \\??\\Volume{1}\\"},
      {"junctionpoints", "Junction point links", JunctionRecord("join", "D:\\"), "  =>  D:\\"},
  };
  // clang-format on
  for (size_t i = 0; i < rows.size(); ++i) rows[i].file.size = uint64_t{1} << i;
  return rows;
}

ScanSpec SmallScan() {
  ScanSpec scan{.kind = ScanKind::kCifs,
                .revision = 0x207,
                .scanTime = March(9, 16),
                .flags = kHeaderSacls,
                .server = "filer",
                .rootPath = "\\\\filer\\share",
                .orphanedSids = 3,
                .orphanedAsOwner = 1,
                .descriptors = {"one", "two"},
                .domains = {"CORP", "BUILTIN", ""}};
  const auto sid = [&](const char* name, uint32_t domain, int32_t type, uint32_t uses,
                       uint32_t owns) {
    const auto number = static_cast<uint32_t>(scan.sids.size());
    scan.sids.push_back({BinarySid(5, {number}), name, domain, type, uses, owns});
  };
  sid("bob", 0, 1, 5, 2);
  sid("zed", 2, 1, 6, 0);
  sid("odd", 2, 12, 1, 1);
  sid("", 0, 8, 2, 0);
  sid("Everyone", 1, 5, 7, 0);
  sid("unused", 0, 2, 0, 9);
  sid("whoever", 0, -3, 4, 0);
  sid("Alice", 0, 1, 3, 1);
  for (Listing& row : Listings()) {
    if (scan.records.empty()) scan.records.push_back(DirectoryRecord("\\", {.modified = 1}));
    if (scan.records.size() == 1 + kFirstInSub) scan.records.push_back(DirectoryRecord("\\sub"));
    row.file.created = March(1);
    row.file.modified = March(2);
    row.file.accessed = March(3);
    scan.records.push_back(row.file);
  }
  return scan;
}

constexpr const char* kParameters =
    "[parameters]\nmaxpathlength=18\nmaxpathunits=chars\ndateformat=%d.%m.%y\n";

TEST(CifsReports, ListingTypes) {
  const ScanSpec scan = SmallScan();
  std::string totals;
  std::vector<ReportRow> reports;
  for (const auto& [type, title, file, link] : Listings()) {
    const std::string lines = "type=" + type + ";totals=yes;showlink=yes";
    const std::string sub = file.size >> kFirstInSub != 0 ? "\\sub" : "";
    reports.push_back(
        Titled(lines, title, InDirectory("\\\\filer\\share" + sub, {file.name + link})));
    reports.push_back({lines + ";format=CSV;fields=size;nameform=fullpath;pathform=relative", title,
                       "Full path,File size\n" + sub + "\\" + file.name + "," +
                           std::to_string(file.size) + "\n"});
    const auto selects = [&](const RecordSpec& record) { return record.name == file.name; };
    for (int form = 0; form < 2; ++form) totals += TotalsLine(scan, title, selects);
  }
  reports.push_back({"type=totals;format=csv", "Report totals", totals});
  ExpectReports({scan, kParameters}, reports);
}

TEST(CifsReports, OtherTypes) {
  ExpectReports({SmallScan(), kParameters},
                {{"type=siduse", "SID use totals", R"(---- SID use totals

Unmapped SIDs
  (4/0) [unmapped]
Domain users
  (3/1) [CORP\Alice]
  (5/2) [CORP\bob]
  (6/0) [zed]
Wellknown groups
  (7/0) [BUILTIN\Everyone]
Unknown SIDs
  (2/0) [unknown]
Not possible
  (1/1) [odd]
)"},
                 {"type=siduse;showsids=yes;format=csv", "SID use totals",
                  R"(Class,Domain\Account,Use count,Owner count
Unmapped SIDs,unmapped,4,0
Domain users,CORP\Alice,3,1,SidString Not Available
Domain users,CORP\bob,5,2,SidString Not Available
Domain users,zed,6,0,SidString Not Available
Wellknown groups,BUILTIN\Everyone,7,0,SidString Not Available
Unknown SIDs,unknown,2,0,SidString Not Available
Not possible,odd,1,1,SidString Not Available
)"},
                 {"type=filetypes;format=csv", "File type totals", ".txt,2,3072\n"},
                 Titled("type=ownertotals", "Totals by owner"),
                 Titled("type=subdircount;nameform=fullpath", "Subdirectory Counts",
                        "\\\\filer\\share\\\\\n\\\\filer\\share\\sub\\\\sub\n"),
                 Titled("type=duplicates;dupcheck=cdate;filter=size eq 1 [or] size eq 2",
                        "Duplicate file report"),
                 Summary("Sat, 09 Mar, 2024 at 16:00:00", "filer",
                         R"(---- Totals for CIFS root: \\filer\share

       Directories: 2
             Files: 15
   Total file size: 32,767 bytes
   Volume capacity: 0 bytes
   Available space: 0 bytes
   Encrypted files: 1
  Compressed files: 1
     Offline files: 1
         ADS files: 1
  Symlinks (Files): 1
  MountPoint Links: 1
   Junction Points: 1

        Unique SDs: 2
              SIDs: 8
         orphaned SIDs: 3
              as owner: 1
      SACLs are present

)")});
}

// Each stream gets a line of its own when it is asked for; it counts in no total.
TEST(CifsReports, AllFieldsAndStreams) {
  const std::string top = "\\\\filer\\share", mount = top + "\\sub\\mount",
                    target = "  =>  \\??\\Volume{1}\\\n";
  for (const bool streams : {false, true}) {
    const std::string fields =
        std::string("Code,Name,Type,File size,ADS size,Create date,Modify date,Last access date,") +
        R"(Attributes,Owner,Group,Permissions,Subdirectory Count
D,\\filer\share
F,secret,F,4,0,01.03.24,02.03.24,03.03.24,--RA--E-,1709337600
F,f,F,256,0,01.03.24,02.03.24,03.03.24,--------,1709337600
)" +
        (streams ? R"(F,f:nöte,F,0,5,01.03.24,02.03.24,03.03.24,--------,1709337600
F,f:x,F,0,1099511627776,01.03.24,02.03.24,03.03.24,--------,1709337600
)"
                 : "");
    ExpectReports({SmallScan(), kParameters,
                   streams ? std::vector<std::string>{"-adsfull"} : std::vector<std::string>{}},
                  {{"type=custom;format=csv;filter=attrs includes ae [or] name is f;"
                    "fields=type,size,ads,cdate,mdate,adate,attrs,owner,group,acl,sdircount",
                    "Custom file report", fields},
                   Titled("type=adsfiles;title=Streams;totals=yes", "Streams",
                          InDirectory(top, {"f"}) + (streams ? "  f:n\u00F6te\n  f:x\n" : "")),
                   Titled("type=mountpoints;showlink=yes;nameform=fullpath", "Mount point links",
                          mount + target + (streams ? mount + ":s" + target : "")),
                   {"type=totals;format=csv", "Report totals", "Streams,1,256\n"}});
  }
}

// Parameters that a listing type takes, with the title that tells of them.
TEST(CifsReports, LimitsAndCodePages) {
  const ScanSpec scan{.kind = ScanKind::kCifs,
                      .revision = 7,
                      .records = {DirectoryRecord("\\"), FileRecord("sev\u00E9n_7"),
                                  FileRecord("\u0416"), FileRecord("\u0104")}};
  const std::string seven = "\\sev\u00E9n_7\n", zhe = "\\\u0416\n", ogonek = "\\\u0104\n";
  // clang-format off
  const struct { const char* parameters; std::string limit, listed; } rows[] = {
      {"maxpathlength=7\nmaxpathunits=chars\n", "7 characters", seven},
      {"maxpathlength=8\nmaxpathunits=CHARS\n", "8 characters", ""},
      {"maxpathlength=31\nmaxpathunits=bytes\n", "31 bytes", seven},
      {"maxpathlength=32\nmaxpathunits=bytes\n", "32 bytes", ""},
      {"maxpathlength=9\n", "9 UTF-8 encoded bytes", seven},
      {"maxpathlength=10\n", "10 UTF-8 encoded bytes", ""},
      {"", "codepage 8859-1", zhe + ogonek},
      {"isocodepage=8859-5\n", "codepage 8859-5", ogonek},
      {"isocodepage=8859-16\n", "codepage 8859-16", zhe},
  };
  // clang-format on
  for (const auto& row : rows) {
    SCOPED_TRACE(row.limit);
    const bool pages = row.limit.starts_with("codepage");
    const std::string title =
        (pages ? "Files with names requiring UTF-8 based on " : "Files with pathnames exceeding ") +
        row.limit;
    ExpectReports({scan, std::string("[parameters]\nnameform=fullpath\npathform=relative\n") +
                             row.parameters},
                  {Titled(pages ? "type=utfrequired" : "type=longpaths", title, row.listed)});
  }
}

}  // namespace
}  // namespace tabulon
