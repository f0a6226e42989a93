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
      {"utfrequired", "Files with names requiring UTF-8 based on codepage 8859-15",
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
  // clang-format off
  ScanSpec scan{.kind = ScanKind::kCifs, .revision = 0x208, .scanTime = March(9, 16),
                .flags = kHeaderSacls, .server = "filer", .rootPath = "C:\\share",
                .share = "\\\\filer\\c", .tag = PaddedTag("Q1"), .version = {"2.2", "Linux", "arm"},
                .orphanedSids = 23, .orphanedAsOwner = 24, .descriptors = {"one", "two"},
                .domains = {"CORP", "BUILTIN", ""}};
  scan.adjust = [](LogHeader&, LogRoot& root) {
    uint32_t next = 1;
    for (uint32_t& count : root.counts) count = next++;
    root.emptyDirectories = 1;
  };
  // Name, domain, type, number of uses and of those as an owner.
  const SidSpec sids[] = {
      {"", "bob", 0, 1, 5, 2}, {"", "zed", 2, 1, 6, 0}, {"", "odd", 2, 12, 1, 1},
      {"", "", 0, 8, 2, 0}, {"", "Everyone", 1, 5, 7, 0}, {"", "unused", 0, 2, 0, 9},
      {"", "whoever", 0, -3, 4, 0}, {"", "Alice", 0, 1, 3, 1}, {"", "team", 0, -1, 1, 0},
      {"", "me", 0, -2, 8, 1}, {"", "staff", 0, 2, 9, 0}, {"", "CORP", 0, 3, 1, 0},
      {"", "alias", 1, 4, 1, 0}, {"", "gone", 0, 6, 1, 0}, {"", "bad", 0, 7, 1, 0},
      {"", "PC$", 0, 9, 1, 0}, {"", "zero", 0, 0, 1, 0}, {"", "ALICE", 0, 1, 9, 9},
  };
  // clang-format on
  for (SidSpec sid : sids) {
    sid.sid = BinarySid(5, {static_cast<uint32_t>(scan.sids.size())});
    scan.sids.push_back(sid);
  }
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
    "[parameters]\nmaxpathlength=18\nmaxpathunits=chars\nisocodepage=8859-15\n"
    "dateformat=%d.%m.%y\n";

TEST(CifsReports, ListingTypes) {
  std::string totals;
  std::vector<ReportRow> reports;
  for (const auto& [type, title, file, link] : Listings()) {
    const std::string lines = "type=" + type + ";totals=yes;showlink=yes";
    const std::string sub = file.size >> kFirstInSub != 0 ? "\\sub" : "";
    reports.push_back(Titled(lines, title, InDirectory("C:\\share" + sub, {file.name + link})));
    reports.push_back({lines + ";format=CSV;fields=size;nameform=fullpath;pathform=relative", title,
                       "Full path,File size\n" + sub + "\\" + file.name + "," +
                           std::to_string(file.size) + "\n"});
    const std::string line = title + ",1," + std::to_string(file.size) + "\n";
    totals += line + line;
  }
  reports.push_back({"type=totals;format=csv", "Report totals", totals});
  ExpectReports({SmallScan(), kParameters}, reports);
}

// Accounts in the order of their types, then of their names; of two with the same name the first
// counts, and those without a use are left out.
ReportRow SidUse(bool csv, bool showSids) {
  // clang-format off
  const struct { std::string type, account, uses, owns; } rows[] = {
      {"Unmapped SIDs", "unmapped", "4", "0"}, {"Local users", "CORP\\me", "8", "1"},
      {"Local groups", "CORP\\team", "1", "0"}, {"Not possible", "CORP\\zero", "1", "0"},
      {"Domain users", "CORP\\Alice", "3", "1"}, {"Domain users", "CORP\\bob", "5", "2"},
      {"Domain users", "zed", "6", "0"}, {"Domain groups", "CORP\\staff", "9", "0"},
      {"Domains", "CORP\\CORP", "1", "0"}, {"Alias SIDs", "BUILTIN\\alias", "1", "0"},
      {"Wellknown groups", "BUILTIN\\Everyone", "7", "0"},
      {"Deleted accounts", "CORP\\gone", "1", "0"}, {"Invalid SIDs", "CORP\\bad", "1", "0"},
      {"Unknown SIDs", "unknown", "2", "0"}, {"Computers", "CORP\\PC$", "1", "0"},
      {"Not possible", "odd", "1", "1"},
  };
  // clang-format on
  std::string text =
      csv ? "Class,Domain\\Account,Use count,Owner count\n" : "---- SID use totals\n\n";
  std::string last, sid = "SidString Not Available";
  for (const auto& [type, account, uses, owns] : rows) {
    const bool shown = showSids && account != "unmapped";
    if (csv) {
      text += type + "," + account + "," + uses + "," + owns + (shown ? "," + sid : "") + "\n";
    } else {
      text += (type == last ? "" : type + "\n") + "  (" + uses + "/" + owns + ") [" + account +
              "]" + (shown ? " [" + sid + "]" : "") + "\n";
    }
    last = type;
  }
  return {
      std::string("type=siduse") + (csv ? ";format=csv" : "") + (showSids ? ";showsids=yes" : ""),
      "SID use totals", text};
}

TEST(CifsReports, OtherTypes) {
  ExpectReports({SmallScan(), kParameters},
                {SidUse(false, false),
                 SidUse(false, true),
                 SidUse(true, false),
                 SidUse(true, true),
                 {"type=filetypes;format=csv", "File type totals", ".txt,2,3072\n"},
                 Titled("type=ownertotals", "Totals by owner"),
                 Titled("type=subdircount;nameform=fullpath", "Subdirectory Counts",
                        "C:\\share\\\\\nC:\\share\\sub\\\\sub\n"),
                 Titled("type=duplicates;dupcheck=cdate;filter=size eq 1 [or] size eq 2",
                        "Duplicate file report"),
                 Summary("Sat, 09 Mar, 2024 at 16:00:00", "filer",
                         R"(
Scan Version : 2.2
Build Platform : Linux
Build Architecture : arm

,  QVA tag: Q1
---- Totals for CIFS root: C:\share (\\filer\c)

       Directories: 2
        Empty dirs: 1
             Files: 15
   Total file size: 32,767 bytes
   Volume capacity: 0 bytes
   Available space: 0 bytes
   Encrypted files: 1
  Compressed files: 2
     Offline files: 4
         ADS files: 3
  Symlinks (Files): 6
   Symlinks (Dirs): 7
        Hard links: 5
  MountPoint Links: 8
   Junction Points: 9

        Unique SDs: 2
              SIDs: 18
         orphaned SIDs: 23
              as owner: 24
      SACLs are present

)")});
  EXPECT_THAT(RunOnScan({{.kind = ScanKind::kCifs, .revision = 7, .rootPath = "D:"}}).out,
              AllOf(HasSubstr("root: D: (local disk)\n"), HasSubstr("SACLs are not present\n")));
}

// Each stream gets a line of its own when it is asked for; it counts in no total.
TEST(CifsReports, AllFieldsAndStreams) {
  const std::string top = "C:\\share", mount = top + "\\sub\\mount",
                    target = "  =>  \\??\\Volume{1}\\\n";
  for (const bool streams : {false, true}) {
    const std::string fields =
        std::string("Code,Name,Type,File size,ADS size,Create date,Modify date,Last access date,") +
        R"(Attributes,Owner,Group,Permissions,Subdirectory Count
D,C:\share
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

}  // namespace
}  // namespace tabulon
