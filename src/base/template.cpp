#include "base/template.h"

#include <algorithm>
#include <bit>

#include "base/localetext.h"

namespace tabulon {
namespace {

constexpr size_t kNone = static_cast<size_t>(-1);

constexpr bool IsWildcard(wchar_t unit) {
  return unit >= kWildOne && unit <= kWildPath;
}
constexpr bool IsRun(wchar_t unit) {
  return unit == kWildName || unit == kWildPath;
}

// One typed unit, or two with a quote, to one coded unit; moves `at` after them.
wchar_t CodeUnit(std::wstring_view typed, size_t& at) {
  constexpr std::wstring_view kQuotable = L"*?'~";
  const wchar_t unit = typed[at++];
  switch (unit) {
    case L'?':
      return kWildOne;
    case L'*':
      return kWildName;
    case L'~':
      return kWildPath;
    case L'\'':
      if (at < typed.size() && kQuotable.find(typed[at]) != kQuotable.npos) return typed[at++];
      return unit;
    default:
      return unit;
  }
}

// The ASCII bytes that fold to a unit, as the bytes b with (b | caseBit) == byte.
struct AsciiForms {
  bool known = false;  // false: '?', a unit that is no ASCII byte's, or no such pair
  uint64_t byte = 0;
  uint64_t caseBit = 0;
};

AsciiForms FormsOf(wchar_t unit) {
  const CaseFold& fold = FoldCase();
  AsciiForms forms;
  for (int b = 0; b <= 0x7F && unit != kWildOne; ++b) {
    if (fold(static_cast<char>(b)) != unit) continue;
    const auto byte = static_cast<uint64_t>(b);
    if (forms.known) forms.caseBit = forms.byte ^ byte;
    forms = {true, forms.byte | byte, forms.caseBit};
  }
  forms.known = forms.known && (forms.caseBit & (forms.caseBit - 1)) == 0;
  return forms;
}

}  // namespace

std::wstring ConvertTemplate(std::wstring_view typed) {
  std::wstring coded;
  coded.reserve(typed.size());
  for (size_t at = 0; at < typed.size();) coded.push_back(CodeUnit(typed, at));
  return coded;
}

// A compiled template at work on one text.
template <class Char>
class CompiledTemplate::Matcher {
 public:
  Matcher(const CompiledTemplate& pattern, std::basic_string_view<Char> text)
      : pattern_(pattern), text_(text) {}

  bool Run() const {
    const CompiledTemplate& t = pattern_;
    const size_t size = text_.size();
    if (size < t.shortest_) return false;
    if (t.end_ == End::kSuffix && !StandsAt(t.suffix_, size - t.suffix_.length)) return false;
    if (!StandsAt(t.prefix_, 0)) {
      return t.bareTail_ && !t.last_ && size + 1 == t.prefix_.length && EndsBare(t.prefix_, 0);
    }
    size_t at = t.prefix_.length;
    size_t restStart = 0;  // after the first unit of the segment found last
    for (const Segment& segment : t.inner_) {
      const size_t found = Find(segment, at);
      if (found == kNone) return false;
      restStart = found + 1;
      at = found + segment.length;
    }
    return EndFits(at, restStart);
  }

 private:
  // Whether the rest of the text, from `at` on, fits the last segment and the template's end.
  bool EndFits(size_t at, size_t restStart) const {
    const CompiledTemplate& t = pattern_;
    switch (t.end_) {
      case End::kLiteral:
        return at == text_.size();
      case End::kSuffix:
        return text_.size() - t.suffix_.length >= at;
      case End::kName:
        return t.last_ ? StandsInLastComponent(*t.last_, at) : !HasSeparator(at);
      default:
        return !t.last_ || Find(*t.last_, at) != kNone ||
               (t.bareTail_ && TakesBareTail(*t.last_, at, restStart));
    }
  }

  bool HasSeparator(size_t at) const {
    return text_.find(static_cast<Char>(pattern_.separator_), at) != text_.npos;
  }

