// Rows on their way to a descriptor: values in the form of the format, in a buffer that is written
// when it is full. A row is whole in the buffer before it is written.
//
//   CSV      a header row, then values between commas (RFC 4180, with LF or CR LF)
//   NDJSON   one JSON object a line (RFC 8259)
//   paths0   no values: bytes of paths, each with a zero byte at its end
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "tools/scanreader/escape.h"
#include "tools/scanreader/outputbuffer.h"

namespace tabulon {

class RowWriter : private OutputBuffer {
 public:
  // On a terminal, texts and paths show '?' for what would do something to it. `lineEnd` ends CSV
  // rows; the lines of NDJSON end in LF. `guard`: CSV texts that a spreadsheet would take for
  // formulas get an apostrophe in front.
  RowWriter(int fd, ExportFormat format, std::string_view lineEnd = "\n", bool guard = false);
  ExportFormat format() const { return format_; }

  // A row is BeginRow, then for each value Key and one of the value functions, then EndRow.
  void BeginRow();
  // What precedes a value: in NDJSON its escaped name with quotes and colon, in CSV "".
  void Key(std::string_view key) {
    if (!key.empty()) Raw(key);
  }
  void EndRow();

  // Values. The texts of Word are ASCII and need no escape in either format.
  void Null();
  template <class Integer>
  void Number(Integer value) {
    Decimal(value);
    EndValue();
  }
  void Word(std::string_view text);
  void Octal(uint32_t value);   // four digits
  void Time(uint32_t seconds);  // since 1970, as 2024-01-31T23:59:59Z (ISO 8601, UTC)
  void Text(const ExportText& text);
  // Two texts as one value.
  void Text(const ExportText& first, const ExportText& second);
  // The bytes of two texts as one path of paths0: a row of its own, without BeginRow and EndRow.
  void Path(std::string_view first, std::string_view second);
  // Bytes of two texts as one value, in hexadecimal digits.
  void Hex(std::string_view first, std::string_view second);

  using OutputBuffer::Flush;

 private:
  void Shown(std::string_view text);
  void HexDigits(std::string_view bytes);
  // A quotation mark when `quoted` in CSV, always in JSON.
  void Quote(bool quoted) {
    if (quoted || format_ == ExportFormat::kNdjson) Put('"');
  }
  void Guard(std::string_view text);
  void EndValue() { Put(','); }

  ExportFormat format_;
  std::string lineEnd_;
  bool guard_;
  bool terminal_;
};

}  // namespace tabulon
