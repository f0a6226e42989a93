// Times of a scan as text (ISO 8601, UTC).
#pragma once

#include <array>
#include <cstdint>
#include <string_view>

namespace tabulon {

class TimeText {
 public:
  // `seconds` since 1970.
  explicit TimeText(uint32_t seconds);
  std::string_view whole() const { return {text_.data(), text_.size()}; }  // 2024-01-31T23:59:59Z
  std::string_view day() const { return whole().substr(0, 10); }           // 2024-01-31

 private:
  std::array<char, 20> text_;
};

}  // namespace tabulon
