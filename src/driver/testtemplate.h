// The interactive wildcard tester behind -t: tells for typed templates and strings whether they
// match, as the program would find it on a CIFS scan.
#pragma once

#include <optional>
#include <string>

namespace tabulon {

// Asks for templates and, for each, for strings; prints "match" or "miss". A line that begins with
// 'q' goes back to the template prompt, and from there ends the tester, as the end of standard
// input does.
void TestTemplate();

// A line of standard input without its line end, widened like the text of a query; nothing at the
// end of input.
std::optional<std::wstring> TestRead();

}  // namespace tabulon
