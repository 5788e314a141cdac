// The command helpers of host objects and the words every data object
// answers, run through a real Tcl interpreter.
#include "host/objects/UxCmdInfo.h"

#include <gtest/gtest.h>

#include <string>

#include "host/objects/UxData.h"
#include "support/ObjectCommandRunner.h"

namespace {

class CmdInfoTest : public ::testing::Test {
 protected:
  void SetUp() override { getCmdInfo().clear(); }
  ObjectCommandRunner tcl;
};

TEST_F(CmdInfoTest, ErrorsResultsAndWordChecks) {
  cmdError(tcl.interp, 1, "delta");
  EXPECT_EQ(tcl.result(), "unknown command \"delta\"");
  for (const char* name : {"alpha", "beta", "alpha", "gamma"}) getCmdInfo().append({name, nullptr});
  EXPECT_EQ(cmdError(tcl.interp, 1, "delta"), 1);
  EXPECT_EQ(tcl.result(), "unknown command \"delta\"; known: alpha, beta, gamma");
  EXPECT_EQ(cmdError(tcl.interp, 2, "createDiskData"), 1);
  EXPECT_EQ(tcl.result(), "wrong # args for \"createDiskData\"");
  EXPECT_EQ(cmdError(tcl.interp, 7, "x"), 1);
  EXPECT_EQ(tcl.result(), "command \"x\" failed");

  Tcl_SetResult(tcl.interp, const_cast<char*>("old"), TCL_STATIC);
  Tcl_VaSetResult(tcl.interp, "%s has %d samples of %.1f", "lattice", 64, 2.5);
  EXPECT_EQ(tcl.result(), "lattice has 64 samples of 2.5");
  const std::string longText(5000, 'q');
  Tcl_VaSetResult(tcl.interp, "%s", longText.c_str());
  EXPECT_EQ(tcl.result(), longText);

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

TEST_F(CmdInfoTest, DataObjectsAnswerTheirWords) {
  UxData data;
  data.setLabel("brain.km");
  data.setModified(1);
  data.setLoadCmd("/data/my file.km", 0);
  data.formatName = "Korin DiskData";
  const struct {
    std::vector<std::string> words;
    int code;
    const char* result;
  } cases[] = {{{"d", "getLabel"}, TCL_OK, "brain.km"},
               {{"d", "getTypeId"}, TCL_OK, "UxData"},
               {{"d", "isModified"}, TCL_OK, "1"},
               {{"d", "getLoadCmd"}, TCL_OK, "load {/data/my file.km}"},
               {{"d", "getBoundingBox"}, TCL_OK, "0 1 0 1 0 1"},
               {{"d", "getFormatName"}, TCL_OK, "Korin DiskData"},
               {{"d", "explode"}, TCL_ERROR, "unknown command \"explode\"; known: getBoundingBox, isModified, "
                                             "getLoadCmd, getFormatName, getLabel, setLabel, getTypeId"},
               {{"d"}, TCL_ERROR, "wrong # args for \"d\""},
               {{"d", "setLabel"}, TCL_ERROR, "setLabel: expected NEWLABEL"},
               {{"d", "getLabel", "extra"}, TCL_ERROR, "getLabel: expected no arguments"},
               {{"d", "setLabel", "free"}, TCL_OK, "free"}};
  for (const auto& c : cases) {
    EXPECT_EQ(tcl.run(data, c.words), c.code) << c.result;
    EXPECT_EQ(tcl.result(), c.result);
  }
  EXPECT_STREQ(data.getLabel(), "free");
  data.setLoadCmd("create Thing", 1);
  tcl.run(data, {"d", "getLoadCmd"});
  EXPECT_EQ(tcl.result(), "create Thing");
}

}  // namespace
