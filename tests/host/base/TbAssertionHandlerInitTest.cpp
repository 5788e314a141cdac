#include "host/base/TbAssertionHandlerInit.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <string>

#include "host/console/UxMessage.h"

namespace {

TEST(TbAssertionHandlerInitDeathTest, HostHandlerReportsOnTheConsoleAndAborts) {
  // The console goes to standard output; the death test watches standard
  // error, so the console's listener copies each message there.
  EXPECT_DEATH(
      {
        UxMessage::getTheMsg()->setListener(
            [](const std::string& line) { std::fprintf(stderr, "console: %s\n", line.c_str()); });
        TbAssertionHandlerInit init;
        tbAssert(1 > 2, "one exceeds two");
      },
      "console: assertion failed: one exceeds two \\(.*TbAssertionHandlerInitTest\\.cpp:[0-9]+\\)");
}

TEST(TbAssertionHandlerInitDeathTest, WithoutAnInstanceTheBareHandlerUsesStandardError) {
  if (TbAssertionHandlerInit::numInstances() > 0)
    GTEST_SKIP() << "a package linked into this program holds instances for its whole life";
  EXPECT_DEATH(tbAssert(false, "early"), "assertion failed: early \\(");
}

}  // namespace
