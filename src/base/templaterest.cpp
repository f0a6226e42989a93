// Completes the module template.
#include "base/templaterest.h"

#include <algorithm>

#include "base/template.h"

namespace tabulon {

void ConvertTemplate(const wchar_t* typed, size_t typedLength, wchar_t* coded,
                     size_t* codedLength) {
  const std::wstring made = ConvertTemplate({typed, typedLength});
  *std::copy(made.begin(), made.end(), coded) = L'\0';
  *codedLength = made.size();
}

}  // namespace tabulon
