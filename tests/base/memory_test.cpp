#include "base/memory.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>

#include "base/stringobj.h"

namespace tabulon {
namespace {

TEST(Memory, IsZeroFilled) {
  const Memory block = GetMem(100000, nullptr);
  const auto* bytes = static_cast<const char*>(block.get());
  EXPECT_EQ(std::count(bytes, bytes + 100000, '\0'), 100000);
}

TEST(Arena, HandsOutMultiplesOfEightUntilABlockIsFull) {
  std::unique_ptr<ArenaBlock> arena;
  const auto used = [&] { return arena->nextFree - arena->payload; };
  char* const first = static_cast<char*>(TempAlloc(1, arena));
  EXPECT_EQ(first, arena->payload);
  EXPECT_EQ(TempAlloc(8, arena), first + 8);
  EXPECT_EQ(used(), 16);
  // A piece that would fill the block exactly starts another one, which it may then fill.
  const ArenaBlock* const firstBlock = arena.get();
  TempAlloc(sizeof arena->payload - 16, arena);
  EXPECT_NE(arena.get(), firstBlock);
  EXPECT_EQ(arena->previous.get(), firstBlock);
  TempAlloc(sizeof arena->payload - used() - 8, arena);
  EXPECT_EQ(used(), static_cast<ptrdiff_t>(sizeof arena->payload) - 8);
  char* const whole = static_cast<char*>(TempAlloc(sizeof arena->payload, arena));
  EXPECT_EQ(std::count(whole, whole + sizeof arena->payload, '\0'), 32736);
  TempFree(arena);
  EXPECT_EQ(arena, nullptr);
}

TEST(StringObject, GrowsByWholeIncrements) {
  // clang-format off
  const struct { size_t initial; uint32_t increment; size_t appended; int32_t size; } rows[] = {
      {0, 0, 0, 1024},    // an empty text is appended all the same: a terminator needs room
      {0, 0, 300, 2048}, {0, 0, 255, 1024}, {0, 0, 256, 2048}, {255, 0, 0, 1024},
      {10, 5, 0, 60}, {10, 5, 5, 80}, {3, 1, 1, 20},
  };
  // clang-format on
  for (const auto& row : rows) {
    const auto object = NewStringObject(std::wstring(row.initial, L'a'), row.increment);
    EXPECT_EQ(object->size == 0, row.initial == 0);
    const std::wstring expected =
        std::wstring(row.initial, L'a') + std::wstring(row.appended, L'b');
    EXPECT_EQ(StringObjectCat(*object, std::wstring(row.appended, L'b')), expected);
    EXPECT_EQ(object->size, row.size);
  }
}

TEST(StringObject, KeepsItsBufferAndTakesItsOwnText) {
  const auto object = NewStringObject(L"0123456789", 4);
  const int32_t size = object->size;
  EXPECT_STREQ(StringObjectSet(*object, L"ab"), L"ab");
  EXPECT_EQ(object->size, size);
  for (int i = 0; i < 6; ++i) StringObjectCat(*object, object->view());  // doubles, and grows
  EXPECT_EQ(object->length, 128);
  EXPECT_EQ(object->view().substr(126), L"ab");
  EXPECT_STREQ(StringObjectSet(*object, object->view().substr(125)), L"bab");
  FreeStringContents(*object);
  EXPECT_EQ(object->size, 0);
  EXPECT_EQ(object->length, 0);
  EXPECT_STREQ(StringObjectCat(*object, L"again"), L"again");
}

}  // namespace
}  // namespace tabulon
