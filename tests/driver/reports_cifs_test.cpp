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
  std::string text;  // how the file is listed
};

std::vector<Listing> Listings() {
  const auto sized = [](int exponent, uint32_t attributes = 0, uint32_t flags = 0) {
    return RecordSpec{.flags = flags, .attributes = attributes, .size = uint64_t{1} << exponent};
  };
  const std::string top = "In directory: \\\\filer\\share\n  ";
  const std::string sub = "In directory: \\\\filer\\share\\sub\n  ";
  RecordSpec mount = MountPointRecord("mount", "\\??\\Volume{1}\\", sized(13));
  mount.streams = {{":s", 1}};  // without the flag that lists it as a file with streams
  return {
      {"compressed", "Compressed files", FileRecord("packed", sized(0, 0x800)), top + "packed\n"},
      {"offline", "Offline files", FileRecord("tape", sized(1, 0x1000)), top + "tape\n"},
      {"encrypted", "Encrypted files", FileRecord("secret", sized(2, 0x4021)), top + "secret\n"},
      {"noowner", "Files with no owner SID", FileRecord("a", sized(3, 0, 0x8)), top + "a\n"},
      {"orphanowner", "Files with orphan owner SIDs", FileRecord("b", sized(4, 0, 0x20)),
       top + "b\n"},
      {"nogroup", "Files with no group SID", FileRecord("c", sized(5, 0, 0x10)), top + "c\n"},
      {"orphangroup", "Files with orphan group SIDs", FileRecord("d", sized(6, 0, 0x200)),
       top + "d\n"},
      {"orphaninacl", "Files with orphan SIDs in ACL", FileRecord("e", sized(7, 0, 0x40)),
       top + "e\n"},
      {"adsfiles", "Files with Alternate Data Stream",
       WithStreams(FileRecord("f", sized(8)), {{":n\u00F6te", 5}, {":x", 1ULL << 40}}),
       top + "f\n"},
      {"longpaths", "Files with pathnames exceeding 18 characters",
       FileRecord("fourteen_chars", sized(9)), sub + "fourteen_chars\n"},
      {"utfrequired", "Files with names requiring UTF-8 based on codepage 8859-1",
       FileRecord("\u0416.txt", sized(10)), sub + "\u0416.txt\n"},
      {"nameconflict", "Files with potential long/short name conflicts",
       FileRecord("PROGRA~1.TXT", sized(11)), sub + "PROGRA~1.TXT\n"},
      {"symlinks", "Symbolic links", LinkRecord("link", "..\\f", sized(12)),
       sub + "link  =>  ..\\f\n"},
      {"mountpoints", "Mount point links", mount, sub + "mount  =>  \\??\\Volume{1}\\\n"},
      {"junctionpoints", "Junction point links", JunctionRecord("join", "D:\\", sized(14)),
       sub + "join  =>  D:\\\n"},
  };
}

constexpr size_t kFirstInSub = 9;

// The files above, nine in the root of the scan and the rest below it.
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
  const std::vector<Listing> listings = Listings();
  for (size_t i = 0; i < listings.size(); ++i) {
    if (i == 0) scan.records.push_back(DirectoryRecord("\\", {.modified = 1}));
    if (i == kFirstInSub) scan.records.push_back(DirectoryRecord("\\sub", {.modified = 0}));
    RecordSpec file = listings[i].file;
    file.created = March(1);
    file.modified = March(2);
    file.accessed = March(3);
    scan.records.push_back(file);
  }
  return scan;
}

constexpr const char* kParameters =
    "[parameters]\nmaxpathlength=18\nmaxpathunits=chars\ndateformat=%d.%m.%y\n";

TEST(CifsReports, ListingTypes) {
  const ScanSpec scan = SmallScan();
  std::string config = kParameters, csvConfig = kParameters, totals;
  std::vector<WrittenReport> reports, csvReports;
  for (const Listing& listing : Listings()) {
    const std::string lines = "[report]\ntype=" + listing.type + "\nreportfile=" + listing.type +
                              "\ntotals=yes\nshowlink=yes\n";
    config += lines;
    csvConfig += lines + "format=CSV\nfields=size\nnameform=fullpath\npathform=relative\n";
    reports.push_back(
        {listing.type, listing.title, "\n---- " + listing.title + " ----\n\n" + listing.text});
    const bool inSub = listing.text.find("\\sub\n") != std::string::npos;
    csvReports.push_back({listing.type, listing.title,
                          std::string("Full path,File size\n\\") + (inSub ? "sub\\" : "") +
                              listing.file.name + "," + std::to_string(listing.file.size) + "\n"});
    totals += TotalsLine(scan, listing.title, [&](const RecordSpec& record) {
      return record.name == listing.file.name;
    });
  }
  for (auto* lines : {&config, &csvConfig}) {
    *lines += "[report]\ntype=totals\nformat=csv\nreportfile=totals\n";
  }
  reports.push_back({"totals", "Report totals", totals});
  csvReports.push_back({"totals", "Report totals", totals});
  ExpectReports({scan, config}, reports);
  ExpectReports({scan, csvConfig}, csvReports);
}