  // Compares from the end: in ".txt", the first letter to differ is more often the last one than
  // the dot.
  bool StandsAt(size_t start, size_t length, size_t at) const {
    if (length > text_.size() - at) return false;
    const wchar_t* units = pattern_.units_.data() + start;
    for (size_t i = length; i-- > 0;) {
      const Char c = text_[at + i];
      const bool fits = units[i] == kWildOne ? static_cast<wchar_t>(c) != pattern_.separator_
                                             : fold_(c) == units[i];
      if (!fits) return false;
    }
    return true;
  }
  bool StandsAt(const Segment& s, size_t at) const { return StandsAt(s.start, s.length, at); }

  // Whether the text ends with the segment less the separator at its end.
  bool EndsBare(const Segment& s, size_t at) const {
    const size_t length = s.length - 1;
    return text_.size() >= at + length && StandsAt(s.start, length, text_.size() - length);
  }

  bool TakesBareTail(const Segment& s, size_t at, size_t restStart) const {
    if (s.length > 1) return EndsBare(s, at);
    const bool endsInSeparator =
        restStart < text_.size() && static_cast<wchar_t>(text_.back()) == pattern_.separator_;
    return !(pattern_.nameBeforeLast_ && endsInSeparator);
  }

  bool StandsInLastComponent(const Segment& s, size_t at) const {
    const size_t found = Find(s, at);
    if (found == kNone || !HasSeparator(found + s.length)) return found != kNone;
    // The segment itself may hold the last separator.
    const size_t component = text_.rfind(static_cast<Char>(pattern_.separator_)) + 1;
    return Find(s, component - s.length) != kNone;
  }

  // The first place from `at` on where the text holds the segment; kNone when there is none.
  size_t Find(const Segment& s, size_t at) const {
    if (s.length > text_.size() - at) return kNone;
    const size_t behind = text_.size() - s.length + 1;
    if constexpr (sizeof(Char) == 1) {
      if (behind - at >= kWordBytes) return FindByWords(s, at, behind);
    }
    const wchar_t first = pattern_.units_[s.start];
    for (; at < behind; ++at) {
      if (fold_(text_[at]) == first && StandsAt(s, at)) return at;
    }
    return kNone;
  }

  // Find, eight places at a time: Likely marks those where the first and the last unit fit, and
  // only these are compared whole. The last word is the one that ends with the last place, and its
  // marks below `at`, which are known already, are shifted out.
  size_t FindByWords(const Segment& s, size_t at, size_t behind) const {
    const size_t lastWord = behind - kWordBytes;
    while (at < behind) {
      const size_t from = std::min(at, lastWord);
      for (uint64_t left = Likely(s, from) >> (8 * (at - from)); left != 0; left &= left - 1) {
        const size_t place = at + static_cast<size_t>(std::countr_zero(left)) / 8;
        if (StandsAt(s, place)) return place;
      }
      at = from + kWordBytes;
    }
    return kNone;
  }

  // The high bit of each byte tells whether the segment's first and last unit fit when the segment
  // begins at that byte of the word at `from`. Exact because ASCII bytes have no high bit.
  uint64_t Likely(const Segment& s, size_t from) const {
    const auto differs = [&](const Word& unit, size_t at) {
      const uint64_t word = LoadU64(reinterpret_cast<const char*>(text_.data()) + at);
      return (((word | unit.caseBits) & unit.care) ^ unit.bytes) + kLowBits;
    };
    return ~(differs(s.first, from) | differs(s.last, from + s.length - 1)) & kHighBits;
  }

