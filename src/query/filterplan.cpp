#include "query/filterplan.h"

#include <algorithm>
#include <array>
#include <string_view>

#include "query/datevalue.h"

namespace tabulon {
namespace {

constexpr uint64_t kHalf = uint64_t{1} << 63;
constexpr uint64_t kAll = ~uint64_t{0};
constexpr ValueRange kNoTime = {kHalf, 0};  // far from every 32-bit time

// Text is a RecordText or a PathText.
template <class Text>
bool MatchTest(const PlanStep& step, const Text& text) {
  return text.Visit([&](auto units) { return step.pattern->Match(units); }) == step.expected;
}

bool NameTest(const PlanStep& step, const ScanRecord& record) {
  return MatchTest(step, record.name);
}

bool PathTest(const PlanStep& step, const ScanRecord& record) {
  return MatchTest(step, record.path());
}

bool TargetTest(const PlanStep& step, const ScanRecord& record) {
  return record.view.hasTarget && MatchTest(step, record.target);
}

bool ClassTest(const PlanStep& step, const ScanRecord& record) {
  const std::ptrdiff_t dot = record.name.LastDot();
  if (dot < 0) return false;
  const auto start = static_cast<size_t>(dot) + 1;
  const bool member =
      record.name.Visit([&](auto name) { return step.extensions->Contains(name.substr(start)); });
  return member == step.expected;
}

// For objects that have no row below: those without a test (alternate streams, security), and those
// that the records of the scan do not have.
bool NoTest(const PlanStep&, const ScanRecord&) {
  return false;
}

// Prices of tests, in about nanoseconds.
enum Cost : uint64_t {
  kFree = 0,
  kNumberCost = 1,
  kNameEndCost = 3,  // template with one run of wildcards, at its start or end
  kTemplateCost = 10,
  kClassCost = 16,
  kPathCost = 24,
  kGroupCost = 32,  // of a group inside a group; its elements are not looked at
};

void PrepareNumber(PlanStep& step, const Filter& element, const Scan&) {
  step.fieldMask = ~uint32_t{0};
  step.range = RangeOf(element.comparison, element.number);
}

void PrepareSize(PlanStep& step, const Filter& element, const Scan&) {
  step.fieldMask = ~uint64_t{0};
  step.range = RangeOf(element.comparison, element.number);
}

void PrepareDate(PlanStep& step, const Filter& element, const Scan&) {
  step.fieldMask = ~uint32_t{0};
  step.range = DayRangeOf(element.comparison, element.dateValue);
}

void PrepareAttributes(PlanStep& step, const Filter& element, const Scan&) {
  step.fieldMask = element.number;
  step.range = RangeOf(element.comparison, element.number);
}

void PrepareType(PlanStep& step, const Filter& element, const Scan& scan) {
  const bool isCifs = scan.isCifs();
  const bool wantsDirectory = (element.comparison == kEqual) == (element.number == kTypeDirectory);
  step.fieldMask = isCifs ? kAttrDirectory : kModeTypeMask;
  step.range =
      RangeOf(wantsDirectory ? kEqual : kNotEqual, isCifs ? kAttrDirectory : kModeDirectory);
}

struct PlannedTest {
  uint32_t object;
  Cost cost;
  bool (*test)(const PlanStep& step, const ScanRecord& record);
  // Number tests, which have no function of their own: the field, and what sets its mask and range.
  uint8_t RecordLayout::*field = nullptr;
  void (*prepare)(PlanStep& step, const Filter& element, const Scan& scan) = nullptr;
};

constexpr std::array<PlannedTest, 15> kPlannedTests = {{
    {kObjName, kTemplateCost, NameTest},
    {kObjPath, kPathCost, PathTest},
    {kObjTarget, kTemplateCost, TargetTest},
    {kObjClass, kClassCost, ClassTest},
    {kObjSize, kNumberCost, nullptr, &RecordLayout::size, PrepareSize},
    {kObjAdate, kNumberCost, nullptr, &RecordLayout::accessed, PrepareDate},
    {kObjMdate, kNumberCost, nullptr, &RecordLayout::modified, PrepareDate},
    {kObjCdate, kNumberCost, nullptr, &RecordLayout::created, PrepareDate},
    {kObjInode, kNumberCost, nullptr, &RecordLayout::inode, PrepareNumber},
    {kObjLinks, kNumberCost, nullptr, &RecordLayout::links, PrepareNumber},
    {kObjUid, kNumberCost, nullptr, &RecordLayout::uid, PrepareNumber},
    {kObjGid, kNumberCost, nullptr, &RecordLayout::gid, PrepareNumber},
    {kObjAttrs, kNumberCost, nullptr, &RecordLayout::attributes, PrepareAttributes},
    {kObjType, kNumberCost, nullptr, &RecordLayout::attributes, PrepareType},
    {kObjSdirCount, kNumberCost, nullptr, &RecordLayout::modified, PrepareNumber},
}};

constexpr bool ReadsInsideFixedPart(const RecordLayout& layout) {
  for (const PlannedTest& row : kPlannedTests) {
    if (row.field != nullptr && layout.*row.field + sizeof(uint64_t) > layout.fixedSize)
      return false;
  }
  return true;
}
static_assert(ReadsInsideFixedPart(kCifsRecord) && ReadsInsideFixedPart(kNfsRecord),
              "eight bytes are loaded for every field");

const PlannedTest& PlannedTestOf(const Filter& element) {
  static constexpr PlannedTest kNone = {0, kFree, NoTest};
  const auto row = std::ranges::find(kPlannedTests, element.object, &PlannedTest::object);
  return row != kPlannedTests.end() ? *row : kNone;
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
  bool orBefore;  // joined to what precedes it by "[or]"; without meaning for the first
  uint64_t cost;
};

// A list that is being laid out from its end: the steps at which its next element goes on.
struct OpenList {
  std::vector<Part> parts;  // still to be done; the last one comes next
  int32_t onTrue;
  int32_t onFalse;

