#include "tools/common/progress.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <cstdio>
#include <system_error>
#include <utility>

#include "tools/common/terminaltext.h"

namespace tabulon {
namespace {

using Clock = std::chrono::steady_clock;
constexpr std::chrono::milliseconds kFirst{1000};
constexpr std::chrono::milliseconds kPause{200};
constexpr const char* kEraseLine = "\r\033[K";
constexpr size_t kUsualColumns = 80;

// The columns that a line may have without running into the next.
size_t Columns() {
  winsize size{};
  const bool known = ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 1;
  return known ? size_t{size.ws_col} - 1 : kUsualColumns - 1;
}

void Put(const std::string& text) {
  std::fwrite(text.data(), 1, text.size(), stderr);
}

}  // namespace

ProgressLine::ProgressLine(Text text) : text_(std::move(text)) {
  if (isatty(STDERR_FILENO) == 0) return;
  try {
    thread_ = std::jthread([this](const std::stop_token& stop) { Run(stop); });
  } catch (const std::system_error&) {
    // No thread is to be had. The work matters, the line does not.
  }
}

void ProgressLine::Run(const std::stop_token& stop) {
  const auto start = Clock::now();
  std::chrono::milliseconds pause = kFirst;
  while (!stop.stop_requested()) {
    {
      std::unique_lock lock(mutex_);
      wake_.wait_for(lock, stop, pause, [] { return false; });
    }
    if (stop.stop_requested()) return;
    Show(text_(Clock::now() - start));
    pause = kPause;
  }
}

void ProgressLine::Show(const std::string& text) {
  const std::string harmless = Harmless(text);
  const std::lock_guard lock(mutex_);
  Put(kEraseLine + std::string(CutToColumns(harmless, Columns())));
  shown_ = true;
}

void ProgressLine::Clear() {
  if (shown_) Put(kEraseLine);
  shown_ = false;
}

void ProgressLine::Tell(std::string_view message) {
  const std::lock_guard lock(mutex_);
  Clear();
  Put(std::string(message));
}

void ProgressLine::Stop() {
  if (thread_.joinable()) {
    thread_.request_stop();
    thread_.join();
  }
  const std::lock_guard lock(mutex_);
  Clear();
}

}  // namespace tabulon
