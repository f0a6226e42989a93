// Options whose argument is one of some words.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "tools/scanreader/toolrun.h"

namespace tabulon {

template <class Value>
struct ChoiceWord {
  std::string_view text;
  Value value;
};

// The value of the word `text`; when it is none of them, the run ends. `option` is for the message.
template <class Value, size_t Count>
Value Choice(const Companion& companion, const char* option,
             const ChoiceWord<Value> (&words)[Count], std::string_view text) {
  std::string list;
  for (const ChoiceWord<Value>& word : words) {
    if (word.text == text) return word.value;
    list += (list.empty() ? "" : ", ") + std::string(word.text);
  }
  EndWithUsage(companion, std::string(option) + " is one of " + list + ", not ", text);
}

}  // namespace tabulon
