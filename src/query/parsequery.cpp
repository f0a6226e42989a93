#include "query/parsequery.h"

#include <algorithm>
#include <cwctype>
#include <utility>
#include <vector>

#include "base/loganderr.h"
#include "base/template.h"
#include "base/utils.h"
#include "detail/attributes.h"
#include "query/datevalue.h"

namespace tabulon {
namespace {

void ConvertSize(Filter& element, const QueryContext& context) {
  const int64_t size = NumericString(element.text, true);
  if (size == -1) context.tokenizer.InvalidQuery(L"invalid filesize value: %ls", element.text);
  element.number = static_cast<uint64_t>(size);
}

void ConvertDate(Filter& element, const QueryContext& context) {
  if (!ConvertDateValue(element.text, DateBase(context.scan, context.scanDateRelative),
                        element.dateValue)) {
    context.tokenizer.InvalidQuery(L"Invalid date value: %ls", element.text);
  }
}

void ConvertNumber(Filter& element, const QueryContext& context) {
  const wchar_t* end = nullptr;
  element.number = wcstoul64(element.text.c_str(), &end);
  if (*end != L'\0') context.tokenizer.InvalidQuery(L"Invalid numeric value: %ls", element.text);
}

void ConvertAttributes(Filter& element, const QueryContext& context) {
  for (const wchar_t typed : element.text) {
    const auto capital = static_cast<wchar_t>(std::towupper(static_cast<wint_t>(typed)));
    const auto row = std::ranges::find(attrTbl, capital, &BitLetter::letter);
    if (row == attrTbl.end())
      context.tokenizer.InvalidQuery(L"Invalid attribute letter: %c", typed);
    element.number |= row->bit;
  }
}

void ConvertType(Filter& element, const QueryContext& context) {
  if (EqualIgnoringCase(element.text, L"file")) {
    element.number = kTypeFile;
  } else if (EqualIgnoringCase(element.text, L"dir")) {
    element.number = kTypeDirectory;
  } else {
    context.tokenizer.InvalidQuery(L"Invalid type value: %ls", element.text);
  }
}

void ConvertClass(Filter& element, const QueryContext& context) {
  element.fileClass = context.classes.Find(element.text);
  if (element.fileClass == nullptr)
    context.tokenizer.InvalidQuery(L"Class not defined: %ls", element.text);
}

void ConvertAccount(Filter& element, const QueryContext& context) {
  const std::wstring_view value = element.text;
  const size_t backslash = value.find(L'\\');
  if (backslash == value.npos) context.tokenizer.InvalidQuery(L"missing domain name: %ls", value);
  element.sid =
      FindSid(context.scan.security.get(), value.substr(0, backslash), value.substr(backslash + 1));
  if (element.sid == nullptr) LogEntry(L"Unknown domain\\account: %ls\n", value);
}

void ConvertTemplateValue(Filter& element, const QueryContext&) {
  element.pattern = ConvertTemplate(element.text);
}

void KeepText(Filter&, const QueryContext&) {}

constexpr uint32_t kEquality = kOpEq | kOpNe;
constexpr uint32_t kOrder = kEquality | kOpLe | kOpLt | kOpGe | kOpGt;
constexpr uint32_t kDateOrder = kOrder | kOpBefore | kOpUpto | kOpAfter | kOpSince;
constexpr uint32_t kIdentity = kOpIs | kOpIsnot | kOpMatches;
constexpr uint32_t kNaming = kEquality | kIdentity;
constexpr uint32_t kContent = kOpIncludes | kOpExcludes;
constexpr uint32_t kMembership = kEquality | kContent;

}  // namespace

constexpr std::array<FilterObject, 22> filterObjects = {{
    {L"name", kObjName, kNaming, ConvertTemplateValue},
    {L"path", kObjPath, kNaming, ConvertTemplateValue},
    {L"target", kObjTarget | kNfsOnly, kNaming, ConvertTemplateValue},
    {L"size", kObjSize, kOrder, ConvertSize},
    {L"ads", kObjAds | kCifsOnly, kOrder, ConvertSize},
    {L"adate", kObjAdate, kDateOrder, ConvertDate},
    {L"mdate", kObjMdate, kDateOrder, ConvertDate},
    {L"cdate", kObjCdate, kDateOrder, ConvertDate},
    {L"owner", kObjOwner | kCifsOnly, kNaming, ConvertTemplateValue},
    {L"group", kObjGroup | kCifsOnly, kNaming, ConvertTemplateValue},
    {L"dacl", kObjDacl | kCifsOnly, kMembership, ConvertAccount},
    {L"sacl", kObjSacl | kCifsOnly, kMembership, ConvertAccount},
    {L"acl", kObjAcl | kCifsOnly, kMembership, ConvertAccount},
    {L"secdesc", kObjSecdesc | kCifsOnly, kMembership, KeepText},
    {L"inode", kObjInode | kNfsOnly, kOpEq, ConvertNumber},
    {L"links", kObjLinks | kNfsOnly, kOrder, ConvertNumber},
    {L"uid", kObjUid | kNfsOnly, kOrder, ConvertNumber},
    {L"gid", kObjGid | kNfsOnly, kOrder, ConvertNumber},
    {L"attrs", kObjAttrs | kCifsOnly, kContent, ConvertAttributes},
    {L"type", kObjType, kIdentity, ConvertType},
    {L"class", kObjClass, kIdentity, ConvertClass},
    {L"sdircount", kObjSdirCount, kOrder, ConvertSize},
}};

static_assert(
    [] {
      for (size_t a = 0; a < filterObjects.size(); ++a) {
        for (size_t b = 0; b < a; ++b) {
          if (ObjectCode(filterObjects[a]) == ObjectCode(filterObjects[b])) return false;
        }
      }
      return true;
    }(),
    "an element finds its row by its object code");

const FilterObject* FindFilterObject(std::wstring_view keyword) {
  return FindKeyword(filterObjects, keyword);
}

const FilterObject* FindFilterObject(uint32_t object) {
  const auto row = std::ranges::find(filterObjects, object, &ObjectCode);
  return row != filterObjects.end() ? &*row : nullptr;
}

const OpVerb* FindOpVerb(std::wstring_view keyword) {
  return FindKeyword(opVerbs, keyword);
}

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
