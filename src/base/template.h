// Wildcard templates for names and paths. '?' is one character, '*' is a run within one component
// of the path, '~' is a run across components, "'" quotes the next wildcard.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "base/bytes.h"

namespace tabulon {

// The units that a coded template has in place of the wildcards.
inline constexpr wchar_t kWildOne = 1;   // '?'
inline constexpr wchar_t kWildName = 2;  // '*'
inline constexpr wchar_t kWildPath = 3;  // '~'

// The coded form of `typed`.
std::wstring ConvertTemplate(std::wstring_view typed);

// A coded template made ready for many texts. The separator is "\" when `backslash` is set and "/"
// otherwise; letter case is ignored. The locale has to be the same when it is built and when it is
// used. A test costs at most text x template and allocates nothing.
//
// The wildcards of a template part it into segments of literals and '?'. The rules for them:
//  - A wildcard before a segment crosses separators, whatever its kind: the segment may be anywhere
//    after the previous one. Only at the end of the template does '*' refuse a separator.
//  - A '?' inside or after a run of wildcards requires no character.
//  - A literal right after a wildcard is compared as typed with the lower-cased text, so a capital
//    there matches nothing. Kept so.
//  - A template that ends in separator and '~' also takes the text that stops before that separator
//    ("dir/~" takes "dir"). When there is a wildcard before that separator ("*/~"), the text needs
//    no separator at all; '*' there refuses a text that ends in one which is already used up.
//
// Most texts do not match, and most of those are refused by their first or last eight bytes: one
// load, two logical operations and a comparison for each end (Word). For a template without fixed
// ends, the first and last unit of one segment are looked for in all places at once (Needle). Only
// what passes is compared unit by unit (Matcher).
class CompiledTemplate {
 public:
  CompiledTemplate() : CompiledTemplate(std::wstring_view(), false) {}
  CompiledTemplate(std::wstring_view coded, bool backslash);

  // What eight ASCII bytes have to be: where `care` has 0xFF, text | caseBits must equal `bytes`. A
  // case bit is 0x20 for a letter, so that both cases fit; bytes without care may be anything.
  struct Word {
    uint64_t caseBits = 0;
    uint64_t bytes = 0;
    uint64_t care = 0;
    bool Fits(uint64_t text) const { return ((text | caseBits) & care) == bytes; }
    // The same for sixteen words: a bit each, the lowest for the first.
    uint32_t FitsOf(const uint64_t* texts) const;
  };
  // The last eight bytes (TailWord) of every ASCII text that matches fit this.
  const Word& tail() const { return tail_; }
  // And the first eight bytes of every ASCII text that matches fit this.
  const Word& head() const { return head_; }
  // Whether every ASCII text that fits the tail matches: "*.jpg".
  bool tailDecides() const { return tailDecides_; }
  // A segment between wildcards, looked for by its first and its last unit alone: a place where
  // both fit is rare enough.
  struct Needle {
    size_t length = 0;                        // 0: there is none
    std::array<char, kBlockBytes> firstCase;  // sixteen times the unit's caseBits
    std::array<char, kBlockBytes> first;      // sixteen times the unit
    std::array<char, kBlockBytes> lastCase;
    std::array<char, kBlockBytes> last;
    bool IsMissing(std::string_view ascii) const;
    // The same without a branch on the text's length. REQUIRES: CanLookInPlace(), and 48 bytes can
    // be read from the start of the text.
    bool IsMissingInPlace(std::string_view ascii) const;
    bool CanLookInPlace() const { return length != 0 && length <= kBlockBytes + 1; }
  };
  // Every ASCII text that matches has this.
  const Needle& needle() const { return needle_; }

  bool Match(std::wstring_view text) const;
  // The same for text that is known to be ASCII.
  bool Match(std::string_view ascii) const { return MayMatch(ascii) && MatchAscii(ascii); }

 private:
  enum class End { kLiteral, kSuffix, kName, kPath };

  // A stretch of units_ that a matching text holds in one piece.
  struct Segment {
    size_t start = 0;
    size_t length = 0;
    // After a wildcard: a word that has the first unit as each of its bytes, and one for the last.
    Word first;
    Word last;
  };
  template <class Char>
  class Matcher;

