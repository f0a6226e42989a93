#include "reports/reportwriter.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <string>

#include "base/loganderr.h"

namespace tabulon {

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

TextStream& ReportOutput::stream() {
  if (qvaOutput_ != nullptr) return *qvaOutput_;
  return report_.file.stream.IsOpen() ? report_.file.stream : *CurrentLogs().logFile;
}

void ReportOutput::Entry(std::wstring_view format, std::span<const FormatArg> args) {
  text_.clear();
  AppendFormatted(text_, format, args, stream().IsTerminal());
  WritePiece(text_);
}

void ReportOutput::WritePiece(std::wstring& text) {
  if (settings_.textFormat == kTextUnicode) {
    if (text.size() > kLongestPiece) text.resize(kLongestPiece);
    DoubleLineFeeds(text);
  }
  stream().Write(text);
}

void DisplayReportFile(ReportOutput& output) {
  const ReportFile& file = output.file();
  if (!file.stream.IsOpen()) return;
  ConsoleEntry(ErrorConsole(), L"Path = %ls\n", file.reportPath);
  LogEntry(L"Report '%ls' written to %ls\n", output.report().title, file.reportPath);
}

void OpenReportFile(ReportOutput& output) {
  ReportFile& file = output.file();
  if (file.reportPathNarrow.empty() || file.stream.IsOpen()) return;
  const bool unicode = output.settings().textFormat == kTextUnicode;
  const int fd = open(file.reportPathNarrow.c_str(), O_WRONLY | O_CLOEXEC);
  if (fd < 0) PosixErrExit(0, L"Unable to create report file '%ls'\n", file.reportPath);
  file.stream.Attach(fd, true, unicode ? TextEncoding::kUtf16Le : TextEncoding::kLocale,
                     file.reportPathNarrow);
  if (unicode) lseek(fd, kUnicodeMark, SEEK_SET);
}

void CloseReport(ReportOutput& output) {
  TextStream& stream = output.file().stream;
  if (stream.IsOpen() && stream.Close() != 0) ReportWriteError(stream.name(), stream.error());
}

}  // namespace tabulon
