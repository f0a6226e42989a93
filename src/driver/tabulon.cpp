#include "driver/tabulon.h"

#include <csignal>
#include <ctime>
#include <cwchar>
#include <optional>
#include <string>

#include "base/format.h"
#include "base/localebytes.h"
#include "base/loganderr.h"
#include "base/standardfds.h"
#include "base/tempfile.h"
#include "base/usedfiles.h"
#include "base/utf.h"
#include "base/utils.h"
#include "config/configfile.h"
#include "config/report.h"
#include "config/reportsetup.h"
#include "config/settings.h"
#include "detail/detailfile.h"
#include "detail/scan.h"
#include "detail/scandetail.h"
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
constexpr const char* kDebugLog = "TabulonDebug.log";
constexpr size_t kTimeTextSize = 48;

// The detail file as the run knows it.
struct DetailInput {
  DetailFile file;
  Scan scan;
};

std::wstring Widened(const char* text) {
  std::wstring wide;
  AppendWidened(wide, text);
  return wide;
}

TempPlace PlaceTempFiles(const CmdOptions& cmdOpts) {
  const auto text = [&](CmdOptionIndex option) {
    return cmdOpts[option].Given() ? std::optional<std::string>(cmdOpts[option].value)
                                   : std::nullopt;
  };
  if (cmdOpts[kOptTempDir].Given()) MkdirRecursive(cmdOpts[kOptTempDir].value);
  return TempPlace(text(kOptTempDir), text(kOptTempId));
}

void ApplySwitches(const CmdOptions& cmdOpts) {
  dbgFlag = cmdOpts[kOptDebugFlag].Given();
  qvaFlag = cmdOpts[kOptQva].Given();
  progressFlag = cmdOpts[kOptProgress].Given();
}

std::string DtlNameOf(const CmdOptions& cmdOpts) {
  return cmdOpts[kOptDtl].Given() ? cmdOpts[kOptDtl].value : kDefaultDtl;
}

// The files that the command line names. The configuration names more.
UsedFiles FilesOf(const CmdOptions& cmdOpts, bool debugLog) {
  UsedFiles files = {{FileUse::kRead, L"scan", DtlNameOf(cmdOpts)}};
  const auto add = [&](FileUse use, std::wstring_view role, const char* name) {
    if (name != nullptr) files.push_back({use, role, MakeFilename(name)});
  };
  if (cmdOpts[kOptCfg].Given()) {
    files.push_back({FileUse::kRead, L"configuration", cmdOpts[kOptCfg].value});
  }
  add(FileUse::kLogged, L"list log", cmdOpts[kOptList].value);
  add(FileUse::kLogged, L"error log", cmdOpts[kOptErr].value);
  if (debugLog) add(FileUse::kWritten, L"debug log", kDebugLog);
  return files;
}

// The logs are open: list log, error log and, when asked for, the debug log. Returns the files of
// the run so far.
UsedFiles OpenLogs(const CmdOptions& cmdOpts) {
  int32_t& debugLevel = CurrentLogs().debugLevel;
  if (cmdOpts[kOptDebug].Given()) debugLevel = static_cast<int32_t>(cmdOpts[kOptDebug].number);
  UsedFiles files = FilesOf(cmdOpts, debugLevel > 0);
  RefuseSameFiles(files);
  OpenLogErrFiles(0, cmdOpts[kOptList].value, cmdOpts[kOptErr].value);
  if (debugLevel > 0) OpenDebugLogFile(1, kDebugLog);
  DebugLogEntry(1, L"\n\n#\n#Velmora Filesystem Report Utility\n#\n");
  return files;
}

void TellScanTime() {
  const std::time_t timeStamp = std::time(nullptr);
  std::tm local{};
  localtime_r(&timeStamp, &local);
  wchar_t text[kTimeTextSize];
  const std::wstring_view time(text,
                               std::wcsftime(text, kTimeTextSize, L"%a, %#d %b, %Y at %X", &local));
  DebugLogEntry(1, L"Scan time: %ls.\n", time);
  ConsoleEntry(ErrorConsole(), L"Scan time: %ls.\n", time);
}

void ApplyReportOptions(const CmdOptions& cmdOpts) {
  if (cmdOpts[kOptRdir].Given()) reportDir = cmdOpts[kOptRdir].value;
  adsFull = cmdOpts[kOptAdsFull].Given();
}

// The detail file is open, checked, and its tables are loaded.
DetailInput OpenDetail(const CmdOptions& cmdOpts) {
  const std::string name = DtlNameOf(cmdOpts);
  DetailInput input{OpenDtlFile(name.c_str(), "rb"), {}};
  input.scan =
      LoadScan(input.file.Plain(), name.c_str(), {.adsFull = adsFull, .qvaTagged = qvaFlag});
  return input;
}

