#include "detail/recordtext.h"

#include <algorithm>
#include <cstdint>
#include <cstring>

#include "base/bytes.h"
#include "base/utf.h"

namespace tabulon {
namespace {

// Whether all bytes of a text with this tail are from 1 to 127. Six words of eight bytes are always
// looked at: for a text of 8 to 48 bytes, which most are, no branch depends on the length. In a
// shorter one of these the words overlap, as none begins after the last eight bytes.
bool IsPlain(std::string_view bytes, uint64_t tail) {
  constexpr size_t kCovered = 5 * kWordBytes;
  const char* text = bytes.data();
  if (bytes.size() < kWordBytes) {
    return MarksOfUnplain(tail | kEveryByte >> (8 * bytes.size())) == 0;
  }
  const size_t last = bytes.size() - kWordBytes;
  const auto unplainAt = [&](size_t at, size_t next) {
    return ByteBlock::LoadHalves(text + std::min(at, last), text + std::min(next, last)).Unplain();
  };
  ByteBlock any = unplainAt(0, kWordBytes) | unplainAt(2 * kWordBytes, 3 * kWordBytes) |
                  unplainAt(4 * kWordBytes, last);
  for (size_t at = kCovered; at < last; at += 2 * kWordBytes) {
    any = any | unplainAt(at, at + kWordBytes);
  }
  return any.HighBits() == 0;
}

// Length of the plain text at the start of `bytes`: it ends at the first byte that is zero or above
// 127.
size_t PlainLength(std::string_view bytes) {
  size_t i = 0;
  for (; i + kWordBytes <= bytes.size(); i += kWordBytes) {
    const uint64_t marks = MarksOfUnplain(LoadU64(bytes.data() + i));
    if (marks != 0) return i + static_cast<size_t>(__builtin_ctzll(marks)) / 8;
  }
  while (i < bytes.size() && static_cast<signed char>(bytes[i]) > 0) ++i;
  return i;
}

}  // namespace

AsciiText::AsciiText(std::string_view stored) {
  // Nearly all texts are stored in this form: ASCII with one zero byte at the end.
  if (!stored.empty() && stored.back() == '\0') {
    text = stored.substr(0, stored.size() - 1);
    tail = TailWord(text);
    known = IsPlain(text, tail);
    if (known) return;
  }
  const size_t plain = PlainLength(stored);
  known = plain == stored.size() || stored[plain] == '\0';
  text = known ? stored.substr(0, plain) : std::string_view();
  tail = TailWord(text);
}

void RecordText::Decide() const {
  widened_ = false;
  ascii_ = AsciiText(stored_);
  form_ = ascii_.known ? Form::kAscii : Form::kOther;
}

std::wstring_view RecordText::Wide() const {
  const bool ascii = IsAscii();
  if (widened_) return wide_;
  widened_ = true;
  if (ascii) {
    wide_.assign(Ascii().begin(), Ascii().end());
    return wide_;
  }
  wide_.clear();
  AppendUtfToWide(wide_, stored_);
  if (const size_t end = wide_.find(L'\0'); end != std::wstring::npos) wide_.resize(end);
  return wide_;
}

std::ptrdiff_t RecordText::FindLastDot() const {
  if (!IsAscii()) return static_cast<std::ptrdiff_t>(Wide().rfind(L'.'));
  const std::string_view ascii = Ascii();
  if (ascii.empty()) return -1;
  const void* dot = memrchr(ascii.data(), '.', ascii.size());  // a GNU extension
  return dot != nullptr ? static_cast<const char*>(dot) - ascii.data() : -1;
}

}  // namespace tabulon
