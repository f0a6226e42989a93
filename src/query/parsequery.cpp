#include "query/parsequery.h"

#include <vector>

#include "base/utils.h"
#include "query/queryobjects.h"
#include "query/tokenizer.h"

namespace tabulon {
namespace {

void TakeObject(Filter& element, std::wstring_view token, const Scan& scan) {
  const FilterObject* object = FindFilterObject(token);
  if (object == nullptr) InvalidQuery(L"invalid query object: %ls", token);
  if ((object->code & kCifsOnly) != 0 && !scan.isCifs()) {
    InvalidQuery(L"object '%ls' not valid with NFS scans", token);
  }
  if ((object->code & kNfsOnly) != 0 && scan.isCifs()) {
    InvalidQuery(L"object '%ls' not valid with CIFS scans", token);
  }
  element.object = ObjectCode(*object);
  element.operatorMask = object->operators;
  element.state = kWantOperator;
}

void TakeOperator(Filter& element, std::wstring_view token) {
  const OpVerb* verb = FindOpVerb(token);
  if (verb == nullptr) InvalidQuery(L"invalid query operator: %ls", token);
  if ((verb->bit & element.operatorMask) == 0) {
    InvalidQuery(L"operator not valid for query object: %ls", token);
  }
  element.comparison = verb->comparison;
  element.state = kWantValue;
}

void TakeValue(Filter& element, std::wstring_view token, const Scan& scan) {
  element.text = token;
  FindFilterObject(element.object)->convert(element, scan);
  element.state = kComplete;
  element.connector = kTestComplete;
}

void TakeConnector(Filter& element, std::wstring_view token) {
  if (EqualIgnoringCase(token, L"[or]")) {
    element.connector = kOr;
  } else if (EqualIgnoringCase(token, L"[and]")) {
    element.connector = kAnd;
  } else {
    InvalidQuery(L"invalid or missing logic operator: %ls", token);
  }
  element.state = kWantObject;
}

// A list that is being parsed.
struct OpenList {
  Filter* head;
  Filter* current;
};

OpenList NewList() {
  Filter* const first = NewFilter();
  return {first, first};
}

// The lists around the character read last, the outermost first. Groups are kept here and not on
// the call stack, which a text of open parentheses would exhaust.
struct Nest {
  const Scan& scan;
  std::vector<OpenList> lists = {NewList()};
  int lvlZeroParen = 0;  // position of the parenthesis that opened the outermost group

  OpenList& innermost() { return lists.back(); }
  size_t nestLevel() const { return lists.size() - 1; }
};

void HandOverToken(Nest& nest) {
  Filter*& current = nest.innermost().current;
  ProcessToken(*current, Token(), nest.scan);
  ClearToken();
  if (current->state != kWantObject) return;  // no connector: the element goes on
  current->next = NewFilter();
  current = current->next;
}

void OpenGroup(Nest& nest) {
  if (nest.innermost().current->state != kWantObject) InvalidQuery(L"invalid open parenthesis");
  if (nest.nestLevel() == 0) nest.lvlZeroParen = qStrPos;
  nest.lists.push_back(NewList());
}

void CloseGroup(Nest& nest) {
  if (nest.innermost().current->state != kComplete) InvalidQuery(L"invalid close parenthesis");
  if (nest.nestLevel() == 0) InvalidQuery(L"unmatched close parenthesis");
  Filter* const group = nest.innermost().head;
  nest.lists.pop_back();
  nest.innermost().current->sub = group;
  nest.innermost().current->state = kComplete;
}

}  // namespace

void ProcessToken(Filter& element, std::wstring_view token, const Scan& scan) {
  switch (element.state) {
    case kWantObject:
      return TakeObject(element, token, scan);
    case kWantOperator:
      return TakeOperator(element, token);
    case kWantValue:
      return TakeValue(element, token, scan);
    default:
      return TakeConnector(element, token);
  }
}

Filter* ParseQuery(std::wstring_view text, const Scan& scan) {
  StartQuery(text);
  Nest nest{scan};
  while (*queryPtr != L'\0') {
    ScanCharacter();
    if (parseState == kTokenComplete) HandOverToken(nest);
    if (openParen) OpenGroup(nest);
    if (closeParen) CloseGroup(nest);
  }
  if (tokenIndx > 0) HandOverToken(nest);
  if (nest.nestLevel() != 0) {
    qStrPos = nest.lvlZeroParen;
    InvalidQuery(L"Unmatched open parenthesis");
  }
  if (nest.innermost().current->state != kComplete) {
    InvalidQuery(L"incomplete query specification");
  }
  return nest.innermost().head;
}

}  // namespace tabulon
