#include "query/filter.h"

#include <deque>

namespace tabulon {
namespace {

std::deque<Filter> pool;

}  // namespace

Filter* NewFilter() {
  return &pool.emplace_back();
}

void FreeFilters() {
  pool.clear();
}

}  // namespace tabulon
