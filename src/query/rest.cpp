// Completes the module of filters.
#include "query/rest.h"

#include <algorithm>
#include <array>
#include <string>

#include "base/template.h"
#include "base/utils.h"
#include "query/datevalue.h"

namespace tabulon {
namespace {

bool MatchTest(const Filter& element, std::wstring_view text, const Scan& scan) {
  const bool match = TemplateMatch(text, element.pattern, scan.isCifs());
  return match == (element.comparison == kEqual);
}

bool CheckName(const Filter& element, const ScanRecord& record, const Scan& scan) {
  return MatchTest(element, record.name.Wide(), scan);
}

bool CheckPath(const Filter& element, const ScanRecord& record, const Scan& scan) {
  std::wstring path(record.directory->Wide());
  if (!path.ends_with(L'\\')) path += L'\\';
  path += record.name.Wide();
  if (path.size() > kPathLimit) path.resize(kPathLimit);
  return MatchTest(element, path, scan);
}

bool CheckTarget(const Filter& element, const ScanRecord& record, const Scan& scan) {
  if (scan.isCifs() || !record.view.hasTarget) return false;
  return MatchTest(element, record.target.Wide(), scan);
}

template <auto Field>
bool CheckNumber(const Filter& element, const ScanRecord& record, const Scan&) {
  return CompareTest(element.comparison, (record.fields().*Field)(), element.number);
}

bool CheckAttributes(const Filter& element, const ScanRecord& record, const Scan&) {
  const bool all = (record.fields().attributes() & element.number) == element.number;
  return all == (element.comparison == kEqual);
}

bool CheckType(const Filter& element, const ScanRecord& record, const Scan& scan) {
  const uint32_t attributes = record.fields().attributes();
  const bool isDirectory = scan.isCifs() ? (attributes & kAttrDirectory) != 0
                                         : (attributes & kModeTypeMask) == kModeDirectory;
  const bool same = isDirectory == (element.number == kTypeDirectory);
  return same == (element.comparison == kEqual);
}

bool Takes(const ClassPattern& pattern, std::wstring_view extension, const Scan& scan) {
  if (pattern.wildcard) return TemplateMatch(extension, pattern.text, true);
  return scan.isCifs() ? EqualIgnoringCase(extension, pattern.text) : extension == pattern.text;
}

bool CheckClass(const Filter& element, const ScanRecord& record, const Scan& scan) {
  const std::wstring_view name = record.name.Wide();
  const size_t dot = name.rfind(L'.');
  if (dot == name.npos) return false;  // for "isnot" as well
  const bool member = std::ranges::any_of(element.fileClass->patterns, [&](const auto& pattern) {
    return Takes(pattern, name.substr(dot + 1), scan);
  });
  return member == (element.comparison == kEqual);
}

struct ObjectTest {
  uint32_t object;
  bool (*check)(const Filter& element, const ScanRecord& record, const Scan& scan);
};

constexpr std::array<ObjectTest, 12> kObjectTests = {{
    {kObjName, CheckName},
    {kObjPath, CheckPath},
    {kObjTarget, CheckTarget},
    {kObjSize, CheckNumber<&RecordFields::size>},
    {kObjInode, CheckNumber<&RecordFields::inode>},
    {kObjLinks, CheckNumber<&RecordFields::links>},
    {kObjUid, CheckNumber<&RecordFields::uid>},
    {kObjGid, CheckNumber<&RecordFields::gid>},
    {kObjAttrs, CheckAttributes},
    {kObjType, CheckType},
    {kObjClass, CheckClass},
    // No record has a field of its own for the count; scanners store it in this one. Kept so.
    {kObjSdirCount, CheckNumber<&RecordFields::modified>},
}};

bool CheckElement(const Filter* element, const ScanRecord& record, const Scan& scan) {
  // Brackets around one element do not count as a level, so any number of them is harmless.
  while (element->sub != nullptr && element->sub->next == nullptr) element = element->sub;
  return element->sub != nullptr ? CheckFilterList(element->sub, record, scan)
                                 : CheckFilter(*element, record, scan);
}

}  // namespace

bool CheckFilterList(const Filter* list, const ScanRecord& record, const Scan& scan) {
  if (list == nullptr) return true;
  bool result = CheckElement(list, record, scan);
  for (; list->next != nullptr; list = list->next) {
    const bool value = CheckElement(list->next, record, scan);
    result = list->connector == kOr ? result || value : result && value;
  }
  return result;
}

bool CheckFilter(const Filter& element, const ScanRecord& record, const Scan& scan) {
  const auto row = std::ranges::find(kObjectTests, element.object, &ObjectTest::object);
  if (row != kObjectTests.end()) return row->check(element, record, scan);
  if ((element.object & ~kObjAnyDate) != 0) return false;
  const RecordFields& fields = record.fields();
  return CheckDate(element, fields.accessed(), kObjAdate) ||
         CheckDate(element, fields.modified(), kObjMdate) ||
         CheckDate(element, fields.created(), kObjCdate);
}

bool CompareTest(uint32_t comparison, uint64_t left, uint64_t right) {
  if (left == right) {
    return comparison == kEqual || comparison == kGreaterOrEqual || comparison == kLessOrEqual;
  }
  if (comparison == kNotEqual) return true;
  const bool less = static_cast<int64_t>(left - right) < 1;
  return less ? comparison == kLess || comparison == kLessOrEqual
              : comparison == kGreater || comparison == kGreaterOrEqual;
}

bool CheckDate(const Filter& element, uint32_t time, uint32_t object) {
  const uint32_t day = time - time % kSecondsPerDay;
  return (element.object & object) != 0 &&
         CompareTest(element.comparison, day, static_cast<uint64_t>(element.dateValue));
}

bool CheckSidUse(bool found, const Filter& element, uint32_t object) {
  return (element.object & object) != 0 && element.comparison == (found ? kEqual : kNotEqual);
}

}  // namespace tabulon
