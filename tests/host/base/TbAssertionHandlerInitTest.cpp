#include "host/base/TbAssertionHandlerInit.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <string>

#include "host/console/UxMessage.h"

namespace {

// Package sources linked into this program may hold instances already, so
// the counts are taken relative to what is there.
TEST(TbAssertionHandlerInit, InstancesAreCountedAndKeepOneHandlerWhileAnyLives) {
  const int before = TbAssertionHandlerInit::numInstances();
  const TbAssertionHandlerInit::Handler earlier = TbAssertionHandlerInit::currentHandler();
  TbAssertionHandlerInit::Handler host = nullptr;
  {
    TbAssertionHandlerInit first;
    host = TbAssertionHandlerInit::currentHandler();
    {
      TbAssertionHandlerInit second;
      EXPECT_EQ(TbAssertionHandlerInit::numInstances(), before + 2);
      EXPECT_EQ(TbAssertionHandlerInit::currentHandler(), host);
    }
    EXPECT_EQ(TbAssertionHandlerInit::numInstances(), before + 1);
    EXPECT_EQ(TbAssertionHandlerInit::currentHandler(), host) << "one instance still lives";
  }
  EXPECT_EQ(TbAssertionHandlerInit::numInstances(), before);
  EXPECT_EQ(TbAssertionHandlerInit::currentHandler(), earlier);
  if (before == 0) {
    EXPECT_NE(host, earlier) << "the first instance installs the host's handler";
  }
}

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
