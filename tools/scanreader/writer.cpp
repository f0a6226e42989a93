#include "tools/scanreader/writer.h"

#include <unistd.h>

#include <array>

#include "tools/common/terminaltext.h"
#include "tools/scanreader/timetext.h"

namespace tabulon {
RowWriter::RowWriter(int fd, ExportFormat format, std::string_view lineEnd, bool guard)
    : OutputBuffer(fd),
      format_(format),
      lineEnd_(format == ExportFormat::kCsv ? lineEnd : "\n"),
      guard_(guard),
      terminal_(isatty(fd) == 1) {}

void RowWriter::BeginRow() {
  FlushWhenNearlyFull();
  if (format_ == ExportFormat::kNdjson) Put('{');
}

// Each value is followed by a comma; the last one is replaced by what ends the row.
void RowWriter::EndRow() {
  DropLast(',');
  if (format_ == ExportFormat::kNdjson) Put('}');
  Raw(lineEnd_);
}

void RowWriter::Null() {
  if (format_ == ExportFormat::kNdjson) Raw("null");
  EndValue();
}

void RowWriter::Word(std::string_view text) {
  Quote(false);
  Raw(text);
  Quote(false);
  EndValue();
}

void RowWriter::Octal(uint32_t value) {
  const std::array<char, 4> digits = {
      static_cast<char>('0' + (value >> 9 & 7)), static_cast<char>('0' + (value >> 6 & 7)),
      static_cast<char>('0' + (value >> 3 & 7)), static_cast<char>('0' + (value & 7))};
  Word({digits.data(), digits.size()});
}

void RowWriter::Time(uint32_t seconds) {
  const TimeText text(seconds);
  Word(text.whole());
}

void RowWriter::Text(const ExportText& text) {
  Quote(text.quoted);
  Guard(text.escaped);
  Shown(text.escaped);
  Quote(text.quoted);
  EndValue();
}

void RowWriter::Text(const ExportText& first, const ExportText& second) {
  const bool quoted = first.quoted || second.quoted;
  Quote(quoted);
  Guard(first.escaped.empty() ? second.escaped : first.escaped);
  Shown(first.escaped);
  Shown(second.escaped);
  Quote(quoted);
  EndValue();
}

void RowWriter::Path(std::string_view first, std::string_view second) {
  FlushWhenNearlyFull();
  Shown(first);
  Shown(second);
  Put('\0');
}

void RowWriter::Hex(std::string_view first, std::string_view second) {
  Quote(false);
  HexDigits(first);
  HexDigits(second);
  Quote(false);
  EndValue();
}

// Such beginnings make spreadsheets compute a cell, or drop blanks and then compute it.
void RowWriter::Guard(std::string_view text) {
  constexpr std::string_view kBeginnings = "=+-@\t\r";
  if (guard_ && !text.empty() && kBeginnings.find(text.front()) != kBeginnings.npos) Put('\'');
}

// Text from the scan.
void RowWriter::Shown(std::string_view text) {
  if (terminal_) {
    Raw(Harmless(text));
  } else {
    Raw(text);
  }
}

void RowWriter::HexDigits(std::string_view bytes) {
  constexpr char kDigits[] = "0123456789abcdef";
  for (const char each : bytes) {
    const auto byte = static_cast<unsigned char>(each);
    Put(kDigits[byte >> 4]);
    Put(kDigits[byte & 0xF]);
  }
}

}  // namespace tabulon
