#include "reports/reportwriter.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <string>

#include "base/loganderr.h"
#include "config/settings.h"

namespace tabulon {

TextStream qvaOutput;

namespace {

// Longest piece of unicode text output, in characters.
constexpr size_t kLongestPiece = 511;

void DoubleLineFeeds(std::wstring& text) {
  for (size_t at = text.find(L'\n'); at != std::wstring::npos; at = text.find(L'\n', at + 2)) {
    text.insert(at, 1, L'\r');
  }
}

// Behind what the configuration has written: a byte-order mark in unicode output, else nothing.
constexpr off_t kUnicodeMark = 2;

}  // namespace

TextStream& ReportStream(Report& report) {
  if (qvaOutput.IsOpen()) return qvaOutput;
  return report.stream.IsOpen() ? report.stream : *CurrentLogs().logFile;
}

void report_internal::Entry(Report& report, std::wstring_view format,
                            std::span<const FormatArg> args) {
  static std::wstring text;  // kept, so that a line costs no allocation
  text.clear();
  AppendFormatted(text, format, args, ReportStream(report).IsTerminal());
  WritePiece(report, text);
}

void WritePiece(Report& report, std::wstring& text) {
  if (textFormat == kTextUnicode) {
    if (text.size() > kLongestPiece) text.resize(kLongestPiece);
    DoubleLineFeeds(text);
  }
  ReportStream(report).Write(text);
}

void DisplayReportFile(const Report& report) {
  if (!report.stream.IsOpen()) return;
  ConsoleEntry(ErrorConsole(), L"Path = %ls\n", report.reportPath);
  LogEntry(L"Report '%ls' written to %ls\n", report.title, report.reportPath);
}

void OpenReportFile(Report& report) {
  if (report.reportPathNarrow.empty() || report.stream.IsOpen()) return;
  const bool unicode = textFormat == kTextUnicode;
  const int fd = open(report.reportPathNarrow.c_str(), O_WRONLY | O_CLOEXEC);
  if (fd < 0) PosixErrExit(0, L"Unable to create report file '%ls'\n", report.reportPath);
  report.stream.Attach(fd, true, unicode ? TextEncoding::kUtf16Le : TextEncoding::kLocale,
                       report.reportPathNarrow);
  if (unicode) lseek(fd, kUnicodeMark, SEEK_SET);
}

void CloseReport(Report& report) {
  if (report.stream.IsOpen() && report.stream.Close() != 0) {
    ReportWriteError(report.stream.name(), report.stream.error());
  }
  report.positions.Remove();
}

}  // namespace tabulon