TEST(CifsReports, OtherTypes) {
  ExpectReports({SmallScan(), std::string(kParameters) + R"([report]
type = siduse
reportfile = sids.txt
[report]
type = filetypes
reportfile = types.txt
format = csv
[report]
type = ownertotals
reportfile = owners.txt
[report]
type = subdircount
reportfile = subdirs.txt
nameform = fullpath
[report]
type = duplicates
dupcheck = cdate
filter = size eq 1 [or] size eq 2
reportfile = dups.txt
[report]
type = siduse
showsids = yes
format = csv
reportfile = sids.csv
[report]
type = summary
reportfile = summary.txt
)"},
                {{"summary.txt", "Audit summary", R"(

Velmora Filesystem Audit Summary Report

Source file: scan.dtl, Created: Sat, 09 Mar, 2024 at 16:00:00

Server: filer
---- Totals for CIFS root: \\filer\share

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

)",
                  2},
                 {"sids.csv", "SID use totals", R"(Class,Domain\Account,Use count,Owner count
Unmapped SIDs,unmapped,4,0
Domain users,CORP\Alice,3,1,SidString Not Available
Domain users,CORP\bob,5,2,SidString Not Available
Domain users,zed,6,0,SidString Not Available
Wellknown groups,BUILTIN\Everyone,7,0,SidString Not Available
Unknown SIDs,unknown,2,0,SidString Not Available
Not possible,odd,1,1,SidString Not Available
)"},
                 {"sids.txt", "SID use totals", R"(---- SID use totals

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
                 {"types.txt", "File type totals", ".txt,2,3072\n"},
                 {"owners.txt", "Totals by owner", "\n---- Totals by owner ----\n\n"},
                 {"subdirs.txt", "Subdirectory Counts", R"(
---- Subdirectory Counts ----

\\filer\share\\
\\filer\share\sub\\sub
)"},
                 {"dups.txt", "Duplicate file report", "\n---- Duplicate file report ----\n\n"}});
}

TEST(CifsReports, AllFieldsAndStreams) {
  const std::string config = std::string(kParameters) + R"([report]
type = custom
format = csv
fields = type,size,ads,cdate,mdate,adate,attrs,owner,group,acl,sdircount
filter = attrs includes ae [or] name is f
reportfile = fields.csv
[report]
type = adsfiles
title = Streams
reportfile = streams.txt
totals = yes
[report]
type = mountpoints
showlink = yes
nameform = fullpath
reportfile = mounts.txt
[report]
type = totals
format = csv
reportfile = totals.csv
)";
  std::vector<WrittenReport> reports = {
      {"fields.csv", "Custom file report",
       R"(Code,Name,Type,File size,ADS size,Create date,Modify date,Last access date,Attributes,Owner,Group,Permissions,Subdirectory Count
D,\\filer\share
F,secret,F,4,0,01.03.24,02.03.24,03.03.24,--RA--E-,1709337600
F,f,F,256,0,01.03.24,02.03.24,03.03.24,--------,1709337600
)"},
      {"streams.txt", "Streams", R"(
---- Streams ----

In directory: \\filer\share
  f
)"},
      {"mounts.txt", "Mount point links", R"(
---- Mount point links ----

\\filer\share\sub\mount  =>  \??\Volume{1}\
)"},
      {"totals.csv", "Report totals", "Streams,1,256\n"},
  };
  ExpectReports({SmallScan(), config}, reports);

  // Each stream gets a line of its own when it is asked for; it counts in no total.
  reports[0].text +=
      "F,f:n\u00F6te,F,0,5,01.03.24,02.03.24,03.03.24,--------,1709337600\n"
      "F,f:x,F,0,1099511627776,01.03.24,02.03.24,03.03.24,--------,1709337600\n";
  reports[1].text = R"(
---- Streams ----

In directory: \\filer\share
  f
  f:nöte
  f:x
)";
  reports[2].text += "\\\\filer\\share\\sub\\mount:s  =>  \\??\\Volume{1}\\\n";
  ExpectReports({SmallScan(), config, {"-adsfull"}}, reports);
}

