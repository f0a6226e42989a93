#include "tools/dtlexport/writer.h"

#include <array>
#include <charconv>
#include <chrono>

#include "base/fileio.h"
#include "base/loganderr.h"

namespace tabulon {
namespace {

constexpr uint32_t kSecondsPerDay = 86'400;

void PutTwoDigits(char* to, unsigned value) {
  to[0] = static_cast<char>('0' + value / 10);
  to[1] = static_cast<char>('0' + value % 10);
}

}  // namespace

RowWriter::RowWriter(int fd, ExportFormat format, std::string_view lineEnd, bool guard)
    : fd_(fd),
      format_(format),
      lineEnd_(format == ExportFormat::kCsv ? lineEnd : "\n"),
      guard_(guard) {
  buffer_.resize(kBufferSize);
  at_ = buffer_.data();
  end_ = at_ + buffer_.size();
}

void RowWriter::BeginRow() {
  FlushWhenNearlyFull();
  if (format_ == ExportFormat::kNdjson) Put('{');
}

// Each value has a comma behind it: the last one's makes room for what ends the row.
void RowWriter::EndRow() {
  if (at_[-1] == ',') --at_;
  if (format_ == ExportFormat::kNdjson) Put('}');
  Raw(lineEnd_);
}

void RowWriter::Null() {
  if (format_ == ExportFormat::kNdjson) Raw("null");
  EndValue();
}

void RowWriter::Number(uint64_t value) {
  constexpr size_t kMostDigits = 20;
  Reserve(kMostDigits);
  at_ = std::to_chars(at_, end_, value).ptr;
  EndValue();
}

void RowWriter::Word(std::string_view text) {
  Quote(false);
  Raw(text);
  Quote(false);
  EndValue();
}

void RowWriter::Octal(uint32_t value) {
  const std::array<char, 4> digits = {
      static_cast<char>('0' + (value >> 9 & 7)), static_cast<char>('0' + (value >> 6 & 7)),
      static_cast<char>('0' + (value >> 3 & 7)), static_cast<char>('0' + (value & 7))};
  Word({digits.data(), digits.size()});
}

void RowWriter::Time(uint32_t seconds) {
  using std::chrono::days;
  const std::chrono::year_month_day day{
      std::chrono::sys_days{days{static_cast<int>(seconds / kSecondsPerDay)}}};
  const uint32_t time = seconds % kSecondsPerDay;
  const auto year = static_cast<unsigned>(static_cast<int>(day.year()));
  char text[] = "0000-00-00T00:00:00Z";
  PutTwoDigits(text, year / 100);
  PutTwoDigits(text + 2, year % 100);
  PutTwoDigits(text + 5, static_cast<unsigned>(day.month()));
  PutTwoDigits(text + 8, static_cast<unsigned>(day.day()));
  PutTwoDigits(text + 11, time / 3600);
  PutTwoDigits(text + 14, time / 60 % 60);
  PutTwoDigits(text + 17, time % 60);
  Word({text, sizeof text - 1});
}

void RowWriter::Text(const ExportText& text) {
  Quote(text.quoted);
  Guard(text.escaped);
  Raw(text.escaped);
  Quote(text.quoted);
  EndValue();
}

void RowWriter::Text(const ExportText& first, const ExportText& second) {
  const bool quoted = first.quoted || second.quoted;
  Quote(quoted);
  Guard(first.escaped.empty() ? second.escaped : first.escaped);
  Raw(first.escaped);
  Raw(second.escaped);
  Quote(quoted);
  EndValue();
}

void RowWriter::Path(std::string_view first, std::string_view second) {
  FlushWhenNearlyFull();
  Raw(first);
  Raw(second);
  Put('\0');
}

void RowWriter::Hex(std::string_view first, std::string_view second) {
  Quote(false);
  HexDigits(first);
  HexDigits(second);
  Quote(false);
  EndValue();
}

// Such beginnings make spreadsheets compute a cell, or drop blanks and then compute it.
void RowWriter::Guard(std::string_view text) {
  constexpr std::string_view kBeginnings = "=+-@\t\r";
  if (guard_ && !text.empty() && kBeginnings.find(text.front()) != kBeginnings.npos) Put('\'');
}

void RowWriter::FlushWhenNearlyFull() {
  if (static_cast<size_t>(at_ - buffer_.data()) > kBufferSize - kBufferSize / 4) Flush();
}

void RowWriter::Flush() {
  const auto size = static_cast<size_t>(at_ - buffer_.data());
  if (!WriteFully(fd_, buffer_.data(), size)) PosixErrExit(0, L"Error writing the rows\n");
  at_ = buffer_.data();
}

// Only a row with huge texts comes here.
void RowWriter::Grow(size_t size) {
  const auto used = static_cast<size_t>(at_ - buffer_.data());
  buffer_.resize(2 * used + size);
  at_ = buffer_.data() + used;
  end_ = buffer_.data() + buffer_.size();
}

void RowWriter::Raw(std::string_view bytes) {
  Reserve(bytes.size());
  at_ += bytes.copy(at_, bytes.size());
}

void RowWriter::HexDigits(std::string_view bytes) {
  constexpr char kDigits[] = "0123456789abcdef";
  Reserve(2 * bytes.size());
  for (const char each : bytes) {
    const auto byte = static_cast<unsigned char>(each);
    *at_++ = kDigits[byte >> 4];
    *at_++ = kDigits[byte & 0xF];
  }
}

}  // namespace tabulon
