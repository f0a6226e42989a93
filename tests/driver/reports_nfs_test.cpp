// Every report that the scan of a Unix filesystem can give, whole: text and CSV, standard and
// unicode.
#include "driver/configrun.h"

namespace tabulon {
namespace {

constexpr uint64_t kUnit = 4096;
constexpr uint32_t kNobody = 4294967294;

RecordSpec Entry(uint32_t mode, uint64_t size, uint32_t uid, uint32_t inode, uint32_t created,
                 uint32_t modified, uint32_t accessed) {
  return {.attributes = mode,
          .created = created,
          .accessed = accessed,
          .modified = modified,
          .size = size,
          .uid = uid,
          .gid = uid == 0 ? 0U : 100U,
          .inode = inode};
}

// `subdirectories` stands where other records have their modification time.
RecordSpec Directory(std::string path, uint32_t mode, uint32_t subdirectories, uint32_t uid) {
  RecordSpec entry = Entry(mode, 4096, uid, 0, March(1), subdirectories, March(1));
  entry.gid = 0;
  return DirectoryRecord(std::move(path), entry);
}

// A file of each kind. Mode bit 020 (write permission for the group, so every symbolic link as
// well) is what directories have on Windows.
ScanSpec SmallScan() {
  const uint32_t d1 = March(1), d2 = March(2), d3 = March(3), d4 = March(4), d5 = March(5),
                 d6 = March(6), d7 = March(7), d8 = March(8);
  RecordSpec program = Entry(0104755, 20, 1000, 12, d5, d3, d6);
  program.links = 2;
  RecordSpec stub = Entry(0100644, 0, 0, 41, d7, d7, d7);
  stub.flags = kRecordNfsStub;
  return {.revision = 0x207,
          .scanTime = March(9, 16),
          .server = "filer",
          .rootPath = "/srv/data",
          .availableSpace = 1000,
          .volumeCapacity = uint64_t{5} << 30,
          .records = {
              Directory("/", 040755, 2, 0),
              FileRecord("a.txt", Entry(0100644, 10, 1000, 11, d5, d4, d6)),
              FileRecord("b.TXT", program),
              FileRecord(".profile", Entry(0100600, 30, 0, 13, d1, d1, d1)),
              LinkRecord("ln", "docs/a.txt", Entry(0120777, 10, 0, 14, d5, d5, d5)),
              Directory("/docs", 040755, 1, 1000),
              FileRecord("big.iso", Entry(0100644, 5000000, 1000, 21, d2, d2, d2)),
              FileRecord("copy1.dat", Entry(0100644, 1000, 1001, 22, d3, d4, d7)),
              FileRecord("copy2.dat", Entry(0100644, 1000, 1001, 23, d4, d4, d7)),
              FileRecord("shared.dat", Entry(0100664, 1000, kNobody, 24, d4, d4, d7)),
              Directory("/docs/caf\u00E9", 040755, 0, 1000),
              FileRecord("na\u00EFve.txt", Entry(0100644, 7, 1000, 31, d6, d6, d6)),
              FileRecord("\u20AC.txt", Entry(0100644, 8, 1000, 32, d6, d6, d6)),
              Directory("/tmp", 041777, 0, 0),
              FileRecord("stub.dat", stub),
              FileRecord("PROGRA~1.TXT", Entry(0100644, 9, 0, 42, d8, d8, d8)),
          }};
}

bool Any(const RecordSpec&) {
  return true;
}
bool None(const RecordSpec&) {
  return false;
}
bool IsLink(const RecordSpec& record) {
  return (record.flags & kRecordSymlink) != 0;
}
bool IsStub(const RecordSpec& record) {
  return (record.flags & kRecordNfsStub) != 0;
}
bool HasLongPath(const RecordSpec& record) {
  for (const char* name :
       {"copy1.dat", "copy2.dat", "shared.dat", "na\u00EFve.txt", "\u20AC.txt", "PROGRA~1.TXT"}) {
    if (record.name == name) return true;
  }
  return false;
}

// The sign is held, and printed, as the character that its three bytes make here.
#define EURO "\U000E20AC"

TEST(NfsReports, EveryTypeAsText) {
  const std::string config = R"([parameters]
fileincrement = 4096
filesizebands = 8,1K
dateformat = %Y-%m-%d %H:%M
maxpathlength = 15
[report]
type = totals
totals = yes
format = csv
reportfile = totals.csv
[report]
type = filetypes
totals = yes
reportfile = types.txt
[report]
type = UIDTotals
reportfile = uids.txt
[report]
type = gidtotals
reportfile = gids.txt
[report]
type = offline
totals = yes
reportfile = offline.txt
[report]
type = longpaths
totals = yes
reportfile = long.txt
[report]
type = nameconflict
totals = yes
reportfile = conflict.txt
[report]
type = custom
title = All of it
totaltag = Everything
totals = yes
reportfile = custom.txt
[report]
type = duplicates
totals = yes
reportfile = dups.txt
[report]
type = nfsstubs
totals = yes
pathform = relative
reportfile = stubs.txt
[report]
type = symlinks
totals = yes
showlink = yes
nameform = fullpath
reportfile = links.txt
[report]
type = subdircount
totals = yes
reportfile = subdirs.txt
[report]
type = summary
reportfile = summary.txt
)";
  const ScanSpec scan = SmallScan();
  const auto totals = [&](const char* title, auto selects, bool directories = false) {
    return TotalsLine(scan, title, selects, kUnit, directories);
  };
  const std::vector<WrittenReport> reports = {
      {"summary.txt", "Audit summary", R"(

Velmora Filesystem Audit Summary Report

Source file: scan.dtl, Created: Sat, 09 Mar, 2024 at 16:00:00

Server: filer
---- Totals for NFS root: /srv/data (local filesystem)

       Directories: 4
             Files: 12
   Total file size: 4.770mb (5,003,094)
    Allocated size: 4.812mb (5,046,272)
   Volume capacity: 5.000gb (5,368,709,120)
   Available space: 1,000 bytes
    Symbolic links: 1
        Hard links: 1

---- File size distribution

                 up to 8: 3
              up to 1024: 6
          more than 1024: 4

)",
       2},
      {"totals.csv", "Report totals",
       totals("Report totals", None) + totals("File type totals", None) +
           totals("Offline files", None) +
           totals("Files with pathnames exceeding 15 UTF-8 encoded bytes", HasLongPath) +
           totals("Files with potential long/short name conflicts", None) +
           totals("Everything", Any) +
           totals("Duplicate file report",
                  [](const RecordSpec& record) { return record.name == "copy2.dat"; }) +
           totals("NFS stub files", IsStub) + totals("Symbolic links", IsLink) +
           totals("Subdirectory Counts", Any, true)},
      {"types.txt", "File type totals", R"(
---- File type totals ----

.iso           1   4.767mb (5,000,000)          4.769mb (5,001,216)
.dat           4   3,000 bytes                  12,288 bytes
.txt           3   25 bytes                     12,288 bytes
.TXT           2   29 bytes                     8,192 bytes
)"},
      {"uids.txt", "Totals by UID", R"(
---- Totals by UID ----

1000           7   4.775mb (5,008,237)          4.792mb (5,025,792)
   0           6   8,241 bytes                  20,480 bytes
1001           2   2,000 bytes                  8,192 bytes
  -2           1   1,000 bytes                  4,096 bytes
)"},
      {"gids.txt", "Totals by GID", R"(
---- Totals by GID ----

100           8   4.770mb (5,003,045)          4.796mb (5,029,888)
  0           8   16,433 bytes                 28,672 bytes
)"},
      {"offline.txt", "Offline files", R"(
---- Offline files ----

)"},
      {"long.txt", "Files with pathnames exceeding 15 UTF-8 encoded bytes", R"(
---- Files with pathnames exceeding 15 UTF-8 encoded bytes ----

In directory: /srv/data/docs
  copy1.dat
  copy2.dat
  shared.dat
In directory: /srv/data/docs/café
  naïve.txt
  )" EURO R"(.txt
In directory: /srv/data/tmp
  PROGRA~1.TXT
)"},
      {"conflict.txt", "Files with potential long/short name conflicts", R"(
---- Files with potential long/short name conflicts ----

)"},
      {"custom.txt", "All of it", R"(
---- All of it ----

In directory: /srv/data
  a.txt
  b.TXT
  .profile
  ln
In directory: /srv/data/docs
  big.iso
  copy1.dat
  copy2.dat
  shared.dat
In directory: /srv/data/docs/café
  naïve.txt
  )" EURO R"(.txt
In directory: /srv/data/tmp
  stub.dat
  PROGRA~1.TXT
)"},
      {"dups.txt", "Duplicate file report", R"(
---- Duplicate file report ----

Size: 1000  Modified: 2024-03-04 00:00
  /srv/data/docs\copy1.dat
  /srv/data/docs\copy2.dat

)"},
      {"stubs.txt", "NFS stub files", R"(
---- NFS stub files ----

In directory: /tmp
  stub.dat
)"},
      {"links.txt", "Symbolic links", R"(
---- Symbolic links ----

/srv/data/ln  =>  docs/a.txt
)"},
      {"subdirs.txt", "Subdirectory Counts", R"(
---- Subdirectory Counts ----

In directory: /srv/data
  /
In directory: /srv/data/docs
  /docs
In directory: /srv/data/docs/café
  /docs/café
In directory: /srv/data/tmp
  /tmp
)"},
  };
  ExpectReports({scan, config}, reports);

