#include "base/textstream.h"

#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdint>
#include <cwchar>
#include <utility>

#include "base/unitcode.h"

namespace tabulon {
namespace {

static_assert(MB_LEN_MAX <= kLongestLocaleUnit);

constexpr size_t kLongestUtf16Unit = 4;

// Bytes that are placed at once. With fewer, threads that write and place the same file wait for
// each other; with more, too much is left to the end.
constexpr uint64_t kPlacedAtOnce = uint64_t{16} << 20;

// From so many bytes on, a write of its own costs less than a copy.
constexpr size_t kNotCopied = TextStream::kBufferSize / 4;

// How many ASCII units `text` starts with.
size_t AsciiRun(std::wstring_view text) {
  constexpr size_t kStep = 8;  // units looked at together
  size_t run = 0;
  for (uint32_t any = 0; run + kStep <= text.size(); run += kStep) {
    for (size_t i = 0; i < kStep; ++i) any |= static_cast<uint32_t>(text[run + i]);
    if (any >= 0x80) break;
  }
  while (run < text.size() && IsAsciiUnit(text[run])) ++run;
  return run;
}

char* PutLittle16(char* out, uint32_t value) {
  *out++ = static_cast<char>(value & 0xFF);
  *out++ = static_cast<char>((value >> 8) & 0xFF);
  return out;
}

char* PutUtf16Unit(char* out, wchar_t unit, TextEncoding encoding) {
  const int32_t code = UnitCode(unit);
  if (code <= 0xFFFF && (code >= 0 || encoding == TextEncoding::kUtf16Le)) {
    return PutLittle16(out, static_cast<uint32_t>(code));
  }
  if (code < 0 || code > 0x10FFFF || encoding == TextEncoding::kUcs2Le) {
    return PutLittle16(out, L'?');
  }
  const uint32_t offset = static_cast<uint32_t>(code) - 0x10000;
  return PutLittle16(PutLittle16(out, 0xD800 + (offset >> 10)), 0xDC00 + (offset & 0x3FF));
}

char* PutUtf16(char* out, std::wstring_view text, TextEncoding encoding) {
  for (const wchar_t unit : text) out = PutUtf16Unit(out, unit, encoding);
  return out;
}

// For a stream or a buffer, in parts of at most `most` units.
template <class Sink>
void PutLocale(Sink& sink, std::wstring_view text, size_t most) {
  while (!text.empty()) {
    const size_t run = AsciiRun(text.substr(0, most));
    char* out = sink.Reserve(run);
    for (size_t i = 0; i < run; ++i) out[i] = static_cast<char>(text[i]);
    sink.Commit(run);
    text.remove_prefix(run);
    if (text.empty()) return;
    sink.Commit(EncodeLocaleUnit(text.front(), sink.Reserve(kLongestLocaleUnit)));
    text.remove_prefix(1);
  }
}

}  // namespace

size_t EncodeLocaleUnit(wchar_t unit, char* out) {
  // The C library would write surrogates and codes above Unicode's range as bytes of its own.
  const auto code = static_cast<uint32_t>(unit);
  const bool encodable = code <= 0x10FFFF && (code < 0xD800 || code > 0xDFFF);
  std::mbstate_t state{};
  const size_t length = encodable ? std::wcrtomb(out, unit, &state) : static_cast<size_t>(-1);
  // It drops tag characters (U+E0000 to U+E007F) where the encoding cannot hold them.
  if (length != static_cast<size_t>(-1) && length != 0) return length;
  *out = '?';
  return 1;
}

void AppendEncoded(ByteBuffer& out, std::wstring_view text, TextEncoding encoding) {
  if (encoding == TextEncoding::kLocale) {
    PutLocale(out, text, text.size());
    return;
  }
  char* const start = out.Reserve(text.size() * kLongestUtf16Unit);
  out.Commit(static_cast<size_t>(PutUtf16(start, text, encoding) - start));
}

void AppendEncodedAscii(ByteBuffer& out, std::string_view text, TextEncoding encoding) {
  if (encoding == TextEncoding::kLocale) {
    out.Append(text);
    return;
  }
  char* const at = out.Reserve(2 * text.size());
  for (size_t i = 0; i < text.size(); ++i) {
    at[2 * i] = text[i];
    at[2 * i + 1] = 0;
  }
  out.Commit(2 * text.size());
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
  placesEarly_ = false;
  written_ = taken_ = 0;
  name_ = std::move(name);
}

void TextStream::Write(std::wstring_view text) {
  const bool endsLine = terminal_ && text.find(L'\n') != std::wstring_view::npos;
  if (encoding_ == TextEncoding::kLocale) {
    PutLocale(*this, text, kBufferSize);
  } else {
    WriteUtf16(text);
  }
  if (endsLine) Flush();
}

void TextStream::WriteAnyBytes(std::string_view bytes) {
  if (bytes.size() >= kNotCopied) {
    Flush();
    WriteOut(bytes);
    return;
  }
  Commit(bytes.copy(Reserve(bytes.size()), bytes.size()));
  if (terminal_) Flush();
}

void TextStream::WriteUtf16(std::wstring_view text) {
  while (!text.empty()) {
    const std::wstring_view part = text.substr(0, kBufferSize / kLongestUtf16Unit);
    char* const start = Reserve(part.size() * kLongestUtf16Unit);
    Commit(static_cast<size_t>(PutUtf16(start, part, encoding_) - start));
    text.remove_prefix(part.size());
  }
}

char* TextStream::Reserve(size_t size) {
  if (!buffer_) {
    buffer_ = std::make_unique_for_overwrite<char[]>(kBufferSize);
    atOnce_ = terminal_ ? 0 : kBufferSize;
  }
  if (used_ + size > kBufferSize) Flush();
  return buffer_.get() + used_;
}

void TextStream::Flush() {
  WriteOut({buffer_.get(), std::exchange(used_, 0)});
}

void TextStream::WriteOut(std::string_view bytes) {
  while (!bytes.empty() && error_ == 0) {
    const ssize_t written = write(fd_, bytes.data(), bytes.size());
    if (written < 0 && errno == EINTR) continue;
    if (written <= 0) {
      error_ = written < 0 ? errno : ENOSPC;
      return;
    }
    written_ += static_cast<size_t>(written);
    bytes.remove_prefix(static_cast<size_t>(written));
  }
}

UnplacedBytes TextStream::TakeUnplaced() {
  if (!placesEarly_ || written_ - taken_ < kPlacedAtOnce) return {};
  const uint64_t start = std::exchange(taken_, written_);
  return {.fd = fd_, .start = start, .size = written_ - start};
}

int TextStream::Close() {
  if (fd_ < 0) return error_;
  Flush();
  if (owned_ && close(fd_) != 0 && error_ == 0) error_ = errno;
  fd_ = -1;
  atOnce_ = 0;
  buffer_.reset();  // thousands of reports stay in memory after their streams are closed
  return error_;
}

}  // namespace tabulon