// "all" stands in front of the categories, whatever its place on the command line.
void CollectCategories(const CmdOptions& cmdOpts) {
  for (const CmdOccurrence& category : cmdOpts[kOptCat].list) {
    std::wstring name = Widened(category.value);
    if (EqualIgnoringCase(name, L"all")) {
      catList.push_front(std::move(name));
    } else {
      catList.push_back(std::move(name));
    }
  }
}

// Gives back what the detail file's use took.
void CleanUp(DetailInput& input) {
  input.scan.security.reset();
  CloseDebugLogFile();
  CloseDtlFile(input.file);
}

// A scan that lost its end gives whole reports of what is left: somebody has to know. Readers of
// the results do not, so the list log is not told.
void TellBreakOff(const DetailInput& input, const PassEnd& end) {
  if (end.atEndMarker) return;
  const LogRoot& root = input.scan.logRoot;
  const uint64_t counted = uint64_t{root.directories} + root.files;
  if (counted > end.records) {
    ErrorEntry(L"'%s' breaks off after %llu of %llu records\n", input.file.name, end.records,
               counted);
  } else {
    ErrorEntry(L"'%s' breaks off after %llu records\n", input.file.name, end.records);
  }
}

// The summary alone, from the header and the root block: no record is read.
void RunDefaultSummary(DetailInput& input) {
  DebugLogEntry(4, L"Doing Summary Report.\n");
  Report report;
  SummaryReport(report, {input.scan, input.file.name, input.scan.qvaRoot});
  CleanUp(input);
}

// Every report of the configuration file, in one pass.
void RunConfiguration(const CmdOptions& cmdOpts, DetailInput& input) {
  // Whoever stops reading the list log shall not cost anyone a report file.
  std::signal(SIGPIPE, SIG_IGN);
  const Scan& scan = input.scan;
  ProcessConfigFile(cmdOpts[kOptCfg].value, scan);
  const std::wstring qvaRoot = qvaFlag ? CreateQvaFile(scan) : scan.qvaRoot;
  const PassEnd end = ScanReports(scan);
  for (Report& report : reportList) {
    if (report.active != 0) RunReport(report, {scan, input.file.name, qvaRoot});
  }
  if (qvaOutput.IsOpen() && qvaOutput.Close() != 0) {
    ReportWriteError(qvaOutput.name(), qvaOutput.error());
  }
  TellBreakOff(input, end);
  CleanUp(input);
}

// One listing of what the query selects, to the list log.
void RunQuery(const CmdOptions& cmdOpts, DetailInput& input) {
  const CmdOptionIndex option = cmdOpts[kOptQuery].Given() ? kOptQuery : kOptQueryFull;
  std::wstring query;
  AppendUtfToWide(query, cmdOpts[option].value);
  Filter* filter = ParseQuery(query, input.scan);
  Report& report = reportList.emplace_back();
  report.type = kReportCustom;
  report.filter = filter;
  report.title = L"none";
  report.flags = kFlagShowLink;
  if (cmdOpts[kOptQueryFull].Given()) report.flags |= kFlagFullPath;
  InitializeReportEntry(report, input.scan);
  const PassEnd end = ScanReports(input.scan);
  DisplayReport(report, input.scan);
  CloseReport(report);
  TellBreakOff(input, end);
  CloseDebugLogFile();
  KeepInflated(input.file);
  // The descriptors' file stays on disk here, unlike on the other roads. Kept so.
  if (input.scan.security) input.scan.security->sdTempFile.Keep();
}

int RealMain(std::span<char*> arguments) {
  ChooseLocale();
  EndRunWhenMemoryIsExhausted();
  // A file that reaches the size limit is told like a full disk.
  std::signal(SIGXFSZ, SIG_IGN);
  RemoveTempFilesOnSignals();
  const CmdOptions cmdOpts = ParseCommandLine(arguments);
  const TempPlace place = PlaceTempFiles(cmdOpts);
  if (cmdOpts[kOptTester].Given()) {
    TestTemplate();
    return 0;
  }
  ApplySwitches(cmdOpts);
  OpenLogs(cmdOpts);
  TellScanTime();
  ApplyReportOptions(cmdOpts);
  DetailInput input = OpenDetail(cmdOpts);
  CollectCategories(cmdOpts);
  // Exactly one road.
  if (cmdOpts[kOptQuery].Given() || cmdOpts[kOptQueryFull].Given()) {
    RunQuery(cmdOpts, input);
  } else if (cmdOpts[kOptCfg].Given()) {
    RunConfiguration(cmdOpts, input);
  } else {
    RunDefaultSummary(input);
  }
  // The list and error logs end last: they tell of output that could not be written.
  return CloseLogErrFiles() ? 0 : 1;
}

}  // namespace

int Run(std::span<char*> arguments) {
  const bool held = HoldStandardDescriptors();
  Logs logs;
  try {
    if (!held) PosixErrExit(0, L"The closed standard streams cannot be replaced\n");
    return RealMain(arguments);
  } catch (const EndOfRun& end) {
    return end.status;
  }
}

}  // namespace tabulon
