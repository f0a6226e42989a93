// The interactive wildcard tester of the option -t: tells whether typed strings match a typed
// template, by the rules for CIFS scans.
#pragma once

#include <optional>
#include <string>

namespace tabulon {

// Asks for templates and, for each, for strings; prints "match" or "miss". A line that begins with
// 'q' goes back to the template prompt. At that prompt it ends the tester, and so does the end of
// standard input anywhere.
void TestTemplate();

// A line of standard input without its line end, widened like the text of a query; nothing at the
// end of input.
std::optional<std::wstring> TestRead();

}  // namespace tabulon
