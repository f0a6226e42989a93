#include "driver/testtemplate.h"

#include <cstdio>
#include <cstdlib>
#include <memory>

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
  while (std::feof(stdin) == 0) {
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
  char* line = nullptr;
  size_t room = 0;
  const ssize_t length = getline(&line, &room, stdin);
  const std::unique_ptr<char, decltype(&std::free)> owner(line, &std::free);
  if (length < 0) return std::nullopt;
  std::clearerr(stdin);  // a last line without a line end is followed by one more prompt
  std::string_view bytes(line, static_cast<size_t>(length));
  if (bytes.ends_with('\n')) bytes.remove_suffix(1);
  std::wstring wide;
  AppendUtfToWide(wide, bytes);
  return wide;
}

}  // namespace tabulon
