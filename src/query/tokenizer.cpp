#include "query/tokenizer.h"

#include <cstdint>

#include "base/loganderr.h"

namespace tabulon {

namespace {

constexpr size_t kMessageLimit = 511;  // characters of a message

enum CharClass : uint8_t {
  kWhite,
  kTokenChar,
  kDigit,
  kDoubleQuote,
  kSingleQuote,
  kOpenParen,
  kCloseParen,
};

constexpr std::array<CharClass, 256> charSet = [] {
  std::array<CharClass, 256> classes{};
  for (size_t code = 0; code < classes.size(); ++code) {
    classes[code] = code <= ' ' || code == 127 ? kWhite : kTokenChar;
  }
  for (size_t code = '0'; code <= '9'; ++code) classes[code] = kDigit;
  classes['"'] = kDoubleQuote;
  classes['\''] = kSingleQuote;
  classes['('] = kOpenParen;
  classes[')'] = kCloseParen;
  return classes;
}();

// Everything outside the table is a token character, the negative units of wide text included.
CharClass ClassOf(wchar_t unit) {
  const auto code = static_cast<uint32_t>(unit);
  return code < charSet.size() ? charSet[code] : kTokenChar;
}

ScanState Append(Tokenizer& at, wchar_t unit, ScanState next) {
  if (at.tokenIndx == kTokenLimit) at.InvalidQuery(L"token too long");
  at.tokenBuff[at.tokenIndx++] = unit;
  return next;
}

ScanState EndToken(Tokenizer& at) {
  at.parseState = kTokenComplete;
  at.quoteChar = 0;
  return kWhiteScan;
}

ScanState WhiteScan(Tokenizer& at, wchar_t unit, CharClass unitClass) {
  switch (unitClass) {
    case kWhite:
      return kWhiteScan;
    case kOpenParen:
      at.openParen = true;
      return kWhiteScan;
    case kCloseParen:
      at.closeParen = true;
      return kWhiteScan;
    case kDoubleQuote:
    case kSingleQuote:
      at.quoteChar = unit;
      at.parseState = kInToken;
      return kQuoteScan;
    default:
      at.parseState = kInToken;
      return Append(at, unit, kTokenScan);
  }
}

ScanState TokenScan(Tokenizer& at, wchar_t unit, CharClass unitClass) {
  switch (unitClass) {
    case kWhite:
      return EndToken(at);
    case kOpenParen:
      at.openParen = true;
      return EndToken(at);
    case kCloseParen:
      at.closeParen = true;
      return EndToken(at);
    default:
      return Append(at, unit, kTokenScan);
  }
}

// Reserved for an escape character, which the language does not have.
ScanState EscapeScan(Tokenizer&, wchar_t, CharClass) {
  return kWhiteScan;
}

ScanState QuoteScan(Tokenizer& at, wchar_t unit, CharClass) {
  if (unit == at.quoteChar) return EndToken(at);
  if (unit == L'\n') at.InvalidQuery(L"NEWLINE in quoted string");
  return Append(at, unit, kQuoteScan);
}

using ScanStateProc = ScanState (*)(Tokenizer& at, wchar_t unit, CharClass unitClass);
constexpr std::array<ScanStateProc, 4> scanStateProc = {WhiteScan, TokenScan, EscapeScan,
                                                        QuoteScan};  // by ScanState

}  // namespace

void Tokenizer::ScanCharacter() {
  const wchar_t unit = *queryPtr++;
  ++qStrPos;
  openParen = closeParen = false;
  scanState = scanStateProc[scanState](*this, unit, ClassOf(unit));
}

void Tokenizer::ClearToken() {
  tokenIndx = 0;
  parseState = kNoToken;
}

void Tokenizer::Fail(std::wstring_view format, std::span<const FormatArg> args) const {
  std::wstring message;
  AppendFormatted(message, format, args);
  if (message.size() > kMessageLimit) message.resize(kMessageLimit);
  LogErr(L"Syntax error: %ls\n", query);
  ErrExit(L"   in position %d - %ls\n", qStrPos, message);
}

}  // namespace tabulon
