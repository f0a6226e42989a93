// A text of a record (name, link target, directory path). It is looked at where it is stored, and
// decoded only when some code needs it. Most names are ASCII, and are used as the bytes they are.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "base/bytes.h"

namespace tabulon {

// The ASCII form of a text.
struct AsciiText {
  AsciiText() = default;
  // Looks at `stored`, UTF-8 whose size may include the terminator; the text ends at its first zero
  // unit.
  explicit AsciiText(std::string_view stored);
  bool known = false;     // every unit of the text is below 128
  uint64_t tail = 0;      // its last eight bytes (TailWord); 0 when it is not known
  std::string_view text;  // the bytes, where they are stored; empty when it is not known
};

// The quick look: the length of the ASCII text, SIZE_MAX for a text that needs the closer look of
// AsciiText. REQUIRES: `kReadable` bytes can be read from the start of the stored text, and a word
// before it.
//
// Three blocks of 16 bytes are always looked at, whatever the length of the name, and their results
// are joined to one word: three loads cost less than one wrongly predicted branch on the length.
// Bytes after the name's end do no harm, since the terminator is found before them.
inline constexpr size_t kReadable = 3 * kBlockBytes;
inline size_t PlainLengthInPlace(std::string_view stored) {
  const auto unplain = [&](size_t block) {
    const ByteBlock bytes = ByteBlock::Load(stored.data() + block * kBlockBytes);
    return uint64_t{bytes.Unplain().HighBits()} << (block * kBlockBytes);
  };
  // The lowest mark is the first byte that is zero or not ASCII. In a plain text it is the zero
  // byte at the end. The bit at kReadable ends the search when there is no mark.
  const uint64_t marks = unplain(0) | unplain(1) | unplain(2) | uint64_t{1} << kReadable;
  const auto plain = static_cast<size_t>(__builtin_ctzll(marks));
  return plain + 1 == stored.size() && stored.back() == '\0' ? plain : SIZE_MAX;
}
// The tail (TailWord) of such a text: one load, which for a short text begins before it; the bytes
// before it are masked out.
inline uint64_t TailInPlace(const char* text, size_t size) {
  const uint64_t word = LoadU64(text + size - kWordBytes);
  return size >= kWordBytes ? word : word & ~(~uint64_t{0} >> (8 * size));
}

class RecordText {
 public:
  // Takes `stored`, UTF-8 whose size may include the terminator; the bytes must outlive the use.
  // They are looked at only when the form is asked for.
  void Assign(std::string_view stored) {
    stored_ = stored;
    form_ = Form::kUndecided;
    ++version_;
  }
  // The same for a text that allows the quick look (PlainLengthInPlace), which is taken at once.
  void AssignInPlace(std::string_view stored) {
    Assign(stored);
    if (const size_t plain = PlainLengthInPlace(stored); plain != SIZE_MAX) {
      SetAscii(stored.substr(0, plain), TailInPlace(stored.data(), plain));
    }
  }
  // For a text whose ASCII form the caller knows: it need not be looked at again.
  void SetAscii(std::string_view text, uint64_t tail) {
    form_ = Form::kAscii;
    ascii_.text = text;
    ascii_.tail = tail;
    widened_ = false;
  }
  // Takes a copy of its own.
  void AssignCopy(std::string_view stored) {
    copy_.assign(stored);
    Assign(copy_);
  }

  // As it was assigned.
  std::string_view Stored() const { return stored_; }

  // Whether every unit of the text is below 128. The text ends at its first zero unit.
  bool IsAscii() const {
    if (form_ == Form::kUndecided) Decide();
    return form_ == Form::kAscii;
  }
  // The text as bytes. REQUIRES: IsAscii(). Valid until the next Assign.
  std::string_view Ascii() const { return ascii_.text; }
  // The text as wide text, by the rules of UtfToWChr. Valid until the next Assign.
  std::wstring_view Wide() const;

  // Position of the text's last '.', in units from 0; -1 when it has none.
  std::ptrdiff_t LastDot() const {
    // Most extensions have fewer than eight letters: the last dot is in the tail, and is found by
    // its highest mark without a loop.
    if (const uint64_t dots = IsAscii() ? MarksOf('.', ascii_.tail) : 0; dots != 0) {
      return static_cast<std::ptrdiff_t>(ascii_.text.size()) - 1 - __builtin_clzll(dots) / 8;
    }
    return FindLastDot();
  }

  // Changes with the text: code that keeps something made from the text sees by this number whether
  // it still fits.
  uint64_t version() const { return version_; }

  // Calls use(Ascii()) or use(Wide()), whichever costs less.
  template <class Use>
  auto Visit(Use&& use) const {
    return IsAscii() ? use(Ascii()) : use(Wide());
  }

 private:
  enum class Form { kUndecided, kAscii, kOther };
  void Decide() const;
  std::ptrdiff_t FindLastDot() const;

  std::string_view stored_;
  std::string copy_;
  uint64_t version_ = 0;
  mutable Form form_ = Form::kUndecided;
  mutable AsciiText ascii_;
  mutable bool widened_ = false;
  mutable std::wstring wide_;
};

}  // namespace tabulon
