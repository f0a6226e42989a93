// The query tokenizer: cuts the text of a query into tokens and parenthesis events, one character a
// call, with a machine of four states driven by a table of character classes. A token is a word or
// a quoted text of at most 255 characters; a quote inside a word is an ordinary character.
//
// There is one set of state for the program: one query is parsed at a time.
#pragma once

#include <array>
#include <cstddef>
#include <span>
#include <string>
#include <string_view>

#include "base/format.h"

namespace tabulon {

enum ScanState { kWhiteScan = 0, kTokenScan = 1, kEscapeScan = 2, kQuoteScan = 3 };
enum ParseState { kNoToken = 0, kInToken = 1, kTokenComplete = 2 };

inline constexpr size_t kTokenLimit = 255;  // longest token, in characters

// Set by StartQuery and ScanCharacter; read by the parser.
extern std::wstring query;       // the whole text, for messages
extern const wchar_t* queryPtr;  // next character; the text ends at a zero
extern int qStrPos;              // position of the character read last, from 1
extern ScanState scanState;
extern ParseState parseState;
extern std::array<wchar_t, kTokenLimit + 1> tokenBuff;
extern size_t tokenIndx;   // characters in tokenBuff
extern wchar_t quoteChar;  // the quote that ends the token; 0 outside quotes
extern bool openParen;     // the character was a parenthesis of its own; cleared by the next one
extern bool closeParen;

// Makes `text`, up to its first zero unit, the query.
void StartQuery(std::wstring_view text);
// Reads one character. REQUIRES: *queryPtr is not 0.
void ScanCharacter();
// The token as far as it has been read. Valid until ClearToken.
inline std::wstring_view Token() {
  return {tokenBuff.data(), tokenIndx};
}
// Makes room for the next token.
void ClearToken();

namespace query_internal {
[[noreturn]] void Fail(std::wstring_view format, std::span<const FormatArg> args);
}  // namespace query_internal

// Ends the run: "Syntax error: " with the query, then the position of the character read last with
// the message, of which 511 characters are printed at most.
template <class... A>
[[noreturn]] void InvalidQuery(WideFormat<A...> format, const A&... args) {
  WithArgs([&](auto packed) { query_internal::Fail(format.text, packed); }, args...);
  __builtin_unreachable();
}

}  // namespace tabulon
