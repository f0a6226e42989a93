#include "base/memory.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>

#include "base/rest.h"

namespace tabulon {
namespace {

TEST(Memory, IsZeroFilled) {
  const Memory block = GetMem(100000, nullptr);
  const auto* bytes = static_cast<const char*>(block.get());
  EXPECT_EQ(std::count(bytes, bytes + 100000, '\0'), 100000);
}

TEST(Arena, HandsOutMultiplesOfEightUntilABlockIsFull) {
  Arena arena;
  char* const first = static_cast<char*>(TempAlloc(1, arena));
  EXPECT_EQ(TempAlloc(8, arena), first + 8);
  // A piece that would fill the block exactly starts another one.
  TempAlloc(sizeof arena->payload - 16, arena);
  ASSERT_NE(arena->previous, nullptr);
  EXPECT_EQ(arena->previous->payload, first);
}

TEST(StringObject, TakesItsOwnText) {
  EXPECT_EQ(NewStringObject(nullptr, 8)->size, 0);
  EXPECT_EQ(NewStringObject(L"", 8)->size, 32);
  const auto object = NewStringObject(L"0123456789", 4);
  EXPECT_STREQ(StringObjectSet(*object, L"ab"), L"ab");
  for (int i = 0; i < 6; ++i) StringObjectCat(*object, object->view());  // doubles, and grows
  EXPECT_EQ(object->length, 128);
  EXPECT_STREQ(StringObjectSet(*object, object->view().substr(125)), L"bab");
}

}  // namespace
}  // namespace tabulon
