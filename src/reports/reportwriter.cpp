#include "reports/reportwriter.h"

#include <fcntl.h>

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

}  // namespace

TextStream& ReportStream(Report& report) {
  if (qvaOutput.IsOpen()) return qvaOutput;
  return report.stream.IsOpen() ? report.stream : *logFile;
}

void report_internal::Entry(Report& report, std::wstring_view format,
                            std::span<const FormatArg> args) {
  static std::wstring text;  // kept, so that a line costs no allocation
  text.clear();
  TextStream& out = ReportStream(report);
  AppendFormatted(text, format, args, out.IsTerminal());
  if (textFormat == kTextUnicode) {
    if (text.size() > kLongestPiece) text.resize(kLongestPiece);
    DoubleLineFeeds(text);
  }
  out.Write(text);
}

void DisplayReportFile(const Report& report) {
  if (!report.stream.IsOpen()) return;
  ConsoleEntry(Console(), L"Path = %ls\n", report.reportPath);
  LogEntry(L"Report '%ls' written to %ls\n", report.title, report.reportPath);
}

}  // namespace tabulon
