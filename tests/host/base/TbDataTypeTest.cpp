#include "host/base/TbDataType.h"

#include <gtest/gtest.h>

namespace {

TEST(TbDataType, PrimitiveNamesGiveTheirElementTypes) {
  const struct {
    const char* name;
    int code;
  } cases[] = {{"uint8", 0}, {"int16", 1}, {"int32", 2}, {"float", 3}, {"double", 4}, {"uint16", 7}};
  for (const auto& c : cases) {
    TbDataType type;
    ASSERT_EQ(type.init(c.name), 1) << c.name;
    EXPECT_TRUE(type.isTbPrimType()) << c.name;
    EXPECT_EQ(static_cast<int>(type.asTbPrimType()), c.code) << c.name;
    EXPECT_STREQ(type.asTbPrimType().name(), c.name);
  }
}

TEST(TbDataType, CompositeNamesAreKnownButNotPrimitive) {
  for (const char* name : {"complex", "label", "rgba"}) {
    TbDataType type;
    EXPECT_EQ(type.init(name), 1) << name;
    EXPECT_FALSE(type.isTbPrimType()) << name;
    EXPECT_FALSE(type.asTbPrimType().isValid()) << name;
  }
}

TEST(TbDataType, UnknownNamesAreRefusedAndLeaveTheDescriptorUnset) {
  TbDataType type;
  ASSERT_EQ(type.init("float"), 1);
  for (const char* name : {"Float", "uint8 ", "", "5"}) {
    EXPECT_EQ(type.init(name), 0) << '"' << name << '"';
    EXPECT_FALSE(type.isTbPrimType());
    EXPECT_EQ(type.getName(), nullptr);
  }
  EXPECT_EQ(type.init(nullptr), 0);
  EXPECT_FALSE(TbDataType().isTbPrimType());
}

}  // namespace
