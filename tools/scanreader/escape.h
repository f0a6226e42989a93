// Stored texts as other programs want them: valid UTF-8 (RFC 3629), escaped for CSV (RFC 4180) or
// JSON (RFC 8259). These are the names' own bytes, not the wide form in which queries see them.
#pragma once

#include <string>
#include <string_view>

namespace tabulon {

enum class ExportFormat { kCsv, kNdjson, kPaths0 };

// A text in the form of CSV or NDJSON, without the quotes around it.
struct ExportText {
  std::string_view escaped;
  bool quoted = false;  // CSV needs quotes around it
  bool valid = true;    // the stored text is UTF-8; else U+FFFD replaces each byte that is not
  std::string own;      // memory of `escaped` when that is not what was stored

  ExportText() = default;
  ExportText(const ExportText&) = delete;
  ExportText& operator=(const ExportText&) = delete;
};

// A record's text up to its first zero byte.
std::string_view TextOf(std::string_view stored);

// Puts `text`, which must outlive `out`'s use, into the form of `format`. REQUIRES: no zero byte; a
// format of rows, not kPaths0.
void EscapeText(ExportFormat format, std::string_view text, ExportText& out);

// Length of the well-formed UTF-8 sequence that `text` begins with; 0 when there is none.
size_t UtfSequenceLength(std::string_view text);

}  // namespace tabulon
