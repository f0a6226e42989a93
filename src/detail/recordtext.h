// A text of a record (name, link target, directory path), looked at where it is stored and decoded
// only when someone needs it. Most names are ASCII and are then used as the bytes they are.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace tabulon {

class RecordText {
 public:
  // Looks at `stored`, UTF-8 with its terminator counted or not; the bytes must outlive the use.
  void Assign(std::string_view stored) {
    stored_ = stored;
    form_ = Form::kUndecided;
    dotFound_ = false;
    stamp_ = 0;
  }
  // Takes a copy of its own.
  void AssignCopy(std::string_view stored) {
    copy_.assign(stored);
    Assign(copy_);
  }

  // Whether every unit of the text is below 128. The text ends at its first zero unit.
  bool IsAscii() const {
    if (form_ == Form::kUndecided) Decide();
    return form_ == Form::kAscii;
  }
  // The text as bytes. REQUIRES: IsAscii(). Valid until the next Assign.
  std::string_view Ascii() const { return ascii_; }
  // The text as wide text, by the rules of UtfToWChr. Valid until the next Assign.
  std::wstring_view Wide() const;

  // Position of the text's last '.', in units from 0; -1 when it has none.
  std::ptrdiff_t LastDot() const {
    if (!dotFound_) FindLastDot();
    return lastDot_;
  }

  // A number that no other text has had: who keeps something made from this one knows by it whether
  // it still stands. Never 0.
  uint64_t Stamp() const {
    if (stamp_ == 0) stamp_ = ++lastStamp_;
    return stamp_;
  }

  // Calls use(Ascii()) or use(Wide()), whichever costs less.
  template <class Use>
  auto Visit(Use&& use) const {
    return IsAscii() ? use(Ascii()) : use(Wide());
  }

 private:
  enum class Form { kUndecided, kAscii, kOther };
  void Decide() const;
  void FindLastDot() const;

  inline static uint64_t lastStamp_ = 0;

  std::string_view stored_;
  std::string copy_;
  mutable Form form_ = Form::kUndecided;
  mutable std::string_view ascii_;
  mutable bool widened_ = false;
  mutable bool dotFound_ = false;
  mutable std::ptrdiff_t lastDot_ = -1;
  mutable uint64_t stamp_ = 0;
  mutable std::wstring wide_;
};

}  // namespace tabulon