  const CompiledTemplate& pattern_;
  std::basic_string_view<Char> text_;
  const CaseFold& fold_ = FoldCase();
};

CompiledTemplate::CompiledTemplate(std::wstring_view coded, bool backslash)
    : separator_(backslash ? L'\\' : L'/') {
  coded = coded.substr(0, coded.find(L'\0'));
  size_t at = 0;
  prefix_ = TakeSegment(coded, at);
  head_ = WordOf(0, std::min(prefix_.length, kWordBytes), 0);
  while (at < coded.size()) {
    bool crosses = false;
    const size_t run = at;
    for (; at < coded.size() && IsWildcard(coded[at]); ++at) crosses |= coded[at] == kWildPath;
    if (at == coded.size()) {
      end_ = crosses ? End::kPath : End::kName;
      bareTail_ = crosses && at - run == 1 && run > 0 && coded[run - 1] == separator_;
      break;
    }
    if (last_) inner_.push_back(*last_);
    nameBeforeLast_ = !crosses;
    last_ = TakeSegment(coded, at);
  }
  if (end_ == End::kLiteral && last_) {
    end_ = End::kSuffix;
    suffix_ = *last_;
    last_.reset();
  }
  if (end_ == End::kLiteral || end_ == End::kSuffix) {
    const size_t length =
        std::min(end_ == End::kSuffix ? suffix_.length : units_.size(), kWordBytes);
    tail_ = WordOf(units_.size() - length, length, kWordBytes - length);
  }
  // All units are in the tail, and none is zero: what fits is not shorter than they are.
  const auto cared = static_cast<size_t>(std::popcount(tail_.care)) / 8;
  tailDecides_ = end_ == End::kSuffix && cared == units_.size();
  shortest_ = units_.size() - (bareTail_ ? 1 : 0);
  ChooseNeedle();
}

// Chooses the first segment after a wildcard that every matching text holds whole.
void CompiledTemplate::ChooseNeedle() {
  const Segment* segment = nullptr;
  if (!inner_.empty()) {
    segment = &inner_.front();
  } else if (last_ && !bareTail_) {
    segment = &*last_;
  }
  if (segment == nullptr || segment->first.care == 0 || segment->last.care == 0) return;
  needle_.length = segment->length;
  needle_.firstCase.fill(static_cast<char>(segment->first.caseBits));
  needle_.first.fill(static_cast<char>(segment->first.bytes));
  needle_.lastCase.fill(static_cast<char>(segment->last.caseBits));
  needle_.last.fill(static_cast<char>(segment->last.bytes));
}

// Takes the units up to the next '*' or '~'.
CompiledTemplate::Segment CompiledTemplate::TakeSegment(std::wstring_view coded, size_t& at) {
  const CaseFold& fold = FoldCase();
  const bool behindWildcard = at > 0;
  Segment segment{units_.size(), 0, {}, {}};
  for (; at < coded.size() && !IsRun(coded[at]); ++at, ++segment.length) {
    units_.push_back(behindWildcard && segment.length == 0 ? coded[at] : fold(coded[at]));
  }
  if (!behindWildcard) return segment;
  segment.first = RepeatedUnit(units_[segment.start]);
  segment.last = RepeatedUnit(units_.back());
  return segment;
}

// The word that has units_[start, start + length) from its byte `firstByte` on.
CompiledTemplate::Word CompiledTemplate::WordOf(size_t start, size_t length,
                                                size_t firstByte) const {
  Word word;
  for (size_t i = 0; i < length; ++i) {
    const AsciiForms forms = FormsOf(units_[start + i]);
    if (!forms.known) continue;
    const size_t shift = 8 * (firstByte + i);
    word.caseBits |= forms.caseBit << shift;
    word.bytes |= forms.byte << shift;
    word.care |= uint64_t{0xFF} << shift;
  }
  return word;
}

CompiledTemplate::Word CompiledTemplate::RepeatedUnit(wchar_t unit) const {
  const AsciiForms forms = FormsOf(unit);
  if (!forms.known) return {};
  return {forms.caseBit * kEveryByte, forms.byte * kEveryByte, 0xFF * kEveryByte};
}

bool CompiledTemplate::Match(std::wstring_view text) const {
  return Matcher<wchar_t>(*this, text).Run();
}

bool CompiledTemplate::MatchAscii(std::string_view ascii) const {
  return Matcher<char>(*this, ascii).Run();
}

bool TemplateMatch(std::wstring_view text, std::wstring_view coded, bool backslash) {
  return CompiledTemplate(coded, backslash).Match(text);
}

}  // namespace tabulon
