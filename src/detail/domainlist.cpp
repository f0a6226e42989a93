#include "detail/domainlist.h"

#include <algorithm>
#include <numeric>
#include <vector>

#include "base/localetext.h"
#include "base/unitcode.h"

namespace tabulon {

int CompareFolded(std::wstring_view a, std::wstring_view b) {
  const CaseFold& fold = FoldCase();
  const size_t common = std::min(a.size(), b.size());
  for (size_t i = 0; i < common; ++i) {
    if (a[i] == b[i]) continue;
    const wchar_t x = fold(a[i]);
    const wchar_t y = fold(b[i]);
    if (x != y) return UnitCode(x) < UnitCode(y) ? -1 : 1;
  }
  return a.size() == b.size() ? 0 : a.size() < b.size() ? -1 : 1;
}

bool DomainList::Load(SectionReader& reader, Pool& pool) {
  uint32_t domainCount = 0;
  if (!reader.ReadU32(domainCount)) return false;
  for (uint32_t i = 0; i < domainCount; ++i) {
    uint32_t size = 0;
    std::wstring_view text;
    if (!reader.ReadU32(size) || !reader.ReadText(size, pool, text)) return false;
    if (!text.empty()) named_.push_back({text.data(), static_cast<uint32_t>(text.size())});
    places_.push_back(text.empty() ? 0 : static_cast<uint32_t>(named_.size()));
  }
  Rank();
  return true;
}

void DomainList::Rank() {
  std::vector<uint32_t> order(named_.size());
  std::iota(order.begin(), order.end(), 0U);
  std::sort(order.begin(), order.end(), [&](uint32_t a, uint32_t b) {
    return CompareFolded(named_[a].view(), named_[b].view()) < 0;
  });
  Domain last;
  for (const uint32_t i : order) {
    Domain& domain = named_[i];
    domain.rank = last.rank + (CompareFolded(last.view(), domain.view()) != 0 ? 1 : 0);
    last = domain;
  }
}

}  // namespace tabulon
