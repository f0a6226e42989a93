// Figures as the companions' messages show them.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>

namespace tabulon {

// 146686 as "146,686".
std::string Grouped(uint64_t value);
// 9739796417 as "9.07 GB": in units of 1024, as the reports count; below 1 KB "17 bytes".
std::string SizeText(uint64_t bytes);
// A difference with its sign, its magnitude as `show` has it: "+9.07 GB".
template <class Show>
std::string SignedText(int64_t difference, Show show) {
  const uint64_t bits = static_cast<uint64_t>(difference);
  std::string text = difference > 0 ? "+" : difference < 0 ? "-" : "";
  text += show(difference < 0 ? -bits : bits);
  return text;
}
// "1.6 s", "12 min 5 s", "3 h 2 min".
std::string DurationText(std::chrono::duration<double> time);
// How long what remains will take at the speed until now: "about 12 s left". Empty when nothing is
// known yet. `done` and `total` are in the same unit.
std::string RemainingText(uint64_t done, uint64_t total, std::chrono::duration<double> elapsed);

}  // namespace tabulon
