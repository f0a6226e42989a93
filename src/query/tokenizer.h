// The query tokenizer: cuts the text of a query into tokens and parenthesis events, one character a
// call, with a machine of four states driven by a table of character classes. A token is a word or
// a quoted text of at most 255 characters; a quote inside a word is an ordinary character.
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

struct Tokenizer {
  // For `text` up to its first zero unit.
  explicit Tokenizer(std::wstring_view text) : query(text.substr(0, text.find(L'\0'))) {}
  Tokenizer(const Tokenizer&) = delete;  // queryPtr looks into query
  Tokenizer& operator=(const Tokenizer&) = delete;

  // Reads one character. REQUIRES: *queryPtr is not 0.
  void ScanCharacter();
  // The token as far as it has been read. Valid until ClearToken.
  std::wstring_view Token() const { return {tokenBuff.data(), tokenIndx}; }
  // Makes room for the next token.
  void ClearToken();

  // Ends the run: "Syntax error: " with the query, then the position of the character read last
  // with the message, of which 511 characters are printed at most.
  template <class... A>
  [[noreturn]] void InvalidQuery(WideFormat<A...> format, const A&... args) const {
    WithArgs([&](auto packed) { Fail(format.text, packed); }, args...);
    __builtin_unreachable();
  }

  const std::wstring query;                 // the whole text, for messages
  const wchar_t* queryPtr = query.c_str();  // next character; the text ends at a zero
  int qStrPos = 0;                          // position of the character read last, from 1
  ScanState scanState = kWhiteScan;
  ParseState parseState = kNoToken;
  std::array<wchar_t, kTokenLimit + 1> tokenBuff;
  size_t tokenIndx = 0;    // characters in tokenBuff
  wchar_t quoteChar = 0;   // the quote that ends the token; 0 outside quotes
  bool openParen = false;  // the character was a parenthesis of its own; cleared by the next one
  bool closeParen = false;

 private:
  [[noreturn]] void Fail(std::wstring_view format, std::span<const FormatArg> args) const;
};

}  // namespace tabulon
