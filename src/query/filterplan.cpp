#include "query/filterplan.h"

#include <algorithm>
#include <array>
#include <string_view>

#include "detail/detailfile.h"
#include "query/filtereval.h"
#include "query/pathtext.h"

namespace tabulon {
namespace {

constexpr int32_t kAccept = -1;
constexpr int32_t kReject = -2;

// Results of a comparison, as bit numbers of PlanStep::outcomes.
enum Outcome { kIsLess, kIsEqual, kIsGreater };

uint32_t OutcomesOf(uint32_t comparison) {
  uint32_t outcomes = 0;
  if (CompareTest(comparison, 0, 1)) outcomes |= 1U << kIsLess;
  if (CompareTest(comparison, 0, 0)) outcomes |= 1U << kIsEqual;
  if (CompareTest(comparison, 1, 0)) outcomes |= 1U << kIsGreater;
  return outcomes;
}

bool Compare(const PlanStep& step, uint64_t value) {
  const auto difference = static_cast<int64_t>(value - step.number);
  const Outcome outcome = difference == 0 ? kIsEqual : difference < 0 ? kIsLess : kIsGreater;
  return (step.outcomes >> outcome & 1) != 0;
}

template <auto Field>
bool NumberTest(const PlanStep& step, const ScanRecord& record) {
  return Compare(step, (record.fields().*Field)());
}

template <auto Field>
bool DateTest(const PlanStep& step, const ScanRecord& record) {
  const uint32_t time = (record.fields().*Field)();
  return Compare(step, time - time % kSecondsPerDay);
}

bool BitsTest(const PlanStep& step, const ScanRecord& record) {
  return ((record.fields().attributes() & step.mask) == step.bits) == step.expected;
}

// Text is a RecordText or a PathText.
template <class Text>
bool MatchTest(const PlanStep& step, const Text& text) {
  return text.Visit([&](auto units) { return step.pattern->Match(units); }) == step.expected;
}

bool NameTest(const PlanStep& step, const ScanRecord& record) {
  return MatchTest(step, record.name);
}

bool PathTest(const PlanStep& step, const ScanRecord& record) {
  return MatchTest(step, PathOf(record));
}

bool TargetTest(const PlanStep& step, const ScanRecord& record) {
  return rootType != kRootCifs && record.view.hasTarget && MatchTest(step, record.target);
}

bool ClassTest(const PlanStep& step, const ScanRecord& record) {
  const std::ptrdiff_t dot = record.name.LastDot();
  if (dot < 0) return false;
  const auto start = static_cast<size_t>(dot) + 1;
  const bool member =
      record.name.Visit([&](auto name) { return step.extensions->Contains(name.substr(start)); });
  return member == step.expected;
}

// What has no row below: the objects without a test.
bool PlainTest(const PlanStep& step, const ScanRecord& record) {
  return CheckFilter(*step.element, record);
}

// Prices of tests, in about nanoseconds.
enum Cost : uint64_t {
  kFree = 0,
  kNumberCost = 1,
  kDateCost = 2,
  kBitsCost = 3,
  kNameEndCost = 5,  // template with one run of wildcards, at its start or end
  kTemplateCost = 12,
  kClassCost = 16,
  kPathCost = 24,
  kGroupCost = 32,  // of a group inside a group, which nobody looks into
};

struct PlannedTest {
  uint32_t object;
  Cost cost;
  bool (*test)(const PlanStep& step, const ScanRecord& record);
};

constexpr std::array<PlannedTest, 15> kPlannedTests = {{
    {kObjName, kTemplateCost, NameTest},
    {kObjPath, kPathCost, PathTest},
    {kObjTarget, kTemplateCost, TargetTest},
    {kObjSize, kNumberCost, NumberTest<&RecordFields::size>},
    {kObjAdate, kDateCost, DateTest<&RecordFields::accessed>},
    {kObjMdate, kDateCost, DateTest<&RecordFields::modified>},
    {kObjCdate, kDateCost, DateTest<&RecordFields::created>},
    {kObjInode, kNumberCost, NumberTest<&RecordFields::inode>},
    {kObjLinks, kNumberCost, NumberTest<&RecordFields::links>},
    {kObjUid, kNumberCost, NumberTest<&RecordFields::uid>},
    {kObjGid, kNumberCost, NumberTest<&RecordFields::gid>},
    {kObjAttrs, kBitsCost, BitsTest},
    {kObjType, kBitsCost, BitsTest},
    {kObjClass, kClassCost, ClassTest},
    {kObjSdirCount, kNumberCost, NumberTest<&RecordFields::modified>},
}};

const PlannedTest& PlannedTestOf(const Filter& element) {
  static constexpr PlannedTest kPlain = {0, kFree, PlainTest};
  const auto row = std::ranges::find(kPlannedTests, element.object, &PlannedTest::object);
  return row != kPlannedTests.end() ? *row : kPlain;
}

bool ComparesOneEnd(std::wstring_view coded) {
  const auto isWildcard = [](wchar_t unit) { return unit >= kWildOne && unit <= kWildPath; };
  if (!coded.empty() && isWildcard(coded.front())) {
    coded.remove_prefix(1);
  } else if (!coded.empty() && isWildcard(coded.back())) {
    coded.remove_suffix(1);
  }
  return std::ranges::none_of(coded, isWildcard);
}

uint64_t TestCost(const Filter& element) {
  const bool isNameEnd = element.object == kObjName && ComparesOneEnd(element.pattern);
  return isNameEnd ? kNameEndCost : PlannedTestOf(element).cost;
}

// Brackets around one element mean nothing.
const Filter& Unbracketed(const Filter& element) {
  const Filter* inside = &element;
  while (inside->sub != nullptr && inside->sub->next == nullptr) inside = inside->sub;
  return *inside;
}

uint64_t PartCost(const Filter& part) {
  if (part.sub == nullptr) return TestCost(part);
  uint64_t cost = 0;
  for (const Filter* each = part.sub; each != nullptr; each = each->next) {
    const Filter& member = Unbracketed(*each);
    cost += member.sub == nullptr ? TestCost(member) : kGroupCost;
  }
  return cost;
}

// An element of a list that is being laid out.
struct Part {
  const Filter* element;
  bool orBefore;  // joined to what stands before it by "[or]"; of no meaning for the first
  uint64_t cost;
};

// A list that is being laid out from its end: where its next element from there has to go on.
struct OpenList {
  std::vector<Part> parts;  // still to be done; the last one comes next
  int32_t onTrue;
  int32_t onFalse;

