// Every report that the scan of a Unix filesystem can give, whole: text and CSV, standard and
// unicode.
#include "driver/configrun.h"

namespace tabulon {
namespace {

constexpr uint32_t kNobody = 4294967294;

// Times are days of March.
RecordSpec Entry(uint32_t mode, uint64_t size, uint32_t uid, uint32_t inode, uint32_t created,
                 uint32_t modified, uint32_t accessed) {
  // clang-format off
  return {.attributes = mode, .created = March(created), .accessed = March(accessed),
          .modified = March(modified), .size = size, .uid = uid, .gid = uid == 0 ? 0U : 100U,
          .inode = inode};
  // clang-format on
}

// `subdirectories` stands where other records have their modification time.
RecordSpec Directory(std::string path, uint32_t mode, uint32_t subdirectories, uint32_t uid) {
  RecordSpec entry = Entry(mode, 4096, uid, 0, 1, 1, 1);
  entry.modified = subdirectories;
  entry.gid = 0;
  return DirectoryRecord(std::move(path), entry);
}

// A file of each kind. Mode bit 020 (write permission for the group, so every symbolic link as
// well) is what directories have on Windows.
ScanSpec SmallScan() {
  RecordSpec program = Entry(0104755, 20, 1000, 12, 5, 3, 6);
  program.links = 2;
  RecordSpec stub = Entry(0100644, 0, 0, 41, 7, 7, 7);
  stub.flags = kRecordNfsStub;
  // clang-format off
  return {.revision = 0x207, .scanTime = March(9, 16), .server = "filer", .rootPath = "/srv/data",
          .availableSpace = 1000, .volumeCapacity = uint64_t{5} << 30,
          .records = {
              Directory("/", 040755, 2, 0),
              FileRecord("a.txt", Entry(0100644, 10, 1000, 11, 5, 4, 6)),
              FileRecord("b.TXT", program),
              FileRecord(".profile", Entry(0100600, 30, 0, 13, 1, 1, 1)),
              LinkRecord("ln", "docs/a.txt", Entry(0120777, 10, 0, 14, 5, 5, 5)),
              Directory("/docs", 040755, 1, 1000),
              FileRecord("big.iso", Entry(0100644, 5000000, 1000, 21, 2, 2, 2)),
              FileRecord("copy1.dat", Entry(0100644, 1000, 1001, 22, 3, 4, 7)),
              FileRecord("copy2.dat", Entry(0100644, 1000, 1001, 23, 4, 4, 7)),
              FileRecord("shared.dat", Entry(0100664, 1000, kNobody, 24, 4, 4, 7)),
              Directory("/docs/caf\u00E9", 040755, 0, 1000),
              FileRecord("na\u00EFve.txt", Entry(0100644, 7, 1000, 31, 6, 6, 6)),
              FileRecord("\u20AC.txt", Entry(0100644, 8, 1000, 32, 6, 6, 6)),
              Directory("/tmp", 041777, 0, 0),
              FileRecord("stub.dat", stub),
              FileRecord("PROGRA~1.TXT", Entry(0100644, 9, 0, 42, 8, 8, 8)),
          }};
  // clang-format on
}

const std::string kRoot = "/srv/data", kDocs = "/srv/data/docs", kCafe = "/srv/data/docs/caf\u00E9",
                  kTmp = "/srv/data/tmp", kEuro = WithEuro("EURO.txt");
const std::string kCopies = "  /srv/data/docs\\copy1.dat\n  /srv/data/docs\\copy2.dat\n\n";

TEST(NfsReports, EveryTypeAsText) {
  const ScanSpec scan = SmallScan();
  const std::string longPaths = "Files with pathnames exceeding 15 UTF-8 encoded bytes";
  const std::string conflicts = "Files with potential long/short name conflicts";
  std::vector<ReportRow> reports = {
      {"type=totals;totals=yes;format=csv", "Report totals",
       R"(Report totals,0,0,0
File type totals,0,0,0
Offline files,0,0,0
Files with pathnames exceeding 15 UTF-8 encoded bytes,6,3024,24576
Files with potential long/short name conflicts,0,0,0
Everything,12,5003094,5042176
Duplicate file report,1,1000,4096
NFS stub files,1,0,0
Symbolic links,1,10,4096
Subdirectory Counts,4,16384,16384
)"},
      Titled("type=filetypes;totals=yes", "File type totals",
             R"(.iso           1   4.767mb (5,000,000)          4.769mb (5,001,216)
.dat           4   3,000 bytes                  12,288 bytes
.txt           3   25 bytes                     12,288 bytes
.TXT           2   29 bytes                     8,192 bytes
)"),
      Titled("type=UIDTotals", "Totals by UID",
             R"(1000           7   4.775mb (5,008,237)          4.792mb (5,025,792)
   0           6   8,241 bytes                  20,480 bytes
1001           2   2,000 bytes                  8,192 bytes
  -2           1   1,000 bytes                  4,096 bytes
)"),
      Titled("type=gidtotals", "Totals by GID",
             R"(100           8   4.770mb (5,003,045)          4.796mb (5,029,888)
  0           8   16,433 bytes                 28,672 bytes
)"),
      Titled("type=offline;totals=yes", "Offline files"),
      Titled("type=longpaths;totals=yes", longPaths,
             InDirectory(kDocs, {"copy1.dat", "copy2.dat", "shared.dat"}) +
                 InDirectory(kCafe, {"na\u00EFve.txt", kEuro}) +
                 InDirectory(kTmp, {"PROGRA~1.TXT"})),
      Titled("type=nameconflict;totals=yes", conflicts),
      Titled("type=custom;title=All of it;totaltag=Everything;totals=yes", "All of it",
             InDirectory(kRoot, {"a.txt", "b.TXT", ".profile", "ln"}) +
                 InDirectory(kDocs, {"big.iso", "copy1.dat", "copy2.dat", "shared.dat"}) +
                 InDirectory(kCafe, {"na\u00EFve.txt", kEuro}) +
                 InDirectory(kTmp, {"stub.dat", "PROGRA~1.TXT"})),
      Titled("type=duplicates;totals=yes", "Duplicate file report",
             "Size: 1000  Modified: 2024-03-04 00:00\n" + kCopies),
      Titled("type=nfsstubs;totals=yes;pathform=relative", "NFS stub files",
             InDirectory("/tmp", {"stub.dat"})),
      Titled("type=symlinks;totals=yes;showlink=yes;nameform=fullpath", "Symbolic links",
             "/srv/data/ln  =>  docs/a.txt\n"),
      Titled("type=subdircount;totals=yes", "Subdirectory Counts",
             InDirectory(kRoot, {"/"}) + InDirectory(kDocs, {"/docs"}) +
                 InDirectory(kCafe, {"/docs/caf\u00E9"}) + InDirectory(kTmp, {"/tmp"})),
      Summary("Sat, 09 Mar, 2024 at 16:00:00", "filer",
              R"(---- Totals for NFS root: /srv/data (local filesystem)

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

)"),
  };
  const std::string parameters =
      "[parameters]\nfileincrement = 4096\nfilesizebands = 8,1K\ndateformat = %Y-%m-%d %H:%M\n"
      "maxpathlength = 15\n";
  ExpectReports({scan, parameters}, reports);
  for (ReportRow& report : reports) report.text = AsUnicodeFile(report.text);
  ExpectReports({scan, parameters + "textoutput = Unicode\n"}, reports);
}

TEST(NfsReports, EveryTypeAsCsv) {
  ScanSpec scan = SmallScan();
  scan.host = "nas7";
  scan.qvaRoot = "data";
  scan.tag = PaddedTag("Q1");
  std::vector<ReportRow> reports = {
      {"type=summary;format=csv;fields=tag,server,root,type,timestamp,totalbytes,freebytes,"
       "filesize,files,dirs,dtlname",
       "Audit summary", "Q1,nas7,data,NFS,09.03.24,5368709120,1000,5003094,12,4,scan.dtl\n"},
      {"type=custom;output=csv;totals=yes;fields=type,size,cdate,mdate,adate,target,inode,links,"
       "uid,gid,mode,name,sdircount",
       "Custom file report",
       WithEuro(
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
F,EURO.txt,F,8,06.03.24,06.03.24,06.03.24,,32,1,1000,100,---rw-r--r--,1709683200
D,/srv/data/tmp
F,stub.dat,F,0,07.03.24,07.03.24,07.03.24,,41,1,0,0,---rw-r--r--,1709769600
F,PROGRA~1.TXT,F,9,08.03.24,08.03.24,08.03.24,,42,1,0,0,---rw-r--r--,1709856000
)")},
      {"type=custom;format=csv;nameform=fullpath;pathform=relative;title=Both lines;totals=yes;"
       "filter=size ge 20;filter=name matches *.dat [or] uid eq 0",
       "Both lines", R"(Full path,File size,Modify date
/.profile,30,01.03.24
/docs/copy1.dat,1000,04.03.24
/docs/copy2.dat,1000,04.03.24
/docs/shared.dat,1000,04.03.24
)"},
      {"type=symlinks;format=csv;fields=target,target", "Symbolic links",
       "Code,Name,Symlink target,Symlink target\nD,/srv/data\nF,ln,docs/a.txt,docs/a.txt\n"},
      {"type=subdircount;format=csv;nameform=fullpath;fields=sdircount;totals=yes",
       "Subdirectory Counts",
       "Full path,Subdirectory Count\n" + kRoot + ",2\n" + kDocs + ",1\n" + kCafe + ",0\n" + kTmp +
           ",0\n"},
      Titled("type=duplicates;format=csv;dupcheck=size,cdate", "Duplicate file report",
             "Size: 4096  Created: 01.03.24\n  /srv/data\\/\n  /srv/data/docs\\/docs\n  " + kCafe +
                 "\\/docs/caf\u00E9\n\n"),
      Titled(
          "type=duplicates;dupcheck=size;pathform=relative;nameform=fileindir;filter=type is file",
          "Duplicate file report", "Size: 1000\n  /docs\\copy1.dat\n  /docs\\copy2.dat\n\n"),
      {"type=filetypes;format=csv;extlen=2", "File type totals", ""},
      {"type=filetypes;format=csv;typesort=count;filter=size le 1k", "File type totals",
       ".dat,4,3000\n.txt,3,25\n.TXT,2,29\n"},
      {"type=uidtotals;format=csv;filter=type is file", "Totals by UID",
       "1000,5,5000045\n1001,2,2000\n-2,1,1000\n0,4,49\n"},
      {"type=gidtotals;format=csv;filter=type is dir", "Totals by GID", "0,4,16384\n"},
      {"type=totals;format=csv", "Report totals",
       "Custom file report,12,5003094\nBoth lines,4,3030\nSubdirectory Counts,4,16384\n"},
  };
  const std::string parameters = "[parameters]\ndateformat = %d.%m.%y\n";
  ExpectReports({scan, parameters}, reports);

  // Another separator, no header rows, unicode text.
  for (ReportRow& report : reports) {
    std::string& text = report.text;
    if (text.starts_with("Code") || text.starts_with("Full")) text.erase(0, text.find('\n') + 1);
    std::ranges::replace(text, ',', '\t');
    text = AsUnicodeFile(text);
  }
  ExpectReports({scan, parameters + "textoutput = unicode\ncsvsep = t\ncsvhdrs = no\n"}, reports);
}

}  // namespace
}  // namespace tabulon
