#include "query/parsequery.h"

#include <utility>
#include <vector>

#include "base/utils.h"

namespace tabulon {
namespace {

void TakeObject(Filter& element, std::wstring_view token, const QueryContext& context) {
  const FilterObject* object = FindFilterObject(token);
  if (object == nullptr) context.tokenizer.InvalidQuery(L"invalid query object: %ls", token);
  if ((object->code & kCifsOnly) != 0 && !context.scan.isCifs()) {
    context.tokenizer.InvalidQuery(L"object '%ls' not valid with NFS scans", token);
  }
  if ((object->code & kNfsOnly) != 0 && context.scan.isCifs()) {
    context.tokenizer.InvalidQuery(L"object '%ls' not valid with CIFS scans", token);
  }
  element.object = ObjectCode(*object);
  element.operatorMask = object->operators;
  element.state = kWantOperator;
}

void TakeOperator(Filter& element, std::wstring_view token, const QueryContext& context) {
  const OpVerb* verb = FindOpVerb(token);
  if (verb == nullptr) context.tokenizer.InvalidQuery(L"invalid query operator: %ls", token);
  if ((verb->bit & element.operatorMask) == 0) {
    context.tokenizer.InvalidQuery(L"operator not valid for query object: %ls", token);
  }
  element.comparison = verb->comparison;
  element.state = kWantValue;
}

void TakeValue(Filter& element, std::wstring_view token, const QueryContext& context) {
  element.text = token;
  FindFilterObject(element.object)->convert(element, context);
  element.state = kComplete;
  element.connector = kTestComplete;
}

void TakeConnector(Filter& element, std::wstring_view token, const QueryContext& context) {
  if (EqualIgnoringCase(token, L"[or]")) {
    element.connector = kOr;
  } else if (EqualIgnoringCase(token, L"[and]")) {
    element.connector = kAnd;
  } else {
    context.tokenizer.InvalidQuery(L"invalid or missing logic operator: %ls", token);
  }
  element.state = kWantObject;
}

// A list that is being parsed.
struct OpenList {
  Filter* head;
  Filter* current;
};

// A query that is being parsed, with the lists around the character read last, the outermost first.
// Groups are kept here and not on the call stack, which a text of open parentheses would exhaust.
class Parser {
 public:
  Parser(Tokenizer& tokenizer, const QueryContext& context)
      : tokenizer_(tokenizer), context_(context) {
    OpenNewList();
  }
  Query Parse();

 private:
  void OpenNewList() {
    Filter* const first = query_.Add();
    lists_.push_back({first, first});
  }
  void HandOverToken();
  void OpenGroup();
  void CloseGroup();
  Filter*& current() { return lists_.back().current; }
  size_t nestLevel() const { return lists_.size() - 1; }

  Tokenizer& tokenizer_;
  const QueryContext& context_;
  Query query_;
  std::vector<OpenList> lists_;
  int lvlZeroParen_ = 0;  // position of the parenthesis that opened the outermost group
};

void Parser::HandOverToken() {
  ProcessToken(*current(), tokenizer_.Token(), context_);
  tokenizer_.ClearToken();
  if (current()->state != kWantObject) return;  // no connector: the element goes on
  current()->next = query_.Add();
  current() = current()->next;
}

void Parser::OpenGroup() {
  if (current()->state != kWantObject) tokenizer_.InvalidQuery(L"invalid open parenthesis");
  if (nestLevel() == 0) lvlZeroParen_ = tokenizer_.qStrPos;
  OpenNewList();
}

void Parser::CloseGroup() {
  if (current()->state != kComplete) tokenizer_.InvalidQuery(L"invalid close parenthesis");
  if (nestLevel() == 0) tokenizer_.InvalidQuery(L"unmatched close parenthesis");
  Filter* const group = lists_.back().head;
  lists_.pop_back();
  current()->sub = group;
  current()->state = kComplete;
}

Query Parser::Parse() {
  while (*tokenizer_.queryPtr != L'\0') {
    tokenizer_.ScanCharacter();
    if (tokenizer_.parseState == kTokenComplete) HandOverToken();
    if (tokenizer_.openParen) OpenGroup();
    if (tokenizer_.closeParen) CloseGroup();
  }
  if (tokenizer_.tokenIndx > 0) HandOverToken();
  if (nestLevel() != 0) {
    tokenizer_.qStrPos = lvlZeroParen_;
    tokenizer_.InvalidQuery(L"Unmatched open parenthesis");
  }
  if (current()->state != kComplete) tokenizer_.InvalidQuery(L"incomplete query specification");
  query_.head = lists_.back().head;
  return std::move(query_);
}

}  // namespace

void ProcessToken(Filter& element, std::wstring_view token, const QueryContext& context) {
  switch (element.state) {
    case kWantObject:
      return TakeObject(element, token, context);
    case kWantOperator:
      return TakeOperator(element, token, context);
    case kWantValue:
      return TakeValue(element, token, context);
    default:
      return TakeConnector(element, token, context);
  }
}

Query ParseQuery(std::wstring_view text, const Scan& scan, const Classes& classes,
                 int scanDateRelative) {
  Tokenizer tokenizer(text);
  const QueryContext context{tokenizer, scan, classes, scanDateRelative};
  return Parser(tokenizer, context).Parse();
}

}  // namespace tabulon
