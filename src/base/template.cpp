#include "base/template.h"

#include <algorithm>
#include <bit>

#include "base/endian.h"
#include "base/foldcase.h"

namespace tabulon {
namespace {

constexpr size_t kNone = static_cast<size_t>(-1);

constexpr bool IsWildcard(wchar_t unit) {
  return unit >= kWildOne && unit <= kWildPath;
}
constexpr bool IsRun(wchar_t unit) {
  return unit == kWildName || unit == kWildPath;
}

// Eight ASCII bytes at a time: the high bit of every byte of the result tells where `word` holds
// one of the two (repeated) bytes. Exact because no byte has its high bit set.
constexpr uint64_t kEveryByte = 0x0101010101010101;
constexpr uint64_t kHighBits = 0x80 * kEveryByte;
constexpr uint64_t EqualBytes(uint64_t word, uint64_t a, uint64_t b) {
  const uint64_t low = 0x7F * kEveryByte;
  return ~(((word ^ a) + low) & ((word ^ b) + low)) & kHighBits;
}

// One typed unit, or two with a quote, to one coded unit; moves `at` behind them.
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

}  // namespace

std::wstring ConvertTemplate(std::wstring_view typed) {
  std::wstring coded;
  coded.reserve(typed.size());
  for (size_t at = 0; at < typed.size();) coded.push_back(CodeUnit(typed, at));
  return coded;
}

void ConvertTemplate(const wchar_t* typed, size_t typedLength, wchar_t* coded,
                     size_t* codedLength) {
  wchar_t* out = coded;
  for (size_t at = 0; at < typedLength;) *out++ = CodeUnit({typed, typedLength}, at);
  *out = L'\0';
  *codedLength = static_cast<size_t>(out - coded);
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
    if (!StandsAt(t.prefix_, 0)) return t.bareTail_ && !t.last_ && EndsBare(t.prefix_, 0);
    size_t at = t.prefix_.length;
    size_t restStart = 0;  // behind the unit that the innermost wildcard had to find
    for (const Segment& segment : t.inner_) {
      const size_t found = Find(segment, at);
      if (found == kNone) return false;
      restStart = found + 1;
      at = found + segment.length;
    }
    switch (t.end_) {
      case End::kLiteral:
        return at == size;
      case End::kSuffix:
        return size - t.suffix_.length >= at;
      case End::kName:
        return t.last_ ? StandsInLastComponent(*t.last_, at) : !HasSeparator(at);
      default:
        return !t.last_ || Find(*t.last_, at) != kNone ||
               (t.bareTail_ && TakesBareTail(*t.last_, at, restStart));
    }
  }

 private:
  bool HasSeparator(size_t at) const {
    return text_.find(static_cast<Char>(pattern_.separator_), at) != text_.npos;
  }

  // Compares from the end: names differ more often in the last letter of ".txt" than in the dot.
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
    const size_t component = text_.rfind(static_cast<Char>(pattern_.separator_)) + 1;
    return Find(s, std::max(at, component - std::min(component, s.length))) != kNone;
  }

  // The first place at or behind `at` where the segment stands; kNone when there is none.
  size_t Find(const Segment& s, size_t at) const {
    if (s.length > text_.size() - at) return kNone;
    const size_t behind = text_.size() - s.length + 1;
    if constexpr (sizeof(Char) == 1) {
      if (!s.firstByte[0]) return kNone;
      if (text_.size() >= sizeof(uint64_t)) return FindByWords(s, at, behind);
    }
    const wchar_t first = pattern_.units_[s.start];
    for (; at < behind; ++at) {
      if (fold_(text_[at]) == first && StandsAt(s, at)) return at;
    }
    return kNone;
  }

  size_t FindByWords(const Segment& s, size_t at, size_t behind) const {
    const size_t lastWord = text_.size() - sizeof(uint64_t);
    while (at < behind) {
      // The last word is taken from the end of the text; what was seen before is shifted out.
      const size_t from = std::min(at, lastWord);
      const uint64_t hits =
          EqualBytes(LoadU64(text_.data() + from), *s.firstByte[0], *s.firstByte[1]);
      for (uint64_t left = hits >> (8 * (at - from)); left != 0; left &= left - 1) {
        const size_t place = at + static_cast<size_t>(std::countr_zero(left)) / 8;
        if (place >= behind) return kNone;
        if (StandsAt(s, place)) return place;
      }
      at = from + sizeof(uint64_t);
    }
    return kNone;
  }

  const CompiledTemplate& pattern_;
  std::basic_string_view<Char> text_;
  const CaseFold& fold_ = FoldCase();
};

CompiledTemplate::CompiledTemplate(std::wstring_view coded, bool backslash)
    : separator_(backslash ? L'\\' : L'/') {
  coded = coded.substr(0, coded.find(L'\0'));
  size_t at = 0;
  const auto takeSegment = [&](bool behindWildcard) {
    const size_t start = at;
    while (at < coded.size() && !IsRun(coded[at])) ++at;
    return MakeSegment(coded.substr(start, at - start), behindWildcard);
  };
  prefix_ = takeSegment(false);
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
    last_ = takeSegment(true);
  }
  if (end_ == End::kLiteral && last_) {
    end_ = End::kSuffix;
    suffix_ = *last_;
    last_.reset();
  }
  shortest_ = units_.size() - (bareTail_ ? 1 : 0);
}

CompiledTemplate::Segment CompiledTemplate::MakeSegment(std::wstring_view coded,
                                                        bool behindWildcard) {
  const CaseFold& fold = FoldCase();
  Segment segment{units_.size(), coded.size(), {}};
  for (const wchar_t unit : coded) units_.push_back(fold(unit));
  if (!behindWildcard) return segment;
  units_[segment.start] = coded.front();
  for (int byte = 0x7F; byte >= 0; --byte) {
    if (fold(static_cast<char>(byte)) != coded.front()) continue;
    segment.firstByte[1] = segment.firstByte[0];
    segment.firstByte[0] = static_cast<uint64_t>(byte) * kEveryByte;
  }
  if (!segment.firstByte[1]) segment.firstByte[1] = segment.firstByte[0];
  return segment;
}

bool CompiledTemplate::Match(std::wstring_view text) const {
  return Matcher<wchar_t>(*this, text).Run();
}

bool CompiledTemplate::Match(std::string_view ascii) const {
  return Matcher<char>(*this, ascii).Run();
}

bool TemplateMatch(std::wstring_view text, std::wstring_view coded, bool backslash) {
  return CompiledTemplate(coded, backslash).Match(text);
}

bool TemplateMatch(std::string_view ascii, std::wstring_view coded, bool backslash) {
  return CompiledTemplate(coded, backslash).Match(ascii);
}

}  // namespace tabulon
