#include "base/stringobj.h"

#include <gtest/gtest.h>

#include <string>

namespace tabulon {
namespace {

TEST(StringObject, GrowsByWholeIncrements) {
  const struct {
    size_t initial;      // characters given to NewStringObject
    uint32_t increment;  // characters
    size_t appended;
    int32_t size;  // bytes in the end
  } rows[] = {
      {0, 0, 0, 1024},    // an empty text is appended all the same: a terminator needs room
      {0, 0, 300, 2048},  // 1,204 bytes
      {0, 0, 255, 1024},  // exactly full
      {0, 0, 256, 2048},  // one more
      {255, 0, 0, 1024}, {10, 5, 0, 60}, {10, 5, 5, 80}, {3, 1, 1, 20},
  };
  for (const auto& row : rows) {
    const auto object = NewStringObject(std::wstring(row.initial, L'a'), row.increment);
    EXPECT_EQ(object->size == 0, row.initial == 0);
    const std::wstring expected =
        std::wstring(row.initial, L'a') + std::wstring(row.appended, L'b');
    EXPECT_EQ(StringObjectCat(*object, std::wstring(row.appended, L'b')), expected);
    EXPECT_EQ(object->size, row.size);
    EXPECT_EQ(object->view(), expected);
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
