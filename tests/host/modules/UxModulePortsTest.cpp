// A module and its ports driven the way scripts drive them: words through a
// real Tcl interpreter, fire as the host's recompute; menu and number ports:
// what scripts can set, what they read back, and the exact refusals.
#include "host/modules/UxModule.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "host/modules/UxPortButtonList.h"
#include "host/modules/UxPortFilename.h"
#include "host/modules/UxPortFloatTextN.h"
#include "host/modules/UxPortIntTextN.h"
#include "host/modules/UxPortMultiMenu.h"
#include "support/ObjectCommandRunner.h"

namespace {

class ReaderModule : public UxModule {
 public:
  ReaderModule()
      : files(this, "files", UxPortFilename::MULTI_FILE), size(this, "size", 2), border(this, "border", 1),
        apply(this, "apply") {
    portData.hideMaskIncrease();
    moduleFlags &= ~TAKES_DATA_CONNECTION;
  }
  void update() override { ++updates; }
  // What compute() saw, so a test can tell what the module was told.
  void compute() override {
    seen += "size " + std::to_string(size.getIndex(0)) + (size.hasNewValue() ? " new" : "") +
            (apply.wasHit(0) ? " hit" : "") + " after " + std::to_string(updates) + " updates;";
  }

  UxPortFilename files;
  UxPortMultiMenu size;
  UxPortIntTextN border;
  UxPortDoIt apply;
  int updates = 0;
  std::string seen;
};

// Words after an object's name, and the code and result they must give.
struct Exchange {
  std::vector<std::string> words;
  int code;
  const char* result;
};

void expectExchanges(ObjectCommandRunner& tcl, UxObject& object, const std::vector<Exchange>& exchanges) {
  for (const Exchange& e : exchanges) {
    std::vector<std::string> words = {"m"};
    words.insert(words.end(), e.words.begin(), e.words.end());
    EXPECT_EQ(tcl.run(object, words), e.code) << e.words[0];
    EXPECT_EQ(tcl.result(), e.result) << e.words[0];
  }
}

class ModulePortsTest : public ::testing::Test {
 protected:
  int run(const std::vector<std::string>& words) { return tcl.run(module, words); }

