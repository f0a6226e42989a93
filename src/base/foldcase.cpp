#include "base/foldcase.h"

namespace tabulon {

CaseFold::CaseFold() {
  for (std::size_t i = 0; i < ascii_.size(); ++i) ascii_[i] = Other(static_cast<wchar_t>(i));
}

const CaseFold& FoldCase() {
  static const CaseFold fold;
  return fold;
}

}  // namespace tabulon
