#include "base/textstream.h"

#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdint>
#include <cstring>
#include <cwchar>
#include <utility>

namespace tabulon {
namespace {

static_assert(MB_LEN_MAX <= kLongestLocaleUnit);

bool IsAscii(wchar_t unit) {
  return unit >= 0 && unit < 0x80;
}

}  // namespace

size_t EncodeLocaleUnit(wchar_t unit, char* out) {
  // The C library would write surrogates and codes above Unicode's range as bytes of its own.
  const bool encodable = unit >= 0 && unit <= 0x10FFFF && (unit < 0xD800 || unit > 0xDFFF);
  std::mbstate_t state{};
  const size_t length = encodable ? std::wcrtomb(out, unit, &state) : static_cast<size_t>(-1);
  if (length != static_cast<size_t>(-1)) return length;
  *out = '?';
  return 1;
}

TextStream::~TextStream() {
  Close();
}

void TextStream::Attach(int fd, bool owned, TextEncoding encoding, std::string name) {
  Close();
  fd_ = fd;
  owned_ = owned;
  terminal_ = isatty(fd) == 1;
  encoding_ = encoding;
  error_ = 0;
  name_ = std::move(name);
}

void TextStream::Write(std::wstring_view text) {
  const bool locale = encoding_ == TextEncoding::kLocale;
  for (const wchar_t unit : text) {
    if (locale && IsAscii(unit)) {
      *Reserve(1) = static_cast<char>(unit);
      Commit(1);
    } else if (locale) {
      WriteUnitLocale(unit);
    } else {
      WriteUnitUtf16(unit);
    }
  }
  if (terminal_ && text.find(L'\n') != std::wstring_view::npos) Flush();
}

void TextStream::WriteBytes(std::string_view bytes) {
  while (!bytes.empty()) {
    const size_t part = std::min(bytes.size(), kBufferSize);
    std::memcpy(Reserve(part), bytes.data(), part);
    Commit(part);
    bytes.remove_prefix(part);
  }
  if (terminal_) Flush();
}

void TextStream::WriteUnitLocale(wchar_t unit) {
  Commit(EncodeLocaleUnit(unit, Reserve(kLongestLocaleUnit)));
}

void TextStream::WriteUnitUtf16(wchar_t unit) {
  uint16_t units[2];
  size_t count = 1;
  const auto code = static_cast<uint32_t>(unit);
  if (encoding_ == TextEncoding::kUcs2Le) {
    units[0] = code > 0xFFFF ? uint16_t{'?'} : static_cast<uint16_t>(code);
  } else if (unit > 0xFFFF && unit <= 0x10FFFF) {
    units[0] = static_cast<uint16_t>(0xD800 + ((code - 0x10000) >> 10));
    units[1] = static_cast<uint16_t>(0xDC00 + ((code - 0x10000) & 0x3FF));
    count = 2;
  } else {
    units[0] = unit > 0x10FFFF ? uint16_t{'?'} : static_cast<uint16_t>(code);
  }
  char* out = Reserve(count * 2);
  for (size_t i = 0; i < count; ++i) {
    out[2 * i] = static_cast<char>(units[i] & 0xFF);
    out[2 * i + 1] = static_cast<char>(units[i] >> 8);
  }
  Commit(count * 2);
}

char* TextStream::Reserve(size_t size) {
  if (!buffer_) buffer_ = std::make_unique_for_overwrite<char[]>(kBufferSize);
  if (used_ + size > kBufferSize) Flush();
  return buffer_.get() + used_;
}

void TextStream::Flush() {
  const char* at = buffer_.get();
  size_t left = std::exchange(used_, 0);
  while (left > 0 && error_ == 0) {
    const ssize_t written = write(fd_, at, left);
    if (written < 0 && errno == EINTR) continue;
    if (written <= 0) {
      error_ = written < 0 ? errno : ENOSPC;
      return;
    }
    at += written;
    left -= static_cast<size_t>(written);
  }
}

int TextStream::Close() {
  if (fd_ < 0) return error_;
  Flush();
  if (owned_ && close(fd_) != 0 && error_ == 0) error_ = errno;
  fd_ = -1;
  buffer_.reset();  // thousands of reports stay in memory behind their closed streams
  return error_;
}

}  // namespace tabulon