  ObjectCommandRunner tcl;
  ReaderModule module;
};

// The module's and its ports' words, and the exact refusals.
TEST_F(ModulePortsTest, WordsOfTheModuleAndItsPorts) {
  module.setLabel("reader");
  expectExchanges(tcl, module, {
      {{"getPorts"}, TCL_OK, "data files size border apply"},
      {{"data", "isVisible"}, TCL_OK, "0"},
      {{"getLabel"}, TCL_OK, "reader"},
      {{"getTypeId"}, TCL_OK, "UxModule"},
      {{"apply", "getLabel"}, TCL_OK, "Apply"},
      {{"bogus"}, TCL_ERROR,
       "unknown command \"bogus\"; known: getPorts, fire, data, files, size, border, apply, getLabel, "
       "setLabel, getTypeId"},
      {{"apply", "bogus"}, TCL_ERROR, "unknown command \"bogus\"; known: hit, wasHit, getLabel, isVisible, isNew"},
      {{"size"}, TCL_ERROR, "wrong # args for \"size\""},
      {{"fire", "now"}, TCL_ERROR, "fire: expected no arguments"},
      {{"apply", "hit", "1"}, TCL_ERROR, "hit: bad button \"1\": expected 0..0"},
      {{"apply", "hit", "first"}, TCL_ERROR, "hit: bad button \"first\": expected an integer"},
      {{"apply", "hit"}, TCL_ERROR, "hit: expected N"}
  });
  EXPECT_FALSE(module.apply.hasNewValue()) << "failed presses change nothing";
  EXPECT_EQ(module.findPort("size"), &module.size);
  EXPECT_EQ(module.findPort("nothing"), nullptr);
}

// Values set by words are new until the module has computed once after its
// update; values set by code are not.
TEST_F(ModulePortsTest, FireComputesOnceAfterUpdateAndThenForgetsWhatWasNew) {
  module.size.setIndex(1);
  module.border.setValue(0, 3);
  module.files.setFilename("/nowhere/a.raw");
  for (UxPort* port : {static_cast<UxPort*>(&module.size), static_cast<UxPort*>(&module.border),
                       static_cast<UxPort*>(&module.files)})
    EXPECT_FALSE(port->hasNewValue()) << port->getName();
  ASSERT_EQ(run({"reader", "size", "setIndex", "0"}), TCL_OK);
  ASSERT_EQ(run({"reader", "apply", "hit", "0"}), TCL_OK);
  ASSERT_EQ(run({"reader", "apply", "wasHit", "0"}), TCL_OK);
  EXPECT_EQ(tcl.result(), "1");
  ASSERT_EQ(run({"reader", "apply", "isNew"}), TCL_OK);
  EXPECT_EQ(tcl.result(), "1") << "a press is the button port's new value";
  ASSERT_EQ(run({"reader", "fire"}), TCL_OK);
  for (int i = 0; i < module.numPorts(); ++i)
    EXPECT_FALSE(module.getPort(i)->hasNewValue()) << module.getPort(i)->getName();
  ASSERT_EQ(run({"reader", "fire"}), TCL_OK);
  EXPECT_EQ(module.seen, "size 0 new hit after 1 updates;size 0 after 2 updates;");
  module.border.setValue(0, 4);
  ASSERT_EQ(run({"reader", "border", "setValue", "4"}), TCL_OK);
  EXPECT_TRUE(module.border.hasNewValue());
  module.border.untouch();
  EXPECT_FALSE(module.border.hasNewValue());
}

// Hiding is counted, and a show too many banks no credit; only existing
// buttons are labelled and pressed; ports removed before the module leave its
// list, a port outliving its module does not reach back (ASan would see it),
// and ports of a plain object belong to none.
TEST_F(ModulePortsTest, HidingButtonsAndPortLifetimes) {
  module.portData.hideMaskIncrease();
  module.portData.showMaskDecrease();
  EXPECT_FALSE(module.portData.isVisible()) << "the module's own hide is still in force";
  module.portData.showMaskDecrease();
  EXPECT_TRUE(module.portData.isVisible());
  module.portData.showMaskDecrease();
  module.portData.hideMaskIncrease();
  EXPECT_FALSE(module.portData.isVisible()) << "a show too many must not bank credit";
  {
    UxPortButtonList list(&module, "actions", 3);
    EXPECT_EQ(module.numPorts(), 6);
    list.setLabel(2, "Reset");
    list.hit(7);
    EXPECT_FALSE(list.hasNewValue());
    list.hit(2);
    EXPECT_TRUE(list.wasHit(2) && !list.wasHit(0));
    ASSERT_EQ(run({"reader", "actions", "getLabel", "2"}), TCL_OK);
    EXPECT_EQ(tcl.result(), "Reset");
  }
  ASSERT_EQ(run({"reader", "getPorts"}), TCL_OK);
  EXPECT_EQ(tcl.result(), "data files size border apply");
  EXPECT_EQ(run({"reader", "actions", "getLabel", "2"}), TCL_ERROR);
  auto gone = std::make_unique<UxModule>();
  auto late = std::make_unique<UxPort>(gone.get(), "late");
  gone.reset();
  late.reset();
  UxObject object;
  UxPortMultiMenu menu(&object, "menu", 2);
  EXPECT_EQ(menu.getOwner(), &object);
  menu.setIndex(1);
  EXPECT_EQ(menu.getIndex(0), 1);
}

// Menu and number ports.

class ValuesModule : public UxModule {
 public:
  ValuesModule() : compression(this, "compression", 1), box(this, "box", 3), tiles(this, "tiles", 2) {
    compression.setLabel(0, 0, "none");
  }
  UxPortMultiMenu compression;
  UxPortFloatTextN box;
  UxPortIntTextN tiles;
};

// Words in order, each with its result; refused words change nothing.
TEST(PortValuesTest, WordsSetAndReadBackAsTyped) {
  ObjectCommandRunner tcl;
  ValuesModule module;
  module.compression.setNum(0, 3);
  module.compression.setLabel(0, 1, "zlib");
  module.compression.setLabel(0, 2, "lz4");
  module.compression.setLabel(0, 3, "beyond the entries");
  module.box.setValue(0, 1.0f);
  expectExchanges(tcl, module, {
      {{"compression", "getLabels"}, TCL_OK, "none zlib lz4"},
      {{"compression", "setIndex", "zlib"}, TCL_ERROR, "setIndex: bad index \"zlib\": expected an integer"},
      {{"compression", "setValue", "-1"}, TCL_ERROR, "setValue: bad index \"-1\": expected 0 or more"},
      {{"compression", "setIndex"}, TCL_ERROR, "setIndex: expected N"},
      {{"compression", "getLabel", "x"}, TCL_ERROR, "getLabel: bad entry \"x\": expected an integer"},
      {{"compression", "isNew"}, TCL_OK, "0"},
      {{"compression", "setValue", "5"}, TCL_OK, ""},  // beyond the entries: kept, with no label
      {{"compression", "getValue"}, TCL_OK, "5"},
      {{"compression", "getLabel"}, TCL_OK, ""},
      {{"compression", "getLabel", "2"}, TCL_OK, "lz4"},
      {{"compression", "isNew"}, TCL_OK, "1"},
      {{"compression", "setIndex", "1"}, TCL_OK, ""},
      {{"compression", "getLabel"}, TCL_OK, "zlib"},
      {{"box", "setValue", "5", "five"}, TCL_ERROR, "setValue: bad value \"five\": expected a number"},
      {{"box", "setValue", "1e39"}, TCL_ERROR, "setValue: bad value \"1e39\": out of range"},
      {{"box", "setValue", "1", "2", "3", "4"}, TCL_ERROR, "setValue: expected at most 3 values"},
      {{"box", "setValue"}, TCL_ERROR, "setValue: expected V ?V ...?"},
      {{"box", "getValue", "3"}, TCL_ERROR, "getValue: bad field \"3\": expected 0..2"},
      {{"box", "isNew"}, TCL_OK, "0"},
      {{"box", "getValue"}, TCL_OK, "1 0 0"},
      {{"box", "setValue", "0.1", "-2.5"}, TCL_OK, ""},  // from the first field on
      {{"box", "getValue"}, TCL_OK, "0.1 -2.5 0"},
      {{"box", "getValue", "1"}, TCL_OK, "-2.5"},
      {{"tiles", "setValue", "128"}, TCL_OK, ""},
      {{"tiles", "setValue", "1.5"}, TCL_ERROR, "setValue: bad value \"1.5\": expected an integer"},
      {{"tiles", "getValue"}, TCL_OK, "128 0"}
  });
  EXPECT_FLOAT_EQ(module.box.getValue(0), 0.1f);
}

// From code: a menu beyond the last brings the ones before it, each keeping
// its own index; integer fields round.
TEST(PortValuesTest, SettersFromCode) {
  ValuesModule module;
  UxPortMultiMenu& menu = module.compression;
  menu.setNum(2, 4);
  menu.setIndex(2, 3);
  EXPECT_EQ((std::vector<int>{menu.numMenus(), menu.getNum(1), menu.getNum(2), menu.getIndex(2), menu.getIndex(0)}),
            (std::vector<int>{3, 0, 4, 3, 0}));
  module.tiles.setValue(0, 2.5f);
  module.tiles.setValue(1, -2.5f);
  EXPECT_EQ((std::vector<int>{module.tiles.getValue(0), module.tiles.getValue(1)}), (std::vector<int>{3, -3}));
}

}  // namespace
