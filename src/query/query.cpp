#include "query/query.h"

#include <utility>

namespace tabulon {
namespace {

// An element that means `list` in parentheses.
Filter* Group(Query& query, Filter* list) {
  Filter* const group = query.Add();
  group->sub = list;
  group->state = kComplete;
  group->connector = kTestComplete;
  return group;
}

}  // namespace

// Lists are evaluated from left to right, so both sides must be one value: the new list becomes a
// group, the old one too unless it begins with one (then every element of it is already joined to
// what comes before it).
void Query::And(Query other) {
  elements.splice(elements.end(), other.elements);
  if (head == nullptr) {
    head = other.head;
    return;
  }
  if (other.head == nullptr) return;
  if (head->sub == nullptr) head = Group(*this, head);
  Filter* last = head;
  while (last->next != nullptr) last = last->next;
  last->connector = kAnd;
  last->next = Group(*this, other.head);
}

}  // namespace tabulon
