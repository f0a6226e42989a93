#include "tools/common/figures.h"

#include <array>
#include <cinttypes>
#include <cmath>
#include <cstdio>

namespace tabulon {
namespace {

constexpr double kUnit = 1024;
constexpr const char* kUnits[] = {"KB", "MB", "GB", "TB", "PB", "EB"};
constexpr uint64_t kMinute = 60, kHour = 3600;

template <class... Args>
std::string Printed(const char* format, Args... args) {
  std::array<char, 64> text;
  std::snprintf(text.data(), text.size(), format, args...);
  return text.data();
}

}  // namespace

std::string Grouped(uint64_t value) {
  std::string digits = std::to_string(value);
  for (size_t at = digits.size(); at > 3; at -= 3) digits.insert(at - 3, 1, ',');
  return digits;
}

std::string SizeText(uint64_t bytes) {
  auto figure = static_cast<double>(bytes);
  if (figure < kUnit) return Printed("%" PRIu64 " bytes", bytes);
  size_t unit = 0;
  // What would round to 1024.00 belongs to the next unit.
  for (figure /= kUnit; figure >= kUnit - 0.005 && unit + 1 < std::size(kUnits); ++unit) {
    figure /= kUnit;
  }
  return Printed("%.2f %s", figure, kUnits[unit]);
}

std::string DurationText(std::chrono::duration<double> time) {
  const double seconds = time.count();
  if (seconds < kMinute - 0.05) return Printed("%.1f s", seconds);
  const auto whole = static_cast<uint64_t>(std::llround(seconds));
  if (whole < kHour)
    return Printed("%" PRIu64 " min %" PRIu64 " s", whole / kMinute, whole % kMinute);
  return Printed("%" PRIu64 " h %" PRIu64 " min", whole / kHour, whole % kHour / kMinute);
}

std::string RemainingText(uint64_t done, uint64_t total, std::chrono::duration<double> elapsed) {
  if (done == 0 || done > total) return {};
  const double perUnit = elapsed.count() / static_cast<double>(done);
  const double left = std::ceil(perUnit * static_cast<double>(total - done));
  return "about " +
         (left < kMinute ? Printed("%.0f s", left)
                         : DurationText(std::chrono::duration<double>(left))) +
         " left";
}

}  // namespace tabulon