  // The last part begins at step `entry` now: what stands before goes there unless its own value
  // settles the part's.
  void Placed(int32_t entry) {
    (parts.back().orBefore ? onFalse : onTrue) = entry;
    parts.pop_back();
  }
};

// The list in the order of its plan.
OpenList Arranged(const Filter& list, int32_t onTrue, int32_t onFalse) {
  OpenList open{{}, onTrue, onFalse};
  std::vector<Part>& parts = open.parts;
  bool orBefore = list.connector == kOr;
  bool mixed = false;
  for (const Filter* each = &list; each != nullptr; each = each->next) {
    const Filter& element = Unbracketed(*each);
    parts.push_back({&element, orBefore, PartCost(element)});
    mixed |= orBefore != parts.front().orBefore;
    orBefore = each->connector == kOr;
  }
  if (!mixed) std::ranges::stable_sort(parts, {}, &Part::cost);
  return open;
}

}  // namespace

// Steps are made from the last to the first, so that each is made when its followers are there.
// Groups are kept in a list of their own: their depth is the query's to choose.
FilterPlan::FilterPlan(const Filter* list) {
  if (list == nullptr) return;
  std::vector<OpenList> open = {Arranged(*list, kAccept, kReject)};
  while (true) {
    if (open.back().parts.empty()) {
      open.pop_back();
      if (open.empty()) break;
      open.back().Placed(static_cast<int32_t>(steps_.size()) - 1);
      continue;
    }
    const OpenList& current = open.back();
    const Filter& element = *current.parts.back().element;
    if (element.sub != nullptr) {
      open.push_back(Arranged(*element.sub, current.onTrue, current.onFalse));
    } else {
      AddStep(element, current.onTrue, current.onFalse);
      open.back().Placed(static_cast<int32_t>(steps_.size()) - 1);
    }
  }
  NumberFromTheFront();
}

void FilterPlan::AddStep(const Filter& element, int32_t onTrue, int32_t onFalse) {
  PlanStep& step = steps_.emplace_back();
  step.test = PlannedTestOf(element).test;
  step.onTrue = onTrue;
  step.onFalse = onFalse;
  step.element = &element;
  const bool isDate = (element.object & kObjAnyDate) != 0;
  step.number = isDate ? static_cast<uint64_t>(element.dateValue) : element.number;
  step.outcomes = OutcomesOf(element.comparison);
  step.expected = element.comparison == kEqual;
  step.mask = step.bits = static_cast<uint32_t>(element.number);
  if (element.object == kObjType) {
    step.mask = rootType == kRootCifs ? kAttrDirectory : kModeTypeMask;
    step.bits = rootType == kRootCifs ? kAttrDirectory : kModeDirectory;
    step.expected ^= element.number != kTypeDirectory;
  }
  const bool backslash = rootType == kRootCifs;
  if ((element.object & (kObjName | kObjPath | kObjTarget)) != 0) {
    step.pattern =
        templates_.emplace_back(std::make_unique<CompiledTemplate>(element.pattern, backslash))
            .get();
  }
  if (element.object == kObjClass) {
    step.extensions =
        extensionSets_.emplace_back(std::make_unique<ExtensionSet>(*element.fileClass, backslash))
            .get();
  }
}

void FilterPlan::NumberFromTheFront() {
  std::ranges::reverse(steps_);
  const auto last = static_cast<int32_t>(steps_.size()) - 1;
  for (PlanStep& step : steps_) {
    if (step.onTrue >= 0) step.onTrue = last - step.onTrue;
    if (step.onFalse >= 0) step.onFalse = last - step.onFalse;
  }
}

bool FilterPlan::Run(const ScanRecord& record) const {
  int32_t at = 0;
  do {
    const PlanStep& step = steps_[static_cast<size_t>(at)];
    at = step.test(step, record) ? step.onTrue : step.onFalse;
  } while (at >= 0);
  return at == kAccept;
}

}  // namespace tabulon
