#include "reports/reportwriter.h"

#include <string>

#include "base/loganderr.h"

namespace tabulon {

namespace {

void DoubleLineFeeds(std::wstring& text) {
  for (size_t at = text.find(L'\n'); at != std::wstring::npos; at = text.find(L'\n', at + 2)) {
    text.insert(at, 1, L'\r');
  }
}

constexpr std::string_view kByteOrderMark = "\xFF\xFE";

}  // namespace

TextStream& ReportOutput::stream() {
  if (qvaOutput_ != nullptr) return *qvaOutput_;
  return report_.file.stream.IsOpen() ? report_.file.stream : *CurrentLogs().logFile;
}

void ReportOutput::Entry(std::wstring_view format, std::span<const FormatArg> args) {
  text_.clear();
  AppendFormatted(text_, format, args, stream().IsTerminal());
  if (settings_.textFormat == kTextUnicode) {
    if (text_.size() > kLongestPiece) text_.resize(kLongestPiece);
    DoubleLineFeeds(text_);
  }
  stream().Write(text_);
}

void DisplayReportFile(ReportOutput& output) {
  const ReportFile& file = output.file();
  if (!file.stream.IsOpen()) return;
  ConsoleEntry(ErrorConsole(), L"Path = %ls\n", file.reportPath);
  LogEntry(L"Report '%ls' written to %ls\n", output.report().title, file.reportPath);
}

void OpenReportFile(ReportOutput& output) {
  ReportFile& file = output.file();
  if (file.output.path().empty()) return;
  const bool unicode = output.settings().textFormat == kTextUnicode;
  if (!file.output.Open(file.stream, unicode ? TextEncoding::kUtf16Le : TextEncoding::kLocale)) {
    PosixErrExit(0, L"Unable to create report file '%ls'\n", file.reportPath);
  }
  if (unicode) file.stream.WriteBytes(kByteOrderMark);
}

void CloseReport(ReportOutput& output) {
  ReportFile& file = output.file();
  if (!file.stream.IsOpen()) return;
  const int error = file.output.Close(file.stream);
  if (error != 0) ReportWriteError(file.output.path(), error);
}

}  // namespace tabulon
