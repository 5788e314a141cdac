#include "host/base/TbDataType.h"

#include <gtest/gtest.h>

namespace {

// Primitive names give their element types, composite names are known but not
// primitive, anything else is refused and leaves the descriptor unset.
TEST(TbDataType, NamesAndTheirElementTypes) {
  const struct {
    const char* name;
    int known, code;  // code -1: not primitive
  } cases[] = {{"uint8", 1, 0},   {"int16", 1, 1},   {"int32", 1, 2}, {"float", 1, 3},  {"double", 1, 4},
               {"uint16", 1, 7},  {"complex", 1, -1}, {"label", 1, -1}, {"rgba", 1, -1}, {"Float", 0, -1},
               {"uint8 ", 0, -1}, {"", 0, -1},        {"5", 0, -1}};
  for (const auto& c : cases) {
    SCOPED_TRACE(std::string("\"") + c.name + "\"");
    TbDataType type;
    ASSERT_EQ(type.init("float"), 1);
    EXPECT_EQ(type.init(c.name), c.known);
    EXPECT_EQ(type.isTbPrimType(), c.code >= 0);
    EXPECT_EQ(type.asTbPrimType().isValid(), c.code >= 0);
    if (c.code >= 0) {
      EXPECT_EQ(static_cast<int>(type.asTbPrimType()), c.code);
      EXPECT_STREQ(type.asTbPrimType().name(), c.name);
    }
    if (!c.known) {
      EXPECT_EQ(type.getName(), nullptr);
    }
  }
  EXPECT_EQ(TbDataType().init(nullptr), 0);
  EXPECT_FALSE(TbDataType().isTbPrimType());
}

}  // namespace
