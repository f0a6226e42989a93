#include "base/utils.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <limits>
#include <string>

#include "base/fileio.h"
#include "base/localetext.h"

namespace tabulon {

namespace {

constexpr size_t kCopyBuffer = 4096;
constexpr mode_t kDirectoryMode = 0700;  // before the process mask
constexpr size_t kMkdirPathBytes = 256;

}  // namespace

bool CopyBytes(int from, int to) {
  std::array<char, kCopyBuffer> buffer;
  for (;;) {
    const ssize_t got = ReadFully(from, buffer.data(), buffer.size());
    if (got <= 0) return got == 0;
    if (!WriteFully(to, buffer.data(), static_cast<size_t>(got))) return false;
  }
}

void MkdirRecursive(const char* path) {
  std::string whole = std::string(path).substr(0, kMkdirPathBytes);
  if (!whole.empty() && whole.back() == '/') whole.pop_back();
  for (size_t slash = whole.find('/', 1); slash != std::string::npos;
       slash = whole.find('/', slash + 1)) {
    mkdir(whole.substr(0, slash).c_str(), kDirectoryMode);
  }
  mkdir(whole.c_str(), kDirectoryMode);
}

bool EqualIgnoringCase(std::wstring_view a, std::wstring_view b) {
  const CaseFold& fold = FoldCase();
  return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                    [&](wchar_t x, wchar_t y) { return x == y || fold(x) == fold(y); });
}

namespace {

struct Suffix {
  wchar_t letter;
  uint64_t factor;
};

constexpr std::array<Suffix, 6> kSuffixes = {{
    {L'K', uint64_t{1} << 10},
    {L'M', uint64_t{1} << 20},
    {L'G', uint64_t{1} << 30},
    {L'k', 1'000},
    {L'm', 1'000'000},
    {L'g', 1'000'000'000},
}};

constexpr bool IsDigit(wchar_t unit) {
  return unit >= L'0' && unit <= L'9';
}

}  // namespace

int64_t NumericString(std::wstring_view text, bool allowSuffix) {
  uint64_t value = 0;
  size_t at = 0;
  for (; at < text.size() && IsDigit(text[at]); ++at) {
    value = value * 10 + static_cast<uint64_t>(text[at] - L'0');
  }
  if (at == text.size()) {
    const bool fits = allowSuffix || value <= std::numeric_limits<uint32_t>::max();
    return fits ? static_cast<int64_t>(value) : -1;
  }
  if (!allowSuffix || at + 1 != text.size()) return -1;
  for (const Suffix& suffix : kSuffixes) {
    if (suffix.letter == text[at]) return static_cast<int64_t>(value * suffix.factor);
  }
  return -1;
}

}  // namespace tabulon
