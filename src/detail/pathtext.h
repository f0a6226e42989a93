// The path that "path" tests look at: the directory's path, a backslash unless it ends in one, and
// the name, cut to 511 units.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "detail/recordtext.h"

namespace tabulon {

inline constexpr size_t kPathLimit = 511;  // units

// The path of one record, kept as ASCII where both of its parts are. The directory part stays
// between the records of a directory.
class PathText {
 public:
  // Joins the two parts, unless they have been joined already.
  void Assign(const RecordText& directory, const RecordText& name);

  // Calls use(std::string_view) or use(std::wstring_view). Valid until the next Assign.
  template <class Use>
  auto Visit(Use&& use) const {
    return isAscii_ ? use(ascii_.View()) : use(wide_.View());
  }

 private:
  // Which text was joined: the object that held it, and its version there.
  struct Origin {
    explicit Origin(const RecordText& text) : holder(&text), version(text.version()) {}
    Origin() = default;
    bool operator==(const Origin&) const = default;
    const RecordText* holder = nullptr;
    uint64_t version = 0;
  };

  template <class Char>
  struct Buffer {
    using Text = std::basic_string_view<Char>;
    Text View() const { return {units.data(), length}; }
    void Join(const Origin& newDirectory, Text directory, Text name);

    std::array<Char, kPathLimit> units;
    size_t length = 0;
    size_t directoryLength = 0;  // separator included
    Origin directory;
  };

  Buffer<char> ascii_;
  Buffer<wchar_t> wide_;
  bool isAscii_ = true;
  Origin directory_;
  Origin name_;
};

}  // namespace tabulon
