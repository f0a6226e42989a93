// A faulty configuration ends the run, in these very words, before any record is read.
#include <map>

#include "configtest.h"

namespace tabulon {
namespace {

struct BadText {
  const char *text, *message;
  int kind = kRootNfs;
};

// clang-format off
constexpr BadText kBadTexts[] = {
    {"", "No reports specified in configuration file\n"},
    {"[parameters]\n[PARAMETERS]", "Multiple [parameters] sections\n"},
    {"[report]\n[parameters]", "[parameters] must precede all [report] sections\n"},
    {"[report]\n[classes]", "[classes] must precede all [report] sections\n"},
    {"[ report]", "Unknown section header: [ report]\n"},
    {" [report]", "Missing '=' in  [report]\n"},
    {"k = v", "Line must be inside a section : k = v\n"},
    {"[classes]\nDocs=a\nDOCS=b", "Class 'DOCS' is defined more than once\n"},
    {"[report]\n[report]", "Report definition section with no type specified\n"},
    {"P:colour=red", "Unknown configuration keyword: colour\n"},
    {"P:datebands=1d", "Unknown configuration keyword: datebands\n"},
    {"P:=1d", "Unknown configuration keyword: \n"},
    {"P:FileIncrement=4K", "Invalid numeric argument: FileIncrement=4K\n"},
    {"P:timebase=today", "Invalid timebase value: today\n"},
    {"P:filesizebands=1K,2X,3", "Invalid 'filesizebands' band value: 2X\n"},
    {"P:filesizebands=1M,1M",
     "Size band values must be strictly increasing: filesizebands=1M,1M\n"},
    {"P:XDateBands=1d", "Invalid date band specification: XDateBands=1d\n"},
    {"P:cdatebands=30d,soon", "Invalid date band value: soon\n"},
    {"P:mdatebands=7d,30d",
     "Date band values must be strictly increasing: mdatebands=7d,30d\n"},
    {"P:csvsep=;\ncsvsep=ab", "CSV separator must be a single character\n"},
    {"P:csvsep=\ncsvsep=;\ncsvsep=", "Only one CSV separater can be specified\n"},
    {"P:csvhdrs=on", "Invalid keyword value: csvhdrs = on\n"},
    {"P:maxpathunits=words", "Invalid maximum path units: words\n"},
    {"P:isocodepage=8859-12", "Invalid UTF check ISO code page: 8859-12\n"},
    {"P:permissionform=full", "Invalid permission display form: full\n"},
    {"P:textoutput=utf8", "Invalid text output option: utf8\n"},
    {"P:pathform=rel", "Invalid path form option: rel\n"},
    {"P:nameform=", "Invalid names form option: \n"},
    {"R:title=x", "The first line of a report section must be type=<report-type>\n"},
    {"R:type=customs", "Unknown report type: customs\n"}, {"R:type=", "Unknown report type: \n"},
    {"C:type=custom", "Only one 'type=<report-type>' allowed in report section\n"},
    {"C:SHOWLINK=yes", "Invalid report definition keyword: SHOWLINK\n"},
    {"C:Output=xml", "Invalid keyword value: Output = xml\n"},
    {"C:pathform=long", "Invalid keyword value:  pathform = long\n"},
    {"C:fields=size,", "Invalid field list: size,\n"},
    {"R:type=summary\nfields=size", "Invalid summary field list: size\n"},
    {"C:dupcheck=size,owner", "Invalid duplicate field check list: size,owner\n"},
    {"C:extlen=4294967295", "Invalid numeric argument: extlen=4294967295\n"},
    {"R:type=OwnerTotals", "Report type 'OwnerTotals' is only valid for CIFS scans\n"},
    {"C:fields=size,attrs", "In report: Custom file report\n"
     "  CSV field type 'attrs' is only valid for CIFS detail files\n"},
    {"R:type=subdircount", "This dtl does not support subdirectory counts. Please remove "
     "subdircount report type from the config file, or execute another scan with the latest "
     "version of trawlix."},
    {"R:type=uidtotals", "Report type 'uidtotals' is only valid for NFS scans\n", kRootCifs},
    {"R:type=longpaths\nfields=target,mode", "In report: Files with pathnames exceeding "
     "1024 UTF-8 encoded bytes\n  CSV field type 'target' is only valid for NFS detail files\n",
     kRootCifs},
};
// clang-format on

using BadConfig = ConfigTest;

TEST_F(BadConfig, Lines) {
  const std::map<std::string, std::string> sections = {
      {"P:", "[parameters]\n"}, {"R:", "[report]\n"}, {"C:", "[report]\ntype=custom\n"}};
  settings_.reportDir = directory();
  scan_.logHdr.scanTime = 1'400'000'000;
  for (const BadText& row : kBadTexts) {
    scan_.rootType = row.kind;
    std::string text = row.text;
    const auto section = sections.find(text.substr(0, 2));
    if (section != sections.end()) text.replace(0, 2, section->second);
    EXPECT_FATAL(Read(text), row.message) << row.text;
  }
}

TEST_F(BadConfig, Files) {
  const std::string file = File("[report]\ntype=totals\nreportfile=no/a.txt\n");
  // clang-format off
  const struct { std::string config, reportDir, message; } rows[] = {
      {"/nonexistent/x.cfg", "",
       "Cannot open configuration file '/nonexistent/x.cfg'  (p2) No such file or directory\n"},
      {directory(), "", "Cannot read the configuration file\n  (p21) Is a directory\n"},
      {file, directory(), "Unable to create report file '" + directory() +
       "/no/a.txt'\n  (p2) No such file or directory\n"},
      {file, file, "Report directory '" + file + "' exists but is not a directory\n"},
      {file, Path("no/p\xC3\xB6"),
       "Could not create report directory '" + Path("no/p??") + "'\n"},
  };
  // clang-format on
  for (const auto& row : rows) {
    settings_.reportDir = row.reportDir;
    EXPECT_FATAL(ReadPath(row.config), row.message);
  }
}

}  // namespace
}  // namespace tabulon
