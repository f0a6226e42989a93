#include "tools/scanreader/timetext.h"

#include <chrono>

#include "base/decimal.h"

namespace tabulon {
namespace {

constexpr uint32_t kSecondsPerDay = 86'400;

}  // namespace

TimeText::TimeText(uint32_t seconds) {
  using std::chrono::days;
  const std::chrono::year_month_day day{
      std::chrono::sys_days{days{static_cast<int>(seconds / kSecondsPerDay)}}};
  const uint32_t time = seconds % kSecondsPerDay;
  const auto year = static_cast<unsigned>(static_cast<int>(day.year()));
  std::string_view("0000-00-00T00:00:00Z").copy(text_.data(), text_.size());
  char* const text = text_.data();
  PutTwoDigits(text, year / 100);
  PutTwoDigits(text + 2, year % 100);
  PutTwoDigits(text + 5, static_cast<unsigned>(day.month()));
  PutTwoDigits(text + 8, static_cast<unsigned>(day.day()));
  PutTwoDigits(text + 11, time / 3600);
  PutTwoDigits(text + 14, time / 60 % 60);
  PutTwoDigits(text + 17, time % 60);
}

}  // namespace tabulon
