#include "query/batchfilter.h"

#include <cstdint>
#include <span>

namespace tabulon {
namespace {

// Chooses those of the numbers number(0), number(1) ... number(count - 1) that pass. There is no
// branch on the result, which the processor could not predict: each number is written to the next
// place, and only one that passes moves the place on.
template <class Number, class Passes>
void ChooseIf(ChosenRecords& chosen, size_t count, Number&& number, Passes&& passes) {
  uint16_t* const numbers = chosen.numbers.data();
  size_t kept = 0;
  for (size_t i = 0; i < count; ++i) {
    const uint16_t each = number(i);
    numbers[kept] = each;
    kept += passes(each) ? 1 : 0;
  }
  chosen.count = kept;
}

// Leaves those of `chosen` that pass.
template <class Passes>
void Narrow(const RecordBatch& batch, ChosenRecords& chosen, Passes&& passes) {
  if (chosen.count == batch.size()) {
    ChooseIf(
        chosen, batch.size(), [](size_t i) { return static_cast<uint16_t>(i); }, passes);
  } else {
    ChooseIf(
        chosen, chosen.count, [&](size_t i) { return chosen.numbers[i]; }, passes);
  }
}

// Leaves those for which one of the tests of fields holds.
void NarrowByFields(std::span<const PlanStep> tests, const RecordBatch& batch,
                    ChosenRecords& chosen) {
  if (tests.size() == 1) {
    const PlanStep test = tests.front();
    Narrow(batch, chosen, [&](size_t i) { return test.HoldsFor(batch.fields(i).bytes()); });
    return;
  }
  Narrow(batch, chosen, [&](size_t i) {
    bool holds = false;
    for (const PlanStep& test : tests) holds |= test.HoldsFor(batch.fields(i).bytes());
    return holds;
  });
}

void NarrowByName(const PlanStep& test, RecordBatch& batch, ChosenRecords& chosen) {
  const RecordBatch::Names& names = batch.names();
  // The last letters refuse most names, in a loop that loads only the column of tails. What is left
  // is matched whole.
  const CompiledTemplate::Word tail = test.pattern->tail();
  if (test.expected && tail.care != 0) {
    Narrow(batch, chosen,
           [&](size_t i) { return tail.Fits(names.tail[i]) | (names.other[i] != 0); });
  }
  Narrow(batch, chosen, [&](size_t i) {
    const bool matches = names.other[i] != 0 ? test.pattern->Match(batch.OtherName(i).Wide())
                                             : test.pattern->Match(batch.AsciiName(i));
    return matches == test.expected;
  });
}

}  // namespace

bool LookAtNamesFor(Pass& pass) {
  // When fewer than one record in four is chosen, looking at all names costs more than it spares.
  constexpr size_t kFew = 4;
  if (pass.chosen.count * kFew >= pass.batch.size()) pass.batch.WantNames();
  return pass.batch.namesKnown();
}

void ChoosePassing(const FilterPlan& plan, Pass& pass) {
  RecordBatch& batch = pass.batch;
  ChosenRecords& chosen = pass.chosen;
  chosen.count = batch.size();
  int32_t step = plan.start();
  while (step >= 0 && chosen.count > 0) {
    const FilterPlan::Gate gate = plan.GateAt(step);
    const bool ofName = !gate.tests.empty() && gate.tests.front().test != nullptr;
    if (gate.tests.empty() || (ofName && !LookAtNamesFor(pass))) {
      Narrow(batch, chosen, [&](size_t i) { return plan.PassesFrom(step, batch.At(i)); });
      break;
    }
    if (ofName) {
      NarrowByName(gate.tests.front(), batch, chosen);
    } else {
      NarrowByFields(gate.tests, batch, chosen);
    }
    step = gate.next;
  }
}

}  // namespace tabulon
