#include "tools/common/terminaltext.h"

#include <unistd.h>

#include <cstdint>

#include "base/format.h"

namespace tabulon {
namespace {

constexpr char32_t kReplacement = 0xFFFD;

// Form of a UTF-8 sequence: lead bytes `lead` under `mask`, and the least code point that needs it.
struct SequenceForm {
  unsigned char mask, lead;
  size_t size;
  char32_t least;
};
constexpr SequenceForm kForms[] = {
    {0x80, 0x00, 1, 0}, {0xE0, 0xC0, 2, 0x80}, {0xF0, 0xE0, 3, 0x800}, {0xF8, 0xF0, 4, 0x10000}};

bool IsScalar(char32_t c) {
  return c <= 0x10FFFF && (c < 0xD800 || c > 0xDFFF);
}

}  // namespace

char32_t TakeCodePoint(std::string_view& text) {
  const auto byte = [&](size_t i) { return static_cast<unsigned char>(text[i]); };
  for (const SequenceForm& form : kForms) {
    if ((byte(0) & form.mask) != form.lead || text.size() < form.size) continue;
    char32_t c = byte(0) & static_cast<unsigned char>(~form.mask);
    bool whole = true;
    for (size_t i = 1; i < form.size; ++i) {
      whole = whole && (byte(i) & 0xC0) == 0x80;
      c = (c << 6) | (byte(i) & 0x3Fu);
    }
    if (!whole || c < form.least || !IsScalar(c)) break;
    text.remove_prefix(form.size);
    return c;
  }
  text.remove_prefix(1);
  return kReplacement;
}

std::string Harmless(std::string_view text) {
  std::string shown;
  while (!text.empty()) {
    std::string_view rest = text;
    const char32_t c = TakeCodePoint(rest);
    const size_t size = text.size() - rest.size();
    const bool malformed = c == kReplacement && size == 1;
    shown += malformed || IsHarmful(static_cast<int32_t>(c)) ? "?" : text.substr(0, size);
    text = rest;
  }
  return shown;
}

std::string ShownOn(int fd, std::string_view text) {
  return isatty(fd) != 0 ? Harmless(text) : std::string(text);
}

std::string_view CutToColumns(std::string_view text, size_t columns) {
  std::string_view rest = text;
  size_t taken = 0;
  while (!rest.empty()) {
    std::string_view after = rest;
    taken += TakeCodePoint(after) < 0x80 ? 1 : 2;
    if (taken > columns) break;
    rest = after;
  }
  return text.substr(0, text.size() - rest.size());
}

}  // namespace tabulon
