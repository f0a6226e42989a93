#include "query/tokenizer.h"

#include <cstdint>

#include "base/loganderr.h"

namespace tabulon {

std::wstring query;
const wchar_t* queryPtr = query.c_str();
int qStrPos = 0;
ScanState scanState = kWhiteScan;
ParseState parseState = kNoToken;
std::array<wchar_t, kTokenLimit + 1> tokenBuff;
size_t tokenIndx = 0;
wchar_t quoteChar = 0;
bool openParen = false;
bool closeParen = false;

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

ScanState Append(wchar_t unit, ScanState next) {
  if (tokenIndx == kTokenLimit) InvalidQuery(L"token too long");
  tokenBuff[tokenIndx++] = unit;
  return next;
}

ScanState EndToken() {
  parseState = kTokenComplete;
  quoteChar = 0;
  return kWhiteScan;
}

ScanState WhiteScan(wchar_t unit, CharClass unitClass) {
  switch (unitClass) {
    case kWhite:
      return kWhiteScan;
    case kOpenParen:
      openParen = true;
      return kWhiteScan;
    case kCloseParen:
      closeParen = true;
      return kWhiteScan;
    case kDoubleQuote:
    case kSingleQuote:
      quoteChar = unit;
      parseState = kInToken;
      return kQuoteScan;
    default:
      parseState = kInToken;
      return Append(unit, kTokenScan);
  }
}

ScanState TokenScan(wchar_t unit, CharClass unitClass) {
  switch (unitClass) {
    case kWhite:
      return EndToken();
    case kOpenParen:
      openParen = true;
      return EndToken();
    case kCloseParen:
      closeParen = true;
      return EndToken();
    default:
      return Append(unit, kTokenScan);
  }
}

// Reserved for an escape character, which the language does not have.
ScanState EscapeScan(wchar_t, CharClass) {
  return kWhiteScan;
}

ScanState QuoteScan(wchar_t unit, CharClass) {
  if (unit == quoteChar) return EndToken();
  if (unit == L'\n') InvalidQuery(L"NEWLINE in quoted string");
  return Append(unit, kQuoteScan);
}

using ScanStateProc = ScanState (*)(wchar_t unit, CharClass unitClass);
constexpr std::array<ScanStateProc, 4> scanStateProc = {WhiteScan, TokenScan, EscapeScan,
                                                        QuoteScan};  // by ScanState

}  // namespace

void StartQuery(std::wstring_view text) {
  query = text.substr(0, text.find(L'\0'));
  queryPtr = query.c_str();
  qStrPos = 0;
  scanState = kWhiteScan;
  quoteChar = 0;
  ClearToken();
}

void ScanCharacter() {
  const wchar_t unit = *queryPtr++;
  ++qStrPos;
  openParen = closeParen = false;
  scanState = scanStateProc[scanState](unit, ClassOf(unit));
}

void ClearToken() {
  tokenIndx = 0;
  parseState = kNoToken;
}

namespace query_internal {

void Fail(std::wstring_view format, std::span<const FormatArg> args) {
  std::wstring message;
  AppendFormatted(message, format, args);
  if (message.size() > kMessageLimit) message.resize(kMessageLimit);
  LogErr(L"Syntax error: %ls\n", query);
  ErrExit(L"   in position %d - %ls\n", qStrPos, message);
}

}  // namespace query_internal
}  // namespace tabulon
