#include "driver/tabulon.h"

#include <csignal>
#include <ctime>
#include <list>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "base/format.h"
#include "base/localetext.h"
#include "base/loganderr.h"
#include "base/standardfds.h"
#include "base/tempfile.h"
#include "base/usedfiles.h"
#include "base/utf.h"
#include "base/utils.h"
#include "config/configfile.h"
#include "detail/detailfile.h"
#include "detail/scan.h"
#include "detail/scandetail.h"
#include "driver/cmdopts.h"
#include "driver/parsecommand.h"
#include "driver/qvafile.h"
#include "driver/testtemplate.h"
#include "query/parsequery.h"
#include "reports/report.h"
#include "reports/reportkinds.h"
#include "reports/valueformat.h"

namespace tabulon {
namespace {

constexpr const char* kDefaultDtl = "trawlx.dtl";
constexpr const char* kDebugLog = "TabulonDebug.log";

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
  TimeText text;
  const std::wstring_view time =
      FormatFileTime(static_cast<uint64_t>(std::time(nullptr)), L"%a, %#d %b, %Y at %X", text);
  DebugLogEntry(1, L"Scan time: %ls.\n", time);
  ConsoleEntry(ErrorConsole(), L"Scan time: %ls.\n", time);
}

// "all" is the first of the categories, wherever it is on the command line.
std::list<std::wstring> CollectCategories(const CmdOptions& cmdOpts) {
  std::list<std::wstring> catList;
  for (const CmdOccurrence& category : cmdOpts[kOptCat].list) {
    std::wstring name = Widened(category.value);
    catList.insert(EqualIgnoringCase(name, L"all") ? catList.begin() : catList.end(), name);
  }
  return catList;
}

// What the command line sets; the configuration adds to it.
Settings SettingsOf(const CmdOptions& cmdOpts, UsedFiles usedFiles) {
  Settings settings;
  settings.usedFiles = std::move(usedFiles);
  settings.dbgFlag = cmdOpts[kOptDebugFlag].Given();
  settings.qvaFlag = cmdOpts[kOptQva].Given();
  settings.progressFlag = cmdOpts[kOptProgress].Given();
  settings.adsFull = cmdOpts[kOptAdsFull].Given();
  if (cmdOpts[kOptRdir].Given()) settings.reportDir = cmdOpts[kOptRdir].value;
  settings.catList = CollectCategories(cmdOpts);
  return settings;
}

// The detail file is open, checked, and its tables are loaded.
DetailInput OpenDetail(const CmdOptions& cmdOpts, const Settings& settings) {
  const std::string name = DtlNameOf(cmdOpts);
  DetailInput input{OpenDtlFile(name.c_str(), "rb"), {}};
  input.scan = LoadScan(input.file.Plain(), name.c_str(),
                        {.adsFull = settings.adsFull, .qvaTagged = settings.qvaFlag});
  return input;
}

// Ends the use of the detail file.
void CleanUp(DetailInput& input) {
  input.scan.security.reset();
  CloseDebugLogFile();
  CloseDtlFile(input.file);
}

// A scan that lost its end gives whole reports of what is left, so the error log tells of it. The
// list log holds results only.
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
void RunDefaultSummary(const Settings& settings, DetailInput& input) {
  DebugLogEntry(4, L"Doing Summary Report.\n");
  ReportDefinition report;
  report.kind = &KindOf(kReportSummary);
  ReportRun run{input.scan, settings, input.file.name, input.scan.qvaRoot};
  ReportOutput output(report, settings);
  report.kind->make(report, run)->Write(output);
  CleanUp(input);
}

// Every report of the configuration file, in one pass.
void RunConfiguration(const char* path, const Settings& options, const RunTuning& tuning,
                      DetailInput& input) {
  // When the reader of the list log goes away, the report files are written all the same.
  std::signal(SIGPIPE, SIG_IGN);
  const Scan& scan = input.scan;
  Configuration configuration = ReadConfiguration(path, scan, kReportKinds, options);
  const Settings& settings = configuration.settings;
  ReportRun run{.scan = scan,
                .settings = settings,
                .dtlName = input.file.name,
                .qvaRoot = scan.qvaRoot,
                .dupLimits = tuning.dupLimits,
                .threads = ThreadsOf(settings, scan, tuning.share),
                .linesAtOnce = LinesAtOnce(tuning.share)};
  ReportSet reports(configuration.reportList, run);
  ConsoleEntry(Console(), L"ProcessConfigFile DONE\n");
  Console().Flush();
  AsideFile qvaFile;
  TextStream qvaOutput;
  if (settings.qvaFlag) run.qvaRoot = CreateQvaFile(scan, settings, qvaFile, qvaOutput);
  const PassEnd end = reports.TakeScan(PassOptionsOf(settings, tuning.share));
  reports.Write(settings.qvaFlag ? &qvaOutput : nullptr);
  const int error = qvaOutput.IsOpen() ? qvaFile.Close(qvaOutput) : 0;
  if (error != 0) ReportWriteError(qvaFile.path(), error);
  TellBreakOff(input, end);
  CleanUp(input);
}

// One listing of what the query selects, to the list log.
void RunQuery(const CmdOptions& cmdOpts, const Settings& settings, const PassShare& share,
              DetailInput& input) {
  const CmdOptionIndex option = cmdOpts[kOptQuery].Given() ? kOptQuery : kOptQueryFull;
  const Scan& scan = input.scan;
  const Classes noClasses;
  std::wstring query;
  AppendUtfToWide(query, cmdOpts[option].value);
  std::list<ReportDefinition> reportList(1);
  ReportDefinition& report = reportList.front();
  report.kind = &KindOf(kReportCustom);
  report.filter = ParseQuery(query, scan, noClasses);
  report.title = L"none";
  report.flags = kFlagShowLink;
  if (cmdOpts[kOptQueryFull].Given()) report.flags |= kFlagFullPath;
  InitializeReportEntry(report, settings, scan);
  ReportRun run{.scan = scan,
                .settings = settings,
                .threads = ThreadsOf(settings, scan, share),
                .linesAtOnce = LinesAtOnce(share)};
  ReportSet listing(reportList, run);
  const PassEnd end = listing.TakeScan(PassOptionsOf(settings, share));
  ReportOutput output(report, settings);
  listing.WriteFirst(output);
  TellBreakOff(input, end);
  CloseDebugLogFile();
  KeepInflated(input.file);
  // The descriptors' file stays on disk here, unlike on the other roads. Kept so.
  if (scan.security) scan.security->sdTempFile.Keep();
}

int RealMain(std::span<char*> arguments, const RunTuning& tuning) {
  ChooseLocale();
  SettleTimeZone();
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
  UsedFiles usedFiles = OpenLogs(cmdOpts);
  TellScanTime();
  const Settings settings = SettingsOf(cmdOpts, std::move(usedFiles));
  DetailInput input = OpenDetail(cmdOpts, settings);
  // Exactly one road.
  if (cmdOpts[kOptQuery].Given() || cmdOpts[kOptQueryFull].Given()) {
    RunQuery(cmdOpts, settings, tuning.share, input);
  } else if (cmdOpts[kOptCfg].Given()) {
    RunConfiguration(cmdOpts[kOptCfg].value, settings, tuning, input);
  } else {
    RunDefaultSummary(settings, input);
  }
  // The list and error logs end last: they tell of output that could not be written.
  return CloseLogErrFiles() ? 0 : 1;
}

}  // namespace

int Run(std::span<char*> arguments, const RunTuning& tuning) {
  const bool held = HoldStandardDescriptors();
  Logs logs;
  try {
    if (!held) PosixErrExit(0, L"The closed standard streams cannot be replaced\n");
    return RealMain(arguments, tuning);
  } catch (const EndOfRun& end) {
    return end.status;
  }
}

}  // namespace tabulon
