#include "host/objects/UxCmdInfo.h"

#include <gtest/gtest.h>

#include <string>

#include "support/ObjectCommandRunner.h"
#include "host/objects/UxData.h"
#include "host/objects/UxObjectPool.h"

namespace {

class CmdInfoTest : public ::testing::Test {
 protected:
  void SetUp() override { getCmdInfo().clear(); }
  ObjectCommandRunner tcl;
};

TEST_F(CmdInfoTest, UnknownCommandListsOfferedNamesOnceInOrder) {
  for (const char* name : {"alpha", "beta", "alpha", "gamma"}) getCmdInfo().append({name, nullptr});
  EXPECT_EQ(cmdError(tcl.interp, 1, "delta"), 1);
  EXPECT_EQ(tcl.result(), "unknown command \"delta\"; known: alpha, beta, gamma");
}

TEST_F(CmdInfoTest, UnknownCommandWithNothingOffered) {
  cmdError(tcl.interp, 1, "delta");
  EXPECT_EQ(tcl.result(), "unknown command \"delta\"");
}

TEST_F(CmdInfoTest, WrongArgumentCountAndOtherKinds) {
  EXPECT_EQ(cmdError(tcl.interp, 2, "createDiskData"), 1);
  EXPECT_EQ(tcl.result(), "wrong # args for \"createDiskData\"");
  EXPECT_EQ(cmdError(tcl.interp, 7, "x"), 1);
  EXPECT_EQ(tcl.result(), "command \"x\" failed");
}

TEST_F(CmdInfoTest, VaSetResultFormatsAndReplaces) {
  Tcl_SetResult(tcl.interp, const_cast<char*>("old"), TCL_STATIC);
  Tcl_VaSetResult(tcl.interp, "%s has %d samples of %.1f", "lattice", 64, 2.5);
  EXPECT_EQ(tcl.result(), "lattice has 64 samples of 2.5");
  const std::string longText(5000, 'q');
  Tcl_VaSetResult(tcl.interp, "%s", longText.c_str());
  EXPECT_EQ(tcl.result(), longText);
}

TEST_F(CmdInfoTest, ArgumentChecksAndIntegerWords) {
  EXPECT_EQ(checkCommandArgs(tcl.interp, "load", 0, 1, 1, "FILE"), 0);
  EXPECT_EQ(tcl.result(), "load: expected FILE");
  EXPECT_EQ(checkCommandArgs(tcl.interp, "list", 1, 0, 0, ""), 0);
  EXPECT_EQ(tcl.result(), "list: expected no arguments");
  EXPECT_EQ(checkCommandArgs(tcl.interp, "load", 1, 1, 1, "FILE"), 1);
  int value = 0;
  EXPECT_EQ(parseIntWord(tcl.interp, "readBox", "ox", "0x10", &value), 1);
  EXPECT_EQ(value, 16);
  EXPECT_EQ(parseIntWord(tcl.interp, "readBox", "ox", "12abc", &value), 0);
  EXPECT_EQ(tcl.result(), "readBox: bad ox \"12abc\": expected an integer");
}

TEST_F(CmdInfoTest, ObjectAnswersItsLabelAndType) {
  UxData data;
  data.setLabel("brain.km");
  EXPECT_EQ(tcl.run(data, {"brain.km", "getLabel"}), TCL_OK);
  EXPECT_EQ(tcl.result(), "brain.km");
  EXPECT_EQ(tcl.run(data, {"brain.km", "getTypeId"}), TCL_OK);
  EXPECT_EQ(tcl.result(), "UxData");
}

TEST_F(CmdInfoTest, UnknownObjectCommandNamesEveryLevelsCommands) {
  UxData data;
  EXPECT_EQ(tcl.run(data, {"d", "explode"}), TCL_ERROR);
  EXPECT_EQ(tcl.result(),
            "unknown command \"explode\"; known: getBoundingBox, isModified, getLoadCmd, "
            "getFormatName, getLabel, setLabel, getTypeId");
  EXPECT_EQ(tcl.run(data, {"d"}), TCL_ERROR);
  EXPECT_EQ(tcl.result(), "wrong # args for \"d\"");
}

TEST_F(CmdInfoTest, ObjectCommandsCheckTheirWordCount) {
  UxData data;
  EXPECT_EQ(tcl.run(data, {"d", "setLabel"}), TCL_ERROR);
  EXPECT_EQ(tcl.result(), "setLabel: expected NEWLABEL");
  EXPECT_EQ(tcl.run(data, {"d", "getLabel", "extra"}), TCL_ERROR);
  EXPECT_EQ(tcl.result(), "getLabel: expected no arguments");
}

TEST_F(CmdInfoTest, SetLabelRenamesThroughThePoolWhenPooled) {
  UxData loose;
  EXPECT_EQ(tcl.run(loose, {"x", "setLabel", "free"}), TCL_OK);
  EXPECT_STREQ(loose.getLabel(), "free");
  UxObjectPool* pool = UxObjectPool::getThePool();
  auto* first = new UxData;
  auto* second = new UxData;
  pool->add(first, "taken");
  pool->add(second, "other");
  EXPECT_EQ(tcl.run(*second, {"other", "setLabel", "taken"}), TCL_OK);
  EXPECT_EQ(tcl.result(), "taken2");
  EXPECT_EQ(pool->find("taken2"), second);
  pool->removeAll();
}

TEST_F(CmdInfoTest, DataCommandsAnswerStateAndLoadCommand) {
  UxData data;
  data.setModified(1);
  data.setLoadCmd("/data/my file.km", 0);
  tcl.run(data, {"d", "isModified"});
  EXPECT_EQ(tcl.result(), "1");
  tcl.run(data, {"d", "getLoadCmd"});
  EXPECT_EQ(tcl.result(), "load {/data/my file.km}");
  data.setLoadCmd("create Thing", 1);
  tcl.run(data, {"d", "getLoadCmd"});
  EXPECT_EQ(tcl.result(), "create Thing");
  tcl.run(data, {"d", "getBoundingBox"});
  EXPECT_EQ(tcl.result(), "0 1 0 1 0 1");
  data.formatName = "Korin DiskData";
  tcl.run(data, {"d", "getFormatName"});
  EXPECT_EQ(tcl.result(), "Korin DiskData");
}

}  // namespace
