#include "detail/domainlist.h"

#include <algorithm>

#include "base/foldcase.h"

namespace tabulon {

int CompareFolded(std::wstring_view a, std::wstring_view b) {
  const CaseFold& fold = FoldCase();
  const size_t common = std::min(a.size(), b.size());
  for (size_t i = 0; i < common; ++i) {
    if (a[i] == b[i]) continue;
    const wchar_t x = fold(a[i]);
    const wchar_t y = fold(b[i]);
    if (x != y) return x < y ? -1 : 1;
  }
  return a.size() == b.size() ? 0 : a.size() < b.size() ? -1 : 1;
}

bool DomainList::Load(SectionReader& reader, Pool& pool, uint32_t& count) {
  if (!reader.ReadU32(count)) return false;
  for (uint32_t i = 0; i < count; ++i) {
    uint32_t size = 0;
    std::wstring_view text;
    if (!reader.ReadU32(size) || !reader.ReadText(size, pool, text)) return false;
    domains_.push_back({.text = text.data(), .length = static_cast<uint32_t>(text.size())});
  }
  Rank();
  return true;
}

void DomainList::Rank() {
  std::deque<Domain*> named;
  for (Domain& domain : domains_) {
    if (domain.length > 0) named.push_back(&domain);
  }
  std::sort(named.begin(), named.end(), [](const Domain* a, const Domain* b) {
    return CompareFolded(a->view(), b->view()) < 0;
  });
  Domain last;
  for (Domain* domain : named) {
    domain->rank = last.rank + (CompareFolded(last.view(), domain->view()) != 0 ? 1 : 0);
    last = *domain;
  }
}

}  // namespace tabulon
