#include "query/queryobjects.h"

#include <algorithm>
#include <cwctype>

#include "base/loganderr.h"
#include "base/template.h"
#include "base/utils.h"
#include "detail/attributes.h"
#include "query/datevalue.h"
#include "query/tokenizer.h"

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
  const auto row = std::ranges::find_if(filterObjects, [&](const FilterObject& each) {
    return EqualIgnoringCase(each.keyword, keyword);
  });
  return row != filterObjects.end() ? &*row : nullptr;
}

const FilterObject* FindFilterObject(uint32_t object) {
  const auto row = std::ranges::find(filterObjects, object, &ObjectCode);
  return row != filterObjects.end() ? &*row : nullptr;
}

const OpVerb* FindOpVerb(std::wstring_view keyword) {
  const auto row = std::ranges::find_if(
      opVerbs, [&](const OpVerb& each) { return EqualIgnoringCase(each.keyword, keyword); });
  return row != opVerbs.end() ? &*row : nullptr;
}

}  // namespace tabulon
