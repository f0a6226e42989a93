#include "detail/recordtext.h"

#include <algorithm>
#include <cstdint>

#include "base/endian.h"
#include "base/utf.h"

namespace tabulon {
namespace {

constexpr uint64_t kEveryByte = 0x0101010101010101;
constexpr uint64_t kHighBits = kEveryByte * 0x80;

// The high bit of each byte of the word that is zero or above 127; marks above the lowest one may
// be wrong.
uint64_t Marks(const char* bytes) {
  const uint64_t word = LoadU64(bytes);
  return ((word - kEveryByte) | word) & kHighBits;
}

// Whether all bytes are from 1 to 127. Four words, which overlap where there are fewer bytes, cover
// most texts without a branch for each.
bool IsPlain(std::string_view bytes) {
  constexpr size_t kWord = sizeof(uint64_t);
  if (bytes.size() < kWord) {
    return std::ranges::all_of(bytes, [](char c) { return static_cast<signed char>(c) > 0; });
  }
  const char* text = bytes.data();
  const size_t last = bytes.size() - kWord;
  uint64_t marks = Marks(text) | Marks(text + std::min(kWord, last)) |
                   Marks(text + std::min(2 * kWord, last)) | Marks(text + last);
  for (size_t at = 3 * kWord; at < last; at += kWord) marks |= Marks(text + at);
  return marks == 0;
}

// Length of the plain text at the start of `bytes`: it ends at the first byte that is zero or above
// 127. Eight bytes are looked at together.
size_t PlainLength(std::string_view bytes) {
  size_t i = 0;
  for (; i + sizeof(uint64_t) <= bytes.size(); i += sizeof(uint64_t)) {
    const uint64_t marks = Marks(bytes.data() + i);
    if (marks != 0) return i + static_cast<size_t>(__builtin_ctzll(marks)) / 8;
  }
  while (i < bytes.size() && static_cast<signed char>(bytes[i]) > 0) ++i;
  return i;
}

// Position of the last '.', -1 when there is none. Most extensions are short: the last eight bytes
// are looked at together.
std::ptrdiff_t LastDotOf(std::string_view ascii) {
  const size_t size = ascii.size();
  if (size >= sizeof(uint64_t)) {
    const uint64_t word = LoadU64(ascii.data() + size - sizeof(uint64_t));
    // ASCII bytes that differ from '.' get their high bit; exact for every byte.
    const uint64_t dots = ~((word ^ kEveryByte * '.') + kEveryByte * 0x7F) & kHighBits;
    if (dots != 0) {
      return static_cast<std::ptrdiff_t>(size) - 1 - __builtin_clzll(dots) / 8;
    }
  }
  return static_cast<std::ptrdiff_t>(ascii.rfind('.'));
}

}  // namespace

void RecordText::Decide() const {
  widened_ = false;
  // As nearly all texts are stored: ASCII, and one zero byte at the end.
  if (!stored_.empty() && stored_.back() == '\0') {
    ascii_ = {stored_.data(), stored_.size() - 1};
    if (IsPlain(ascii_)) {
      form_ = Form::kAscii;
      return;
    }
  }
  const size_t plain = PlainLength(stored_);
  if (plain == stored_.size() || stored_[plain] == '\0') {
    form_ = Form::kAscii;
    ascii_ = {stored_.data(), plain};
    return;
  }
  form_ = Form::kOther;
  ascii_ = {};
  wide_.clear();
  AppendUtfToWide(wide_, stored_);
  if (const size_t end = wide_.find(L'\0'); end != std::wstring::npos) wide_.resize(end);
}

std::wstring_view RecordText::Wide() const {
  if (IsAscii() && !widened_) {
    wide_.assign(ascii_.begin(), ascii_.end());
    widened_ = true;
  }
  return wide_;
}

void RecordText::FindLastDot() const {
  lastDot_ = IsAscii() ? LastDotOf(ascii_) : static_cast<std::ptrdiff_t>(wide_.rfind(L'.'));
  dotFound_ = true;
}

}  // namespace tabulon
