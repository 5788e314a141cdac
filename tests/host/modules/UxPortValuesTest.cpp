// Menu and number ports: what scripts can set, what they read back, and the
// exact refusals.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/ObjectCommandRunner.h"
#include "host/modules/UxModule.h"
#include "host/modules/UxPortFloatTextN.h"
#include "host/modules/UxPortIntTextN.h"
#include "host/modules/UxPortMultiMenu.h"

namespace {

class ValuesModule : public UxModule {
 public:
  ValuesModule() : compression(this, "compression", 1), box(this, "box", 3), tiles(this, "tiles", 2) {
    compression.setLabel(0, 0, "none");
  }
  UxPortMultiMenu compression;
  UxPortFloatTextN box;
  UxPortIntTextN tiles;
};

class PortValuesTest : public ::testing::Test {
 protected:
  int run(const std::vector<std::string>& words) { return tcl.run(module, words); }
  std::string result() const { return tcl.result(); }

  ObjectCommandRunner tcl;
  ValuesModule module;
};

TEST_F(PortValuesTest, MenuKeepsAnIndexBeyondItsEntriesWithAnEmptyLabel) {
  module.compression.setIndex(1);
  EXPECT_EQ(module.compression.getIndex(0), 1);
  EXPECT_STREQ(module.compression.getLabel(0, 1), "");
  EXPECT_STREQ(module.compression.getLabel(0, 0), "none");
  ASSERT_EQ(run({"m", "compression", "getLabel"}), TCL_OK);
  EXPECT_EQ(result(), "");
  ASSERT_EQ(run({"m", "compression", "getLabel", "0"}), TCL_OK);
  EXPECT_EQ(result(), "none");
}

TEST_F(PortValuesTest, MenuEntriesGrowAndShrinkWithSetNum) {
  UxPortMultiMenu& menu = module.compression;
  menu.setNum(0, 3);
  menu.setLabel(0, 1, "zlib");
  menu.setLabel(0, 2, "lz4");
  menu.setLabel(0, 3, "beyond the entries");
  ASSERT_EQ(run({"m", "compression", "getLabels"}), TCL_OK);
  EXPECT_EQ(result(), "none zlib lz4");
  menu.setNum(0, 2);
  EXPECT_EQ(menu.getNum(0), 2);
  EXPECT_STREQ(menu.getLabel(0, 2), "");

  menu.setNum(2, 4);  // a menu beyond the last brings the ones before it
  EXPECT_EQ(menu.numMenus(), 3);
  EXPECT_EQ(menu.getNum(1), 0);
  EXPECT_EQ(menu.getNum(2), 4);
  menu.setIndex(2, 3);
  EXPECT_EQ(menu.getIndex(2), 3);
  EXPECT_EQ(menu.getIndex(0), 0) << "the other menus keep their own index";
  EXPECT_EQ(menu.getNum(7), 0);
  EXPECT_EQ(menu.getIndex(-1), 0);
  EXPECT_STREQ(menu.getLabel(9, 0), "");
}

TEST_F(PortValuesTest, MenuSetValueIsSetIndexAndMarksTheChange) {
  ASSERT_EQ(run({"m", "compression", "setValue", "2"}), TCL_OK);
  ASSERT_EQ(run({"m", "compression", "getValue"}), TCL_OK);
  EXPECT_EQ(result(), "2");
  EXPECT_TRUE(module.compression.hasNewValue());
  ASSERT_EQ(run({"m", "compression", "setIndex", "0"}), TCL_OK);
  EXPECT_EQ(module.compression.getIndex(0), 0);
}

TEST_F(PortValuesTest, MenuRefusesWordsThatAreNoIndex) {
  EXPECT_EQ(run({"m", "compression", "setIndex", "zlib"}), TCL_ERROR);
  EXPECT_EQ(result(), "setIndex: bad index \"zlib\": expected an integer");
  EXPECT_EQ(run({"m", "compression", "setValue", "-1"}), TCL_ERROR);
  EXPECT_EQ(result(), "setValue: bad index \"-1\": expected 0 or more");
  EXPECT_EQ(run({"m", "compression", "setIndex"}), TCL_ERROR);
  EXPECT_EQ(result(), "setIndex: expected N");
  EXPECT_EQ(run({"m", "compression", "getLabel", "x"}), TCL_ERROR);
  EXPECT_EQ(result(), "getLabel: bad entry \"x\": expected an integer");
  EXPECT_FALSE(module.compression.hasNewValue());
}

TEST_F(PortValuesTest, NumberFieldsAreSetFromTheFirstOnAndReadBackAsTyped) {
  ASSERT_EQ(run({"m", "box", "setValue", "0.1", "-2.5"}), TCL_OK);
  ASSERT_EQ(run({"m", "box", "getValue"}), TCL_OK);
  EXPECT_EQ(result(), "0.1 -2.5 0");
  ASSERT_EQ(run({"m", "box", "getValue", "1"}), TCL_OK);
  EXPECT_EQ(result(), "-2.5");
  EXPECT_FLOAT_EQ(module.box.getValue(0), 0.1f);
  EXPECT_EQ(module.box.getValue(7), 0.0f);
  module.box.setValue(7, 9.0f);  // a missing field is no error for code
  EXPECT_EQ(module.box.getNum(), 3);
}

TEST_F(PortValuesTest, ABadNumberChangesNoField) {
  module.box.setValue(0, 1.0f);
  EXPECT_EQ(run({"m", "box", "setValue", "5", "five"}), TCL_ERROR);
  EXPECT_EQ(result(), "setValue: bad value \"five\": expected a number");
  EXPECT_EQ(module.box.getValue(0), 1.0f);
  EXPECT_EQ(run({"m", "box", "setValue", "1e39"}), TCL_ERROR);
  EXPECT_EQ(result(), "setValue: bad value \"1e39\": out of range");
  EXPECT_EQ(run({"m", "box", "setValue", "1", "2", "3", "4"}), TCL_ERROR);
  EXPECT_EQ(result(), "setValue: expected at most 3 values");
  EXPECT_EQ(run({"m", "box", "setValue"}), TCL_ERROR);
  EXPECT_EQ(result(), "setValue: expected V ?V ...?");
  EXPECT_EQ(run({"m", "box", "getValue", "3"}), TCL_ERROR);
  EXPECT_EQ(result(), "getValue: bad field \"3\": expected 0..2");
  EXPECT_FALSE(module.box.hasNewValue());
}

TEST_F(PortValuesTest, IntegerFieldsRoundAndTakeOnlyIntegers) {
  module.tiles.setValue(0, 2.5f);
  module.tiles.setValue(1, -2.5f);
  EXPECT_EQ(module.tiles.getValue(0), 3);
  EXPECT_EQ(module.tiles.getValue(1), -3);
  ASSERT_EQ(run({"m", "tiles", "getValue"}), TCL_OK);
  EXPECT_EQ(result(), "3 -3");
  module.tiles.setValue(1, 64);
  EXPECT_EQ(module.tiles.getValue(1), 64);

  ASSERT_EQ(run({"m", "tiles", "setValue", "128"}), TCL_OK);
  EXPECT_EQ(module.tiles.getValue(0), 128);
  EXPECT_EQ(run({"m", "tiles", "setValue", "1.5"}), TCL_ERROR);
  EXPECT_EQ(result(), "setValue: bad value \"1.5\": expected an integer");
  EXPECT_EQ(module.tiles.getValue(0), 128);
}

}  // namespace
