#include "host/modules/UxSkin.h"

#include <gtest/gtest.h>

namespace {

TEST(SkinTest, OneInstanceNamesTheProduct) {
  UxSkin* skin = UxSkin::getGlobalInstance();
  ASSERT_NE(skin, nullptr);
  EXPECT_EQ(UxSkin::getGlobalInstance(), skin);
  EXPECT_STREQ(skin->productName.getString(), "Korin");
}

}  // namespace
