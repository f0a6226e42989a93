#include "driver/tabulon.h"

#include <csignal>
#include <cstdlib>
#include <ctime>
#include <cwchar>
#include <string>

#include "base/format.h"
#include "base/localebytes.h"
#include "base/loganderr.h"
#include "base/tempfile.h"
#include "base/utf.h"
#include "base/utils.h"
#include "config/configfile.h"
#include "config/report.h"
#include "config/reportsetup.h"
#include "config/settings.h"
#include "detail/detailfile.h"
#include "detail/scandetail.h"
#include "detail/securityobjects.h"
#include "driver/cmdopts.h"
#include "driver/parsecommand.h"
#include "driver/qvafile.h"
#include "driver/reportrunners.h"
#include "driver/testtemplate.h"
#include "query/parsequery.h"
#include "reports/listing.h"
#include "reports/matchrecord.h"
#include "reports/reportwriter.h"
#include "reports/summary.h"

namespace tabulon {
namespace {

constexpr const char* kDefaultDtl = "trawlx.dtl";
constexpr size_t kTimeTextSize = 48;

std::time_t timeStamp;  // of this run

// The detail file as the run knows it.
struct DetailInput {
  std::string name;
  uint32_t wasCompressed = 0;
  VersionBlock version;
};

std::wstring Widened(const char* text) {
  std::wstring wide;
  AppendWidened(wide, text);
  return wide;
}

// Temporary files have their place; -t ends the run here.
void ApplyEarlyOptions() {
  if (cmdOpts[kOptTempDir].Given()) {
    tempDir = cmdOpts[kOptTempDir].value;
    MkdirRecursive(tempDir->c_str());
  }
  if (cmdOpts[kOptTempId].Given()) tempId = cmdOpts[kOptTempId].value;
  if (cmdOpts[kOptTester].Given()) {
    TestTemplate();
    Console().Flush();
    std::exit(0);
  }
  dbgFlag = cmdOpts[kOptDebugFlag].Given();
  qvaFlag = cmdOpts[kOptQva].Given();
  progressFlag = cmdOpts[kOptProgress].Given();
}

// The logs are open: list log, error log and, when asked for, the debug log.
void OpenLogs() {
  OpenLogErrFiles(0, cmdOpts[kOptList].value, cmdOpts[kOptErr].value);
  if (cmdOpts[kOptDebug].Given()) debugLevel = static_cast<int32_t>(cmdOpts[kOptDebug].number);
  if (debugLevel > 0) OpenDebugLogFile(1, "TabulonDebug.log");
  DebugLogEntry(1, L"\n\n#\n#Velmora Filesystem Report Utility\n#\n");
}

void TellScanTime() {
  timeStamp = std::time(nullptr);
  std::tm local{};
  localtime_r(&timeStamp, &local);
  wchar_t text[kTimeTextSize];
  const std::wstring_view time(text,
                               std::wcsftime(text, kTimeTextSize, L"%a, %#d %b, %Y at %X", &local));
  DebugLogEntry(1, L"Scan time: %ls.\n", time);
  ConsoleEntry(ErrorConsole(), L"Scan time: %ls.\n", time);
}

void ApplyReportOptions() {
  if (cmdOpts[kOptRdir].Given()) reportDir = cmdOpts[kOptRdir].value;
  adsFull = cmdOpts[kOptAdsFull].Given();
}

// The detail file is open, checked, and its tables are loaded.
DetailInput OpenDetail() {
  DetailInput input;
  input.name = cmdOpts[kOptDtl].Given() ? cmdOpts[kOptDtl].value : kDefaultDtl;
  dtlFile = OpenDtlFile(input.name.c_str(), "rb", &input.wasCompressed);
  LoadDetailFile(input.name.c_str(), adsFull, qvaFlag, input.version);
  if (rootType == kRootNfs) {
    LoadIdObjects(dtlFile.get(), logHdr);
    return input;
  }
  sdTempFile = TempFile::Create("sdtemp.tmp");
  if (!sdTempFile.valid()) {
    PosixErrExit(0, L"Unable to create temporary file '%s'\n", sdTempFile.path());
  }
  LoadSecurityObjects(dtlFile.get(), logHdr);
  return input;
}

// "all" stands in front of the categories, whatever its place on the command line.
void CollectCategories() {
  for (const CmdOccurrence& category : cmdOpts[kOptCat].list) {
    std::wstring name = Widened(category.value);
    if (EqualIgnoringCase(name, L"all")) {
      catList.push_front(std::move(name));
    } else {
      catList.push_back(std::move(name));
    }
  }
}

// The list and error logs end last: they tell of output that could not be written.
[[noreturn]] void LeaveRun() {
  const bool whole = CloseLogErrFiles();
  std::exit(whole ? 0 : 1);
}

[[noreturn]] void CleanUpAndLeave(const DetailInput& input) {
  if (rootType == kRootCifs) {
    FreeSecurityObjects();
    sdTempFile.Remove();
  }
  CloseDebugLogFile();
  CloseDtlFile(std::move(dtlFile), input.name.c_str(), input.wasCompressed);
  LeaveRun();
}

// The summary alone, from the header and the root block: no record is read.
[[noreturn]] void RunDefaultSummary(const DetailInput& input) {
  DebugLogEntry(4, L"Doing Summary Report.\n");
  Report report;
  SummaryReport(report, input.name, input.version);
  CleanUpAndLeave(input);
}

// Every report of the configuration file, in one pass.
[[noreturn]] void RunConfiguration(const DetailInput& input) {
  // Whoever stops reading the list log shall not cost anyone a report file.
  std::signal(SIGPIPE, SIG_IGN);
  ProcessConfigFile(cmdOpts[kOptCfg].value);
  if (qvaFlag) CreateQvaFile();
  ScanReports();
  for (Report& report : reportList) {
    if (report.active != 0) RunReport(report, input.name, input.version);
  }
  if (qvaOutput.IsOpen() && qvaOutput.Close() != 0) {
    ReportWriteError(qvaOutput.name(), qvaOutput.error());
  }
  CleanUpAndLeave(input);
}

// One listing of what the query selects, to the list log.
[[noreturn]] void RunQuery(const char* text) {
  std::wstring query;
  AppendUtfToWide(query, text);
  Filter* filter = ParseQuery(query);
  Report& report = reportList.emplace_back();
  report.type = kReportCustom;
  report.filter = filter;
  report.title = L"none";
  report.flags = kFlagShowLink;
  if (cmdOpts[kOptQueryFull].Given()) report.flags |= kFlagFullPath;
  InitializeReportEntry(report);
  ScanReports();
  DisplayReport(report);
  CloseReport(report);
  CloseDebugLogFile();
  // The detail file stays inflated and the descriptors' file stays on disk here, unlike on the
  // other roads. Kept so.
  sdTempFile.Keep();
  LeaveRun();
}

}  // namespace

void RealMain(int argc, char** argv) {
  ChooseLocale();
  EndRunWhenMemoryIsExhausted();
  // A file that reaches the size limit is told like a full disk.
  std::signal(SIGXFSZ, SIG_IGN);
  RemoveTempFilesOnSignals();
  // The options stand in cmdOpts from here on.
  ParseCommandLine(argc, argv);
  ApplyEarlyOptions();
  OpenLogs();
  TellScanTime();
  ApplyReportOptions();
  const DetailInput input = OpenDetail();
  CollectCategories();
  // Exactly one road to the exit.
  if (cmdOpts[kOptQuery].Given()) RunQuery(cmdOpts[kOptQuery].value);
  if (cmdOpts[kOptQueryFull].Given()) RunQuery(cmdOpts[kOptQueryFull].value);
  if (cmdOpts[kOptCfg].Given()) RunConfiguration(input);
  RunDefaultSummary(input);
}

}  // namespace tabulon
