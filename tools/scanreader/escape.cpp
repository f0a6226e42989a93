#include "tools/scanreader/escape.h"

#include <algorithm>
#include <cstdint>

#include "base/bytes.h"

namespace tabulon {
namespace {

constexpr std::string_view kReplacement = "\xEF\xBF\xBD";  // U+FFFD

// Set when some byte of the word equals `byte`.
constexpr uint64_t Has(uint64_t word, unsigned char byte) {
  const uint64_t difference = word ^ (kEveryByte * byte);
  return (difference - kEveryByte) & ~difference & kHighBits;
}

// Not 0 when a byte of the word has a meaning in either format, or is not printable ASCII.
constexpr uint64_t Special(uint64_t word) {
  const uint64_t control = (word - kEveryByte * 0x20) & ~word;
  return ((word | control) & kHighBits) | Has(word, '"') | Has(word, ',') | Has(word, '\\') |
         Has(word, 0x7F);
}

// Whether both formats show the text as it is, without escapes. Eight bytes are looked at together;
// the last eight overlap those before, so that no loop over single bytes is needed. Nearly all
// names pass and are copied as a whole.
bool IsPlain(std::string_view text) {
  constexpr size_t kWord = sizeof(uint64_t);
  if (text.size() < kWord) {
    uint64_t word = kEveryByte * ' ';
    text.copy(reinterpret_cast<char*>(&word), text.size());
    return Special(word) == 0;
  }
  const size_t last = text.size() - kWord;
  uint64_t special = Special(LoadU64(text.data() + last));
  for (size_t at = 0; at < last; at += kWord) special |= Special(LoadU64(text.data() + at));
  return special == 0;
}

void EscapeCsvByte(char byte, ExportText& out) {
  if (byte == '"') out.own += '"';
  out.own += byte;
  const bool control = static_cast<unsigned char>(byte) < ' ' || byte == 0x7F;
  out.quoted |= byte == '"' || byte == ',' || control;
}

void EscapeJsonByte(char byte, ExportText& out) {
  constexpr char kHex[] = "0123456789abcdef";
  constexpr std::string_view kLetters = "\"\"\\\\\bb\ff\nn\rr\tt";  // byte, letter after '\'
  for (size_t i = 0; i < kLetters.size(); i += 2) {
    if (kLetters[i] != byte) continue;
    out.own += '\\';
    out.own += kLetters[i + 1];
    return;
  }
  if (static_cast<unsigned char>(byte) >= ' ') {
    out.own += byte;
    return;
  }
  out.own += "\\u00";
  out.own += kHex[byte >> 4];
  out.own += kHex[byte & 0xF];
}

}  // namespace

std::string_view TextOf(std::string_view stored) {
  return stored.substr(0, stored.find('\0'));
}

void EscapeText(ExportFormat format, std::string_view text, ExportText& out) {
  out.quoted = false;
  out.valid = true;
  if (IsPlain(text)) {
    out.escaped = text;
    return;
  }
  out.own.clear();
  while (!text.empty()) {
    const size_t length = UtfSequenceLength(text);
    if (length == 1) {
      format == ExportFormat::kCsv ? EscapeCsvByte(text[0], out) : EscapeJsonByte(text[0], out);
    } else {
      out.own.append(length != 0 ? text.substr(0, length) : kReplacement);
      out.valid &= length != 0;
    }
    text.remove_prefix(std::max<size_t>(length, 1));
  }
  out.escaped = out.own;
}

// The ranges of RFC 3629: no overlong forms, no surrogates, nothing above U+10FFFF.
size_t UtfSequenceLength(std::string_view text) {
  const auto byteAt = [&](size_t i) {
    return i < text.size() ? static_cast<unsigned char>(text[i]) : 0U;
  };
  const auto continues = [&](size_t from, size_t to) {
    for (size_t i = from; i < to; ++i) {
      if ((byteAt(i) & 0xC0) != 0x80) return false;
    }
    return true;
  };
  const unsigned lead = byteAt(0);
  const unsigned second = byteAt(1);
  if (lead < 0x80) return text.empty() ? 0 : 1;
  if (lead < 0xC2 || lead > 0xF4) return 0;
  if (lead < 0xE0) return continues(1, 2) ? 2 : 0;
  if (lead < 0xF0) {
    if ((lead == 0xE0 && second < 0xA0) || (lead == 0xED && second > 0x9F)) return 0;
    return continues(1, 3) ? 3 : 0;
  }
  if ((lead == 0xF0 && second < 0x90) || (lead == 0xF4 && second > 0x8F)) return 0;
  return continues(1, 4) ? 4 : 0;
}

}  // namespace tabulon