  std::string unicodeConfig = config;
  unicodeConfig.replace(0, 12, "[parameters]\ntextoutput = Unicode");
  std::vector<WrittenReport> unicodeReports = reports;
  for (WrittenReport& report : unicodeReports) report.text = AsUnicodeFile(report.text);
  ExpectReports({scan, unicodeConfig}, unicodeReports);
}

TEST(NfsReports, EveryTypeAsCsv) {
  ScanSpec scan = SmallScan();
  scan.host = "nas7";
  scan.qvaRoot = "data";
  scan.tag = PaddedTag("Q1");
  const std::string types = R"([report]
type = summary
format = csv
fields = tag,server,root,type,timestamp,totalbytes,freebytes,filesize,files,dirs,dtlname
reportfile = summary.csv
[report]
type = custom
output = csv
fields = type,size,cdate,mdate,adate,target,inode,links,uid,gid,mode,name,sdircount
totals = yes
reportfile = fields.csv
[report]
type = custom
format = csv
nameform = fullpath
pathform = relative
filter = size ge 20
filter = name matches *.dat [or] uid eq 0
title = Both lines
totals = yes
reportfile = paths.csv
[report]
type = symlinks
format = csv
fields = target,target
reportfile = links.csv
[report]
type = subdircount
format = csv
nameform = fullpath
fields = sdircount
totals = yes
reportfile = subdirs.csv
[report]
type = duplicates
format = csv
reportfile = dups.csv
[report]
type = filetypes
format = csv
extlen = 2
reportfile = types.csv
[report]
type = filetypes
format = csv
typesort = count
filter = size le 1k
reportfile = counts.csv
[report]
type = uidtotals
format = csv
filter = type is file
reportfile = uids.csv
[report]
type = gidtotals
format = csv
filter = type is dir
reportfile = gids.csv
[report]
type = totals
format = csv
reportfile = totals.csv
)";
  const std::string parameters = "[parameters]\ndateformat = %d.%m.%y\n";
  const auto largeDataOrRoot = [](const RecordSpec& record) {
    return record.size >= 20 && (record.name.ends_with(".dat") || record.uid == 0);
  };
  const std::string totals = TotalsLine(scan, "Custom file report", Any) +
                             TotalsLine(scan, "Both lines", largeDataOrRoot) +
                             TotalsLine(scan, "Subdirectory Counts", Any, 0, true);
  std::vector<WrittenReport> reports = {
      {"summary.csv", "Audit summary",
       "Q1,nas7,data,NFS,09.03.24,5368709120,1000,5003094,12,4,scan.dtl\n"},
      {"fields.csv", "Custom file report",
       R"(Code,Name,Type,File size,Create date,Modify date,Last access date,Symlink target,Inode,Links,UID,GID,Subdirectory Count
D,/srv/data
F,a.txt,F,10,05.03.24,04.03.24,06.03.24,,11,1,1000,100,---rw-r--r--,1709510400
F,b.TXT,F,20,05.03.24,03.03.24,06.03.24,,12,2,1000,100,u--rwxr-xr-x,1709424000
F,.profile,F,30,01.03.24,01.03.24,01.03.24,,13,1,0,0,---rw-------,1709251200
F,ln,D,10,05.03.24,05.03.24,05.03.24,docs/a.txt,14,1,0,0,---rwxrwxrwx,1709596800
D,/srv/data/docs
F,big.iso,F,5000000,02.03.24,02.03.24,02.03.24,,21,1,1000,100,---rw-r--r--,1709337600
F,copy1.dat,F,1000,03.03.24,04.03.24,07.03.24,,22,1,1001,100,---rw-r--r--,1709510400
F,copy2.dat,F,1000,04.03.24,04.03.24,07.03.24,,23,1,1001,100,---rw-r--r--,1709510400
F,shared.dat,D,1000,04.03.24,04.03.24,07.03.24,,24,1,4294967294,100,---rw-rw-r--,1709510400
D,/srv/data/docs/café
F,naïve.txt,F,7,06.03.24,06.03.24,06.03.24,,31,1,1000,100,---rw-r--r--,1709683200
F,)" EURO R"(.txt,F,8,06.03.24,06.03.24,06.03.24,,32,1,1000,100,---rw-r--r--,1709683200
D,/srv/data/tmp
F,stub.dat,F,0,07.03.24,07.03.24,07.03.24,,41,1,0,0,---rw-r--r--,1709769600
F,PROGRA~1.TXT,F,9,08.03.24,08.03.24,08.03.24,,42,1,0,0,---rw-r--r--,1709856000
)"},
      {"paths.csv", "Both lines", R"(Full path,File size,Modify date
/.profile,30,01.03.24
/docs/copy1.dat,1000,04.03.24
/docs/copy2.dat,1000,04.03.24
/docs/shared.dat,1000,04.03.24
)"},
      {"links.csv", "Symbolic links",
       "Code,Name,Symlink target,Symlink target\nD,/srv/data\nF,ln,docs/a.txt,docs/a.txt\n"},
      {"subdirs.csv", "Subdirectory Counts", R"(Full path,Subdirectory Count
/srv/data,2
/srv/data/docs,1
/srv/data/docs/café,0
/srv/data/tmp,0
)"},
      {"dups.csv", "Duplicate file report", R"(
---- Duplicate file report ----

Size: 1000  Modified: 04.03.24
  /srv/data/docs\copy1.dat
  /srv/data/docs\copy2.dat

)"},
      {"types.csv", "File type totals", ""},
      {"counts.csv", "File type totals", ".dat,4,3000\n.txt,3,25\n.TXT,2,29\n"},
      {"uids.csv", "Totals by UID", "1000,5,5000045\n1001,2,2000\n-2,1,1000\n0,4,49\n"},
      {"gids.csv", "Totals by GID", "0,4,16384\n"},
      {"totals.csv", "Report totals", totals},
  };
  ExpectReports({scan, parameters + types}, reports);

  // Another separator, no header rows, unicode text.
  for (WrittenReport& report : reports) {
    std::string& text = report.text;
    if (text.starts_with("Code") || text.starts_with("Full")) text.erase(0, text.find('\n') + 1);
    std::replace(text.begin(), text.end(), ',', '\t');
    text = AsUnicodeFile(text);
  }
  ExpectReports({scan, parameters + "textoutput = unicode\ncsvsep = t\ncsvhdrs = no\n" + types},
                reports);
}

// A name that its locale cannot write shows '?'; so does every unit of the text in "C".
TEST(NfsReports, StandardTextIsInTheLocalesEncoding) {
  ExpectReports({.scan = SmallScan(),
                 .config = "[report]\ntype=custom\ntitle=NONE\nreportfile=a\nnameform=fullpath\n"
                           "filter=path matches ~caf*~\n",
                 .locale = "C"},
                {{"a", "NONE", "/srv/data/docs/caf?/na?ve.txt\n/srv/data/docs/caf?/?.txt\n"}});
}

}  // namespace
}  // namespace tabulon