  Segment TakeSegment(std::wstring_view coded, size_t& at);
  Word WordOf(size_t start, size_t length, size_t firstByte) const;
  Word RepeatedUnit(wchar_t unit) const;
  void ChooseNeedle();
  // False for most of the texts that do not match, after a look at a few words of the text.
  bool MayMatch(std::string_view ascii) const {
    if (ascii.size() < kWordBytes) return true;
    return head_.Fits(LoadU64(ascii.data())) && tail_.Fits(TailWord(ascii)) &&
           (needle_.length == 0 || !needle_.IsMissing(ascii));
  }
  bool MatchAscii(std::string_view ascii) const;

  std::wstring units_;           // folded, but for the first unit of a segment after a wildcard
  Segment prefix_;               // at the start; may be empty
  std::vector<Segment> inner_;   // each at its first place after the previous one
  std::optional<Segment> last_;  // with a wildcard at the end: the segment before it
  Segment suffix_;               // at the end, with End::kSuffix
  Word head_;                    // of the first eight bytes of a match
  Word tail_;                    // of the last eight
  bool tailDecides_ = false;
  Needle needle_;  // what most texts lack
  End end_ = End::kLiteral;
  bool bareTail_ = false;        // ends in separator and a lone '~'
  bool nameBeforeLast_ = false;  // the wildcard before last_ is '*'
  size_t shortest_ = 0;          // units that a matching text has at least
  wchar_t separator_;
};

inline uint32_t CompiledTemplate::Word::FitsOf(const uint64_t* texts) const {
  const auto every = [](const uint64_t& word) {
    const char* const text = reinterpret_cast<const char*>(&word);
    return ByteBlock::LoadHalves(text, text);
  };
  const auto two = [&](size_t i) {
    const ByteBlock text = ByteBlock::Load(reinterpret_cast<const char*>(texts + i));
    return (text | every(caseBits)) & every(care);
  };
  return ByteBlock::SameWords([&](size_t i) { return two(i); }, every(bytes));
}

// Most texts are short and lack the needle. Four words of eight places are always compared, and
// their results joined: one branch for the whole text. In a short text the words overlap; a long
// one, such as the path of a directory, has more.
inline bool CompiledTemplate::Needle::IsMissing(std::string_view ascii) const {
  if (ascii.size() < length + kWordBytes - 1) return false;
  const size_t lastWord = ascii.size() - (length + kWordBytes - 1);
  ByteBlock any = ByteBlock::Every(0);
  for (size_t at = 0; at < 4 * kWordBytes || at < lastWord + kWordBytes; at += 2 * kWordBytes) {
    const char* const low = ascii.data() + std::min(at, lastWord);
    const char* const high = ascii.data() + std::min(at + kWordBytes, lastWord);
    const ByteBlock starts = ByteBlock::LoadHalves(low, high) | ByteBlock::Load(firstCase.data());
    const ByteBlock ends = ByteBlock::LoadHalves(low + length - 1, high + length - 1) |
                           ByteBlock::Load(lastCase.data());
    any = any | (starts.EqualTo(ByteBlock::Load(first.data())) &
                 ends.EqualTo(ByteBlock::Load(last.data())));
  }
  return any.HighBits() == 0;
}

// It looks at the first 32 places, which most texts do not fill: what follows the text costs a
// closer look now and then.
inline bool CompiledTemplate::Needle::IsMissingInPlace(std::string_view ascii) const {
  const auto places = [&](const char* text) {
    const ByteBlock starts = ByteBlock::Load(text) | ByteBlock::Load(firstCase.data());
    const ByteBlock ends = ByteBlock::Load(text + length - 1) | ByteBlock::Load(lastCase.data());
    return starts.EqualTo(ByteBlock::Load(first.data())) &
           ends.EqualTo(ByteBlock::Load(last.data()));
  };
  const ByteBlock any = places(ascii.data()) | places(ascii.data() + kBlockBytes);
  return (any.HighBits() == 0) & (ascii.size() < 2 * kBlockBytes + length);
}

// One test of a template that is not worth compiling ahead.
bool TemplateMatch(std::wstring_view text, std::wstring_view coded, bool backslash);

}  // namespace tabulon