// A version block shows in the summary, and on standard output without a line end.
TEST(CifsReports, SummaryOfARevision8Scan) {
  const RunOutcome outcome = RunOnScan({.scan = {.kind = ScanKind::kCifs,
                                                 .rootPath = "C:\\",
                                                 .share = "\\\\filer\\c",
                                                 .tag = PaddedTag("Q1"),
                                                 .version = {"2.2", "Linux", "arm"}},
                                        .config = "[report]\ntype=summary\nreportfile=a\n"});
  EXPECT_EQ(outcome.status, 0);
  EXPECT_EQ(outcome.out,
            "ProcessConfigFile DONE\nReport 'Audit summary' written to reports/a\n"
            "Report 'Audit summary' written to reports/a\n2.2 Linux arm");
  EXPECT_EQ(outcome.reports.at("a"), R"(

Velmora Filesystem Audit Summary Report

Source file: scan.dtl, Created: Thu, 01 Jan, 1970 at 00:00:00

Server: server

Scan Version : 2.2
Build Platform : Linux
Build Architecture : arm

,  QVA tag: Q1
---- Totals for CIFS root: C:\ (\\filer\c)

       Directories: 0
             Files: 0
   Total file size: 0 bytes
   Volume capacity: 0 bytes
   Available space: 0 bytes

        Unique SDs: 0
              SIDs: 0
      SACLs are not present

)");
}

// How directory and name are written, by root and forms.
TEST(CifsReports, PathForms) {
  const struct {
    const char* root;
    const char* lines;
    const char* text;
    const char* csv;
  } rows[] = {
      {"C:\\", "", "In directory: C:\\\n  top\nIn directory: C:\\sub\n  low\n",
       "D,C:\\\nF,top\nD,C:\\sub\nF,low\n"},
      {"C:\\", "nameform=fullpath\n", "C:\\top\nC:\\sub\\low\n", "C:\\top\nC:\\sub\\low\n"},
      {"C:\\data", "nameform=fullpath\n", "C:\\data\\top\nC:\\data\\sub\\low\n",
       "C:\\data\\top\nC:\\data\\sub\\low\n"},
      {"C:\\", "pathform=relative\n", "In directory: \\\n  top\nIn directory: \\sub\n  low\n",
       "D,\\\nF,top\nD,\\sub\nF,low\n"},
      {"\\\\f\\s", "pathform=relative\nnameform=fullpath\n", "\\top\n\\sub\\low\n",
       "\\top\n\\sub\\low\n"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(std::string(row.root) + ", " + row.lines);
    const ScanSpec scan{.kind = ScanKind::kCifs,
                        .revision = 7,
                        .rootPath = row.root,
                        .records = {DirectoryRecord("\\"), FileRecord("top"),
                                    DirectoryRecord("\\sub"), FileRecord("low")}};
    const std::string report =
        std::string("[report]\ntype=custom\ntitle=none\nfields=name\n") + row.lines;
    ExpectReports({scan, "[parameters]\ncsvhdrs=no\n" + report + "reportfile=a\n" + report +
                             "format=csv\nreportfile=b\n"},
                  {{"a", "none", row.text}, {"b", "none", row.csv}});
  }
}

// Parameters that a listing type takes, with the title that tells of them.
TEST(CifsReports, LimitsAndCodePages) {
  const ScanSpec scan{.kind = ScanKind::kCifs,
                      .revision = 7,
                      .records = {DirectoryRecord("\\"), FileRecord("sev\u00E9n_7"),
                                  FileRecord("\u0416"), FileRecord("\u0104")}};
  const struct {
    const char* parameters;
    const char* type;
    std::string title;
    const char* listed;
  } rows[] = {
      {"maxpathlength=7\nmaxpathunits=chars\n", "longpaths", "exceeding 7 characters",
       "\\sev\u00E9n_7\n"},
      {"maxpathlength=8\nmaxpathunits=CHARS\n", "longpaths", "exceeding 8 characters", ""},
      {"maxpathlength=31\nmaxpathunits=bytes\n", "longpaths", "exceeding 31 bytes",
       "\\sev\u00E9n_7\n"},
      {"maxpathlength=32\nmaxpathunits=bytes\n", "longpaths", "exceeding 32 bytes", ""},
      {"maxpathlength=9\n", "longpaths", "exceeding 9 UTF-8 encoded bytes", "\\sev\u00E9n_7\n"},
      {"maxpathlength=10\n", "longpaths", "exceeding 10 UTF-8 encoded bytes", ""},
      {"", "utfrequired", "codepage 8859-1", "\\\u0416\n\\\u0104\n"},
      {"isocodepage=8859-5\n", "utfrequired", "codepage 8859-5", "\\\u0104\n"},
      {"isocodepage=8859-16\n", "utfrequired", "codepage 8859-16", "\\\u0416\n"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.title);
    const std::string title =
        (row.title.starts_with("exceeding") ? "Files with pathnames "
                                            : "Files with names requiring UTF-8 based on ") +
        row.title;
    ExpectReports({scan, std::string("[parameters]\nnameform=fullpath\npathform=relative\n") +
                             row.parameters + "[report]\ntype=" + row.type + "\nreportfile=a\n"},
                  {{"a", title, "\n---- " + title + " ----\n\n" + row.listed}});
  }
}

}  // namespace
}  // namespace tabulon
