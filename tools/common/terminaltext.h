// Text from elsewhere (names, paths) as a terminal may show it.
#pragma once

#include <string>
#include <string_view>

namespace tabulon {

// Takes one code point off the front of a UTF-8 text (RFC 3629); a byte that begins no well-formed
// sequence is taken alone and gives U+FFFD. REQUIRES: the text is not empty.
char32_t TakeCodePoint(std::string_view& text);

// `text` with '?' in place of what would do something to the terminal or to the reading order:
// control characters, those that end a line or turn the direction of writing (UAX #9), and bytes
// that are no UTF-8, which 8-bit terminals take for control characters.
std::string Harmless(std::string_view text);

// `text` for the file `fd`: harmless when that is a terminal, else as it is.
std::string ShownOn(int fd, std::string_view text);

// The longest beginning of `text` (of harmless UTF-8) that fits into so many columns. What is not
// ASCII counts as two.
std::string_view CutToColumns(std::string_view text, size_t columns);

}  // namespace tabulon
