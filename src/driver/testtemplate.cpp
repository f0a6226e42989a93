#include "driver/testtemplate.h"

#include <iostream>

#include "base/loganderr.h"
#include "base/template.h"
#include "base/utf.h"

namespace tabulon {
namespace {

// Asks for a line; nothing when it asks to quit.
std::optional<std::wstring> Ask(std::wstring_view prompt) {
  Console().Write(prompt);
  Console().Flush();
  std::optional<std::wstring> line = TestRead();
  if (line && line->starts_with(L'q')) line.reset();
  return line;
}

}  // namespace

void TestTemplate() {
  while (std::cin) {
    const auto typed = Ask(L"Template: ");
    if (!typed) break;
    const std::wstring coded = ConvertTemplate(*typed);
    while (const auto text = Ask(L"  String: ")) {
      const bool match = TemplateMatch(std::wstring_view(*text), coded, true);
      Console().Write(match ? L"match\n" : L"miss\n");
    }
  }
  Console().Flush();
}

std::optional<std::wstring> TestRead() {
  std::string line;
  if (!std::getline(std::cin, line)) return std::nullopt;
  std::wstring wide;
  AppendUtfToWide(wide, line);
  return wide;
}

}  // namespace tabulon
