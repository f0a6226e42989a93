// A faulty configuration ends the run, in these very words, before any record is read.
#include "configtest.h"

namespace tabulon {
namespace {

struct BadText {
  const char* text;  // the lines of the section
  const char* message;
};

class BadConfig : public ConfigTest {
 protected:
  void ExpectFaults(const std::string& header, std::initializer_list<BadText> rows) {
    reportDir = Wide(directory());
    logHdr.scanTime = 1'400'000'000;
    for (const BadText& row : rows) {
      EXPECT_FATAL(ProcessConfigFile(File(header + row.text).c_str()), row.message) << row.text;
    }
  }
};

TEST_F(BadConfig, Sections) {
  ExpectFaults(
      "",
      {
          {"", "No reports specified in configuration file\n"},
          {"[parameters]\n[classes]", "No reports specified in configuration file\n"},
          {"[parameters]\n[PARAMETERS]", "Multiple [parameters] sections\n"},
          {"[report]\n[parameters]", "[parameters] must precede all [report] sections\n"},
          {"[report]\n[classes]", "[classes] must precede all [report] sections\n"},
          {"[ report]", "Unknown section header: [ report]\n"},
          {" [report]", "Missing '=' in  [report]\n"},
          {"k = v", "Line must be inside a section : k = v\n"},
          {"[classes]\nDocs=a\nDOCS=b", "Class 'DOCS' is defined more than once\n"},
          {"[report]\n[report]\ntype=custom", "Report definition section with no type specified\n"},
      });
}

TEST_F(BadConfig, Parameters) {
  ExpectFaults(
      "[parameters]\n",
      {
          {"colour=red", "Unknown configuration keyword: colour\n"},
          {"datebands=1d", "Unknown configuration keyword: datebands\n"},
          {"=1d", "Unknown configuration keyword: \n"},
          {"FileIncrement=4K", "Invalid numeric argument: FileIncrement=4K\n"},
          {"maxpathlength=4294967295", "Invalid numeric argument: maxpathlength=4294967295\n"},
          {"timebase=today", "Invalid timebase value: today\n"},
          {"filesizebands=1K,2X,3", "Invalid 'filesizebands' band value: 2X\n"},
          {"filesizebands=1M,1M",
           "Size band values must be strictly increasing: filesizebands=1M,1M\n"},
          {"XDateBands=1d", "Invalid date band specification: XDateBands=1d\n"},
          {"cdatebands=30d,soon", "Invalid date band value: soon\n"},
          {"mdatebands=7d,30d",
           "Date band values must be strictly increasing: mdatebands=7d,30d\n"},
          {"csvsep=;\ncsvsep=ab", "CSV separator must be a single character\n"},
          {"csvsep=;\ncsvsep=;", "Only one CSV separater can be specified\n"},
          {"csvsep=\ncsvsep=;\ncsvsep=", "Only one CSV separater can be specified\n"},
          {"csvhdrs=on", "Invalid keyword value: csvhdrs = on\n"},
          {"maxpathunits=words", "Invalid maximum path units: words\n"},
          {"isocodepage=8859-12", "Invalid UTF check ISO code page: 8859-12\n"},
          {"permissionform=full", "Invalid permission display form: full\n"},
          {"textoutput=utf8", "Invalid text output option: utf8\n"},
          {"pathform=rel", "Invalid path form option: rel\n"},
          {"nameform=", "Invalid names form option: \n"},
      });
}

TEST_F(BadConfig, Reports) {
  ExpectFaults(
      "[report]\n",
      {
          {"title=x", "The first line of a report section must be type=<report-type>\n"},
          {"nonsense=x", "The first line of a report section must be type=<report-type>\n"},
          {"SHOWLINK=yes", "The first line of a report section must be type=<report-type>\n"},
          {"type=customs", "Unknown report type: customs\n"},
          {"type=", "Unknown report type: \n"},
          {"type=custom\ntype=custom", "Only one 'type=<report-type>' allowed in report section\n"},
          {"type=custom\nSHOWLINK=yes", "Invalid report definition keyword: SHOWLINK\n"},
          {"type=custom\nOutput=xml", "Invalid keyword value: Output = xml\n"},
          {"type=custom\npathform=long", "Invalid keyword value:  pathform = long\n"},
          {"type=custom\nfields=name,SIZE", "Invalid field list: name,SIZE\n"},
          {"type=custom\nfields=size,", "Invalid field list: size,\n"},
          {"type=summary\nfields=size", "Invalid summary field list: size\n"},
          {"type=custom\ndupcheck=size,owner", "Invalid duplicate field check list: size,owner\n"},
          {"type=custom\nextlen=4294967295", "Invalid numeric argument: extlen=4294967295\n"},
          {"type=OwnerTotals", "Report type 'OwnerTotals' is only valid for CIFS scans\n"},
          {"type=custom\nfields=size,attrs",
           "In report: Custom file report\n  CSV field type 'attrs' is only valid for CIFS detail "
           "files\n"},
          {"type=subdircount",
           "This dtl does not support subdirectory counts. Please remove subdircount report type "
           "from the config file, or execute another scan with the latest version of trawlix."},
      });
  rootType = kRootCifs;
  ExpectFaults("[report]\n",
               {
                   {"type=uidtotals", "Report type 'uidtotals' is only valid for NFS scans\n"},
                   {"type=longpaths\nfields=target,mode",
                    "In report: Files with pathnames exceeding 1024 UTF-8 encoded bytes\n  CSV "
                    "field type 'target' is only valid for NFS detail files\n"},
               });
}

TEST_F(BadConfig, Files) {
  EXPECT_FATAL(ProcessConfigFile("/nonexistent/x.cfg"),
               "Cannot open configuration file '/nonexistent/x.cfg'"
               "  (p2) No such file or directory\n");
  EXPECT_FATAL(ProcessConfigFile(directory().c_str()),
               "Cannot read the configuration file\n  (p21) Is a directory\n");
  const std::string file = File("[report]\ntype=totals\nreportfile=no/a.txt\n");
  reportDir = Wide(directory());
  EXPECT_FATAL(ProcessConfigFile(file.c_str()), "Unable to create report file '" + directory() +
                                                    "/no/a.txt'\n"
                                                    "  (p2) No such file or directory\n");
  reportDir = Wide(file);
  EXPECT_FATAL(ProcessConfigFile(file.c_str()),
               "Report directory '" + file + "' exists but is not a directory\n");
  reportDir = Wide(Path("no/parent"));
  EXPECT_FATAL(ProcessConfigFile(file.c_str()),
               "Could not create report directory '" + Path("no/parent") + "'\n");
  reportDir = L"not in C: \x20AC";
  EXPECT_FATAL(ProcessConfigFile(file.c_str()),
               "Could not create report directory 'not in C: ?'\n");
}

}  // namespace
}  // namespace tabulon
