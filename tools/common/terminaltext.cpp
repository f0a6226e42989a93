#include "tools/common/terminaltext.h"

#include <unistd.h>

#include <algorithm>
#include <iterator>

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

struct CodeRange {
  char32_t first, last;
};
// clang-format off
constexpr CodeRange kHarmful[] = {
    {0x00, 0x1F}, {0x7F, 0x9F},  // C0, DEL, C1
    {0x061C, 0x061C},            // Arabic letter mark
    {0x200E, 0x200F},            // left-to-right and right-to-left mark
    {0x2028, 0x202E},            // line and paragraph separator, embeddings and overrides
    {0x2066, 0x2069},            // isolates
};
// clang-format on

bool IsHarmful(char32_t c) {
  return std::any_of(std::begin(kHarmful), std::end(kHarmful),
                     [c](const CodeRange& range) { return c >= range.first && c <= range.last; });
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
    shown += malformed || IsHarmful(c) ? "?" : text.substr(0, size);
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
