// Conversions between UTF-8, 8-bit text and wide text, with the program's own simple rules.
//
// They handle sequences of one to three bytes and validate nothing. Stored names and report output
// depend on the exact values below, so every oddity is kept:
//  - a three-byte sequence keeps the marker bits of its lead byte: U+20AC is held as 0xE20AC;
//  - stray continuation bytes and four-byte leads are taken as leads of three-byte sequences;
//  - in a text of known length a zero byte inside a sequence is data; in a zero-terminated text
//    nothing after the zero byte is read, and a sequence that it cuts is filled with zeros;
//  - wide text is encoded with three bytes from 0x400 on (UTF-8 proper begins at 0x800).
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "base/unitcode.h"

namespace tabulon {

// Decodes the sequence that starts at bytes[at] and moves `at` after it. Bytes from `size` on count
// as zero, so a cut sequence never reads beyond its text. REQUIRES: at < size.
inline wchar_t DecodeUtfUnit(const unsigned char* bytes, size_t size, size_t& at) {
  const auto byteAt = [&](size_t i) -> uint32_t { return i < size ? bytes[i] : 0; };
  const uint32_t lead = bytes[at];
  if (lead < 0x80) {
    ++at;
    return static_cast<wchar_t>(lead);
  }
  if ((lead & 0xE0) == 0xC0) {
    const uint32_t unit = ((lead & 0x1F) << 6) | (byteAt(at + 1) & 0x3F);
    at += 2;
    return static_cast<wchar_t>(unit);
  }
  // The whole lead byte is shifted in: well-formed text comes out 0xE0000 too high. Kept so.
  const uint32_t second = byteAt(at + 1);
  const uint32_t unit = (lead << 12) | (((second >> 2) & 0x0F) << 8) | ((second & 0x03) << 6) |
                        (byteAt(at + 2) & 0x3F);
  at += 3;
  return static_cast<wchar_t>(unit);
}

// Appends the wide form of `bytes` up to the first zero byte that starts a sequence. A sequence
// that decodes to unit 0 is stored like any other; callers that need a terminated text cut there.
void AppendUtfToWide(std::wstring& out, std::string_view bytes);

// Bytes that the unit takes in UTF-8, by the boundaries above.
constexpr size_t UtfUnitLength(wchar_t unit) {
  const int32_t code = UnitCode(unit);  // a negative one gives its low byte
  return code <= 0x7F ? 1 : code <= 0x3FF ? 2 : 3;
}
// Bytes of the text in UTF-8, terminator included.
size_t WChrUtfLen(std::wstring_view src);

}  // namespace tabulon
