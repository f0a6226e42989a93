#include "config/configfile.h"

#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <memory>
#include <string_view>

#include "base/loganderr.h"
#include "base/template.h"
#include "config/keywords.h"
#include "config/parameters.h"
#include "config/reportline.h"

namespace tabulon {

namespace {

constexpr mode_t kReportDirMode = 0700;

struct FileCloser {
  void operator()(FILE* file) const { std::fclose(file); }
};

// Cuts the comment and the trailing blanks. A byte that is not printable ASCII, a tab as well,
// counts as a blank; 0x7F is kept.
void CleanLine(std::string& line) {
  line.resize(std::min(line.size(), line.find('#')));
  for (char& byte : line) {
    if (static_cast<signed char>(byte) < ' ') byte = ' ';
  }
  line.resize(line.find_last_not_of(' ') + 1);
}

struct SectionRow;

// Where the reader is in the file.
struct ConfigReader {
  ConfigContext context;
  const SectionRow* section = nullptr;  // null before the first header
  bool parametersSeen = false;
  ReportDefinition* report = nullptr;  // of the current [report] section
};

struct SectionRow {
  std::wstring_view keyword;  // the header line
  void (*begin)(ConfigReader& reader);
  void (*apply)(ConfigReader& reader, std::wstring_view key, std::wstring_view value);
};

void BeginParameters(ConfigReader& reader) {
  if (reader.parametersSeen) ErrExit(L"Multiple [parameters] sections\n");
  if (reader.report != nullptr) ErrExit(L"[parameters] must precede all [report] sections\n");
  reader.parametersSeen = true;
}

void ApplyParameter(ConfigReader& reader, std::wstring_view key, std::wstring_view value) {
  ParameterLine(key, value, reader.context.made.settings, reader.context.scan);
}

void BeginReport(ConfigReader& reader) {
  reader.report = &reader.context.made.reportList.emplace_back();
}

void ApplyReportLine(ConfigReader& reader, std::wstring_view key, std::wstring_view value) {
  ReportLine(key, value, *reader.report, reader.context);
}

void BeginClasses(ConfigReader& reader) {
  if (reader.report != nullptr) ErrExit(L"[classes] must precede all [report] sections\n");
}

ClassPattern MakePattern(std::wstring_view item) {
  if (item.starts_with(L'.')) item.remove_prefix(1);
  const bool wildcard = item.find_first_of(L"*?") != std::wstring_view::npos;
  return {wildcard, wildcard ? ConvertTemplate(item) : std::wstring(item)};
}

// Adds the class of one line, "name = ext,ext,...". Each item is an extension, with or without its
// dot, or a template with '*' or '?'; blanks around items belong to them, and an empty item means
// names that end in a dot. A name that exists already (letter case ignored) ends the run.
void ClassLine(ConfigReader& reader, std::wstring_view name, std::wstring_view value) {
  Classes& classes = reader.context.made.classes;
  FileClass* const made = classes.Add(name);
  if (made == nullptr) ErrExit(L"Class '%ls' is defined more than once\n", name);
  ForEachItem(value, [&](std::wstring_view item) { made->patterns.push_back(MakePattern(item)); });
}

constexpr std::array<SectionRow, 3> kSections = {{
    {L"[parameters]", BeginParameters, ApplyParameter},
    {L"[report]", BeginReport, ApplyReportLine},
    {L"[classes]", BeginClasses, ClassLine},
}};

std::wstring_view TrimLeft(std::wstring_view text) {
  return text.substr(std::min(text.size(), text.find_first_not_of(L' ')));
}

std::wstring_view TrimRight(std::wstring_view text) {
  return text.substr(0, text.find_last_not_of(L' ') + 1);
}

void ApplyLine(ConfigReader& reader, std::wstring_view line) {
  if (line.front() == L'[') {
    reader.section = FindKeyword(kSections, line);
    if (reader.section == nullptr) ErrExit(L"Unknown section header: %ls\n", line);
    reader.section->begin(reader);
    return;
  }
  const size_t equals = line.find(L'=');
  if (equals == std::wstring_view::npos) ErrExit(L"Missing '=' in %ls\n", line);
  if (reader.section == nullptr) ErrExit(L"Line must be inside a section : %ls\n", line);
  reader.section->apply(reader, TrimRight(TrimLeft(line.substr(0, equals))),
                        TrimLeft(line.substr(equals + 1)));
}

// Makes the report directory when it is missing (the directory alone, not those above it).
void MakeReportDirectory(const std::optional<std::string>& reportDir) {
  if (!reportDir) {
    ConsoleEntry(ErrorConsole(), L"ReportDir is NULL\n");
    return;
  }
  struct stat found {};
  if (stat(reportDir->c_str(), &found) == 0) {
    if (S_ISDIR(found.st_mode)) return;
    ErrExit(L"Report directory '%s' exists but is not a directory\n", *reportDir);
  }
  if (mkdir(reportDir->c_str(), kReportDirMode) != 0) {
    ErrExit(L"Could not create report directory '%s'\n", *reportDir);
  }
}

// No report may overwrite another one, nor what the run reads and logs.
void RefuseSameReportFiles(const Configuration& made) {
  if (made.settings.qvaFlag) return;  // they are not written
  UsedFiles files = made.settings.usedFiles;
  for (const ReportDefinition& report : made.reportList) {
    if (!report.reportFile) continue;
    const std::optional<std::string> path = InReportDir(made.settings, *report.reportFile).bytes;
    if (path) files.push_back({FileUse::kWritten, L"report file", *path});
  }
  RefuseSameFiles(files);
}

// Reports that are switched off have been checked line by line, and are not completed.
void CompleteReports(Configuration& made, const Scan& scan) {
  if (made.reportList.empty()) ErrExit(L"No reports specified in configuration file\n");
  made.reportList.remove_if([](const ReportDefinition& report) { return report.active <= 0; });
  RefuseSameReportFiles(made);
  for (ReportDefinition& report : made.reportList) {
    InitializeReportEntry(report, made.settings, scan);
  }
}

}  // namespace

// Reads bytes up to a line feed (which is dropped), to the length limit or to the end of the file.
void ConfigLines::ReadPhysicalLine(std::string& line) {
  line.clear();
  while (line.size() < kPhysicalLineBytes) {
    const int byte = getc_unlocked(stream_);
    if (byte == '\n') return;
    if (byte == EOF) {
      if (std::ferror(stream_) != 0) PosixErrExit(0, L"Cannot read the configuration file\n");
      configEOF_ = true;
      return;
    }
    line.push_back(static_cast<char>(byte));
  }
}

size_t ConfigLines::ReadConfigLine(std::wstring& line) {
  DebugLogEntry(3, L"ReadConfigFile called.\n");
  line.clear();
  std::string bytes;
  for (size_t empty = 0; !configEOF_;) {
    ReadPhysicalLine(bytes);
    CleanLine(bytes);
    if (bytes.empty()) {
      // A device that gives zeros for ever looks like this.
      if (++empty > kMostEmptyLines) ErrExit(L"Too many empty lines in the configuration file\n");
      continue;
    }
    const bool continued = bytes.back() == '_';
    if (continued) bytes.pop_back();
    if (line.size() + bytes.size() > kLogicalLineBytes) ErrExit(L"Configuration line too long\n");
    line.append(bytes.begin(), bytes.end());
    if (!continued) break;
  }
  return line.size();
}

Configuration ReadConfiguration(FILE* stream, const Scan& scan, ReportKinds kinds,
                                const Settings& options) {
  Configuration made;
  made.settings = options;
  ConfigReader reader{{scan, kinds, made}};
  ConfigLines lines(stream);
  std::wstring line;
  while (lines.ReadConfigLine(line) > 0) ApplyLine(reader, line);
  if (made.settings.csvSep == 0) made.settings.csvSep = L',';
  MakeReportDirectory(made.settings.reportDir);
  CompleteReports(made, scan);
  return made;
}

Configuration ReadConfiguration(const char* path, const Scan& scan, ReportKinds kinds,
                                const Settings& options) {
  const std::unique_ptr<FILE, FileCloser> file(std::fopen(path, "re"));
  if (!file) PosixErrExit(0, L"Cannot open configuration file '%s'", path);
  return ReadConfiguration(file.get(), scan, kinds, options);
}

}  // namespace tabulon
