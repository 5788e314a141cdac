// The words every data object answers, run through a real Tcl interpreter.
#include <gtest/gtest.h>

#include <string>

#include "host/objects/UxData.h"
#include "support/ObjectCommandRunner.h"

namespace {

TEST(UxDataCommands, DataObjectsAnswerTheirWords) {
  ObjectCommandRunner tcl;
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
