// A line on standard error that says how far a command is, when that is a terminal; nothing at all
// when it is not. A thread of its own writes it, so that it goes on when the work hangs.
#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>

namespace tabulon {

class ProgressLine {
 public:
  // The text of the line; it is called by the line's thread and cut to the width of the terminal.
  using Text = std::function<std::string(std::chrono::duration<double> elapsed)>;

  // The line shows up after a second: what is done before needs none.
  explicit ProgressLine(Text text);
  ~ProgressLine() { Stop(); }
  ProgressLine(const ProgressLine&) = delete;
  ProgressLine& operator=(const ProgressLine&) = delete;

  // Writes a message of whole lines to standard error, above the line.
  void Tell(std::string_view message);
  // Takes the line away for good; `text` is not called any more.
  void Stop();

 private:
  void Run(const std::stop_token& stop);
  void Show(const std::string& text);
  void Clear();

  Text text_;
  std::mutex mutex_;  // guards standard error and shown_
  std::condition_variable_any wake_;
  bool shown_ = false;
  std::jthread thread_;
};

}  // namespace tabulon
