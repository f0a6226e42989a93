// Conversions between UTF-8, 8-bit text and wide text, with the program's own simple rules.
//
// They handle sequences of one to three bytes and validate nothing. Stored names and report output
// depend on the exact values below, so every oddity is kept:
//  - a three-byte sequence keeps the marker bits of its lead byte: U+20AC is held as 0xE20AC;
//  - stray continuation bytes and four-byte leads are taken as leads of three-byte sequences;
//  - a zero byte inside a sequence is consumed as data;
//  - wide text is encoded with three bytes from 0x400 on (UTF-8 proper begins at 0x800).
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace tabulon {

// Decodes the sequence that starts at bytes[at] and moves `at` behind it. Bytes behind `size` read
// as zero, so a cut sequence never reaches past its text. REQUIRES: at < size.
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

// UTF-8 to wide text. Ends at a zero byte that starts a sequence. `dst` needs a unit for every
// byte, and one more. Returns dst.
wchar_t* UtfToWChr(wchar_t* dst, const char* src);
// UTF-8 to 8-bit text (exact for U+0080 to U+00FF, other bits dropped). Returns dst.
char* UtfToChr(char* dst, const char* src);
// Wide text to UTF-8; `dst` needs WChrUtfLen(src) bytes. Negative units give their low byte, bits
// above bit 15 are dropped. Returns dst.
char* WChrToUtf(char* dst, const wchar_t* src);
// Copies: 8-bit text counts as UTF-8. Returns dst.
char* ChrToUtf(char* dst, const char* src);
// Bytes that WChrToUtf or ChrToUtf writes, terminator included.
size_t WChrUtfLen(std::wstring_view src);
size_t ChrUtfLen(const char* src);
// Number of sequences in UTF-8 text, terminator excluded; 0xE0 counts as a two-byte lead here.
size_t UtfChrLen(const char* src);
// 8-bit to wide text, each byte sign-extended. Returns dst.
wchar_t* Chr2WChr(wchar_t* dst, const char* src);

// Copies in memory of their own. Exhausted memory ends the run.
std::wstring SaveWStr(std::wstring_view text);
std::string SaveAStr(std::string_view text);

}  // namespace tabulon