  // The last part begins at step `entry` now: the part before it goes there, unless its own value
  // decides the result of both.
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

// Values are ordered by the sign of their difference, so half of all numbers are below any number,
// and half are above it.
ValueRange RangeOf(uint32_t comparison, uint64_t number) {
  switch (comparison) {
    case kGreater:
      return {number + 1, kHalf - 2};
    case kGreaterOrEqual:
      return {number, kHalf - 1};
    case kLess:
      return {number - kHalf, kHalf - 1};
    case kLessOrEqual:
      return {number - kHalf, kHalf};
    case kEqual:
      return {number, 0};
    default:
      return {number + 1, kAll - 1};
  }
}

ValueRange DayRangeOf(uint32_t comparison, int64_t date) {
  constexpr int64_t kDay = kSecondsPerDay;
  const int64_t timeOfDay = (date % kDay + kDay) % kDay;
  const auto day = static_cast<uint64_t>(date - timeOfDay);
  const uint64_t nextDay = day + kSecondsPerDay;
  const bool isWholeDay = timeOfDay == 0;  // otherwise no day equals the date
  switch (comparison) {
    case kLess:
    case kGreaterOrEqual:
      return RangeOf(comparison, isWholeDay ? day : nextDay);
    case kLessOrEqual:
      return RangeOf(kLess, nextDay);
    case kGreater:
      return RangeOf(kGreaterOrEqual, nextDay);
    case kEqual:
      return isWholeDay ? ValueRange{day, kSecondsPerDay - 1} : kNoTime;
    default:
      return isWholeDay ? ValueRange{nextDay, kAll - kSecondsPerDay} : ValueRange{0, kAll};
  }
}

// Steps are made from the last to the first, so that the steps that follow a step exist when it is
// made. Groups are kept in a list, not on the call stack: a query may nest them to any depth.
FilterPlan::FilterPlan(const Query& query, const Scan& scan) {
  if (query.head == nullptr) return;
  std::vector<OpenList> open = {Arranged(*query.head, kAccept, kReject)};
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
      AddStep(element, scan, current.onTrue, current.onFalse);
      open.back().Placed(static_cast<int32_t>(steps_.size()) - 1);
    }
  }
  NumberFromTheFront();
  gates_.resize(steps_.size());
  for (size_t step = steps_.size(); step-- > 0;) gates_[step] = MakeGate(step);
}

void FilterPlan::AddStep(const Filter& element, const Scan& scan, int32_t onTrue, int32_t onFalse) {
  const PlannedTest& planned = PlannedTestOf(element);
  PlanStep& step = steps_.emplace_back();
  step.test = planned.test;
  step.onTrue = onTrue;
  step.onFalse = onFalse;
  step.expected = element.comparison == kEqual;
  if (planned.field != nullptr) {
    step.fieldOffset = scan.layout().*planned.field;
    planned.prepare(step, element, scan);
  }
  const bool isCifs = scan.isCifs();
  if (element.object == kObjTarget && isCifs) step.test = NoTest;
  if ((element.object & (kObjName | kObjPath | kObjTarget)) != 0) {
    templates_.push_back(std::make_unique<CompiledTemplate>(element.pattern, isCifs));
    step.pattern = templates_.back().get();
  }
  if (element.object == kObjClass) {
    extensionSets_.push_back(std::make_unique<ExtensionSet>(*element.fileClass, isCifs));
    step.extensions = extensionSets_.back().get();
  }
}

void FilterPlan::NumberFromTheFront() {
  std::ranges::reverse(steps_);
  start_ = 0;
  const auto last = static_cast<int32_t>(steps_.size()) - 1;
  for (PlanStep& step : steps_) {
    if (step.onTrue >= 0) step.onTrue = last - step.onTrue;
    if (step.onFalse >= 0) step.onFalse = last - step.onFalse;
  }
}

// A row of tests: each is made for the records that the previous one rejects. The gates of later
// steps are there: a row is a test before another row, so a long one costs no more for each test.
FilterPlan::Gate FilterPlan::MakeGate(size_t step) const {
  using Of = Gate::Of;
  const std::span<const PlanStep> tests = std::span(steps_).subspan(step);
  const PlanStep& first = tests.front();
  const Of of = first.test == nullptr    ? Of::kFields
                : first.test == NameTest ? Of::kNames
                : first.test == PathTest ? Of::kPaths
                                         : Of::kNothing;
  if (of == Of::kNothing) return {};
  if (first.onFalse == kReject) return {of, tests.first(1), first.onTrue};
  if (first.onFalse != static_cast<int32_t>(step) + 1) return {};
  const Gate& others = gates_[step + 1];
  if (others.of != of || others.next != first.onTrue) return {};
  return {of, tests.first(others.tests.size() + 1), first.onTrue};
}

}  // namespace tabulon
