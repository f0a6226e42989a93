#include "query/choosepassing.h"

#include <algorithm>
#include <array>
#include <bit>
#include <span>

#include "base/bytes.h"

namespace tabulon {
namespace {

// Chooses those of the numbers number(0), number(1) ... number(count - 1) that pass. There is no
// branch on the result, which the processor could not predict: each number is written to the next
// place, and only one that passes moves the place on. A test has so few instructions that those of
// the loop count.
template <class Number, class Passes>
inline void ChooseIf(ChosenRecords& chosen, size_t count, Number&& number, Passes&& passes) {
  uint16_t* const numbers = chosen.numbers.data();
  size_t kept = 0;
#pragma GCC unroll 4
  for (size_t i = 0; i < count; ++i) {
    const size_t each = number(i);
    numbers[kept] = static_cast<uint16_t>(each);
    kept += passes(each) ? 1 : 0;
  }
  chosen.count = kept;
}

// Leaves those of `chosen` that pass.
template <class Passes>
void Narrow(const RecordBatch& batch, ChosenRecords& chosen, Passes&& passes) {
  if (chosen.count == batch.size()) {
    ChooseIf(
        chosen, batch.size(), [](size_t i) { return i; }, passes);
  } else {
    ChooseIf(
        chosen, chosen.count, [&](size_t i) { return size_t{chosen.numbers[i]}; }, passes);
  }
}

// Leaves those for which one of the tests of fields holds. `Tests` is an array of a few, which the
// compiler makes a straight line of code from, or a span.
template <class Tests>
void NarrowByAny(const Tests& tests, const RecordBatch& batch, ChosenRecords& chosen) {
  Narrow(batch, chosen, [&](size_t i) {
    bool holds = false;
    for (const PlanStep& test : tests) holds |= test.HoldsFor(batch.fields(i).bytes());
    return holds;
  });
}

void NarrowByFields(std::span<const PlanStep> tests, const RecordBatch& batch,
                    ChosenRecords& chosen) {
  switch (tests.size()) {
    case 1:
      return NarrowByAny(std::array{tests[0]}, batch, chosen);
    case 2:
      return NarrowByAny(std::array{tests[0], tests[1]}, batch, chosen);
    case 3:
      return NarrowByAny(std::array{tests[0], tests[1], tests[2]}, batch, chosen);
    default:
      return NarrowByAny(tests, batch, chosen);
  }
}

// Of 64 records from `first` on, a bit for each whose name fits the tail or is not ASCII.
static_assert(RecordBatch::kMost % kWordBits == 0);
uint64_t TailBits(const CompiledTemplate::Word& tail, const RecordBatch::Names& names,
                  size_t first) {
  uint64_t bits = 0;
  for (size_t i = 0; i < kWordBits; i += kBlockBytes) {
    const auto* const other = reinterpret_cast<const char*>(&names.other[first + i]);
    const uint32_t ascii = ByteBlock::Load(other).EqualTo(ByteBlock::Every(0)).HighBits();
    bits |= uint64_t{tail.FitsOf(&names.tail[first + i]) | (ascii ^ 0xFFFF)} << i;
  }
  return bits;
}

// Chooses among all records by one tail. Most bits are clear, since an ending is rare.
void ChooseByTail(const CompiledTemplate::Word& tail, const RecordBatch& batch,
                  ChosenRecords& chosen) {
  size_t kept = 0;
  for (size_t first = 0; first < batch.size(); first += kWordBits) {
    uint64_t bits = TailBits(tail, batch.names(), first);
    if (batch.size() - first < kWordBits) bits &= (uint64_t{1} << (batch.size() - first)) - 1;
    for (; bits != 0; bits &= bits - 1) {
      const size_t i = first + static_cast<size_t>(std::countr_zero(bits));
      chosen.numbers[kept++] = static_cast<uint16_t>(i);
    }
  }
  chosen.count = kept;
}

// Leaves those whose name ends in one of the tails, by a loop that loads only the column of tails.
template <size_t N>
void NarrowByTails(const std::array<CompiledTemplate::Word, N>& tails, const RecordBatch& batch,
                   ChosenRecords& chosen) {
  if (N == 1 && chosen.count == batch.size()) return ChooseByTail(tails[0], batch, chosen);
  const RecordBatch::Names& names = batch.names();
  Narrow(batch, chosen, [&](size_t i) {
    bool fits = names.other[i] != 0;
    for (const CompiledTemplate::Word& tail : tails) fits |= tail.Fits(names.tail[i]);
    return fits;
  });
}

// Refuses most names for which none of the tests holds. True when for each ASCII name that is left
// one of them does.
bool NarrowByPieces(std::span<const PlanStep> tests, const RecordBatch& batch,
                    ChosenRecords& chosen) {
  std::array<CompiledTemplate::Word, 4> tails;
  if (tests.size() > tails.size()) return false;
  bool allHaveTails = true;
  bool tailsDecide = true;
  for (size_t k = 0; k < tails.size(); ++k) {
    const PlanStep& test = tests[std::min(k, tests.size() - 1)];
    if (!test.expected) return false;
    tails[k] = test.pattern->tail();
    allHaveTails &= tails[k].care != 0;
    tailsDecide &= test.pattern->tailDecides();
  }
  const CompiledTemplate::Needle& needle = tests.front().pattern->needle();
  if (allHaveTails && tests.size() == 1) {
    NarrowByTails(std::array{tails[0]}, batch, chosen);
  } else if (allHaveTails) {
    NarrowByTails(tails, batch, chosen);
  } else if (tests.size() == 1 && needle.CanLookInPlace() && batch.namesAreInPlace()) {
    const auto& other = batch.names().other;
    // A copy of the needle: what the loop writes does not change it, so it stays in registers.
    Narrow(batch, chosen, [&, needle](size_t i) {
      return !needle.IsMissingInPlace(batch.AsciiName(i)) | (other[i] != 0);
    });
  }
  return tailsDecide;
}

// Leaves those for which one of the tests of names holds.
void NarrowByNames(std::span<const PlanStep> tests, const RecordBatch& batch,
                   ChosenRecords& chosen) {
  const bool decided = NarrowByPieces(tests, batch, chosen);
  const auto& other = batch.names().other;
  Narrow(batch, chosen, [&](size_t i) {
    if (decided && other[i] == 0) return true;
    return std::ranges::any_of(tests, [&](const PlanStep& test) {
      const bool matches = other[i] != 0 ? test.pattern->Match(batch.OtherName(i).Wide())
                                         : test.pattern->Match(batch.AsciiName(i));
      return matches == test.expected;
    });
  });
}

// False when the start of the directory's path shows that none of the tests of paths holds.
bool MayHold(std::span<const PlanStep> tests, RecordBatch& batch, size_t i) {
  const uint64_t head = batch.DirectoryHead(i);
  return head == 0 || std::ranges::any_of(tests, [&](const PlanStep& test) {
           return !test.expected || test.pattern->head().Fits(head);
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
  using Gate = FilterPlan::Gate;
  RecordBatch& batch = pass.batch;
  ChosenRecords& chosen = pass.chosen;
  chosen.count = batch.size();
  int32_t step = plan.start();
  while (step >= 0 && chosen.count > 0) {
    const Gate& gate = plan.GateAt(step);
    if (gate.of == Gate::Of::kFields) {
      NarrowByFields(gate.tests, batch, chosen);
    } else if (gate.of == Gate::Of::kNames && LookAtNamesFor(pass)) {
      NarrowByNames(gate.tests, batch, chosen);
    } else {
      const bool ofPath = gate.of == Gate::Of::kPaths;
      Narrow(batch, chosen, [&](size_t i) {
        return !(ofPath && !MayHold(gate.tests, batch, i)) && plan.PassesFrom(step, batch.At(i));
      });
      break;
    }
    step = gate.next;
  }
}

}  // namespace tabulon
