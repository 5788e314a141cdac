// A module and its ports driven the way scripts drive them: words through a
// real Tcl interpreter, fire as the host's recompute.
#include "host/modules/UxModule.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "support/ObjectCommandRunner.h"
#include "host/types/TbTypeInfo.h"
#include "host/modules/UxPortButtonList.h"
#include "host/modules/UxPortFilename.h"
#include "host/modules/UxPortIntTextN.h"
#include "host/modules/UxPortMultiMenu.h"

namespace {

// What compute() saw, so a test can tell what the module was told.
struct ComputeRecord {
  int updates = 0;
  int computes = 0;
  bool sizeWasNew = false;
  bool applyWasHit = false;
  int sizeSeen = -1;
};

class ReaderModule : public UxModule {
 public:
  ReaderModule() : files(this, "files", UxPortFilename::MULTI_FILE), size(this, "size", 2),
                   border(this, "border", 1), apply(this, "apply") {
    portData.hideMaskIncrease();
    moduleFlags &= ~TAKES_DATA_CONNECTION;
    size.setLabel(0, 0, "64");
    size.setLabel(0, 1, "128");
  }
  void update() override { ++record.updates; }
  void compute() override {
    record.sizeWasNew = size.hasNewValue();
    record.applyWasHit = apply.wasHit(0);
    record.sizeSeen = size.getIndex(0);
    if (record.updates > record.computes) ++record.computes;
  }

  UxPortFilename files;
  UxPortMultiMenu size;
  UxPortIntTextN border;
  UxPortDoIt apply;
  ComputeRecord record;
};

class ModulePortsTest : public ::testing::Test {
 protected:
  int run(const std::vector<std::string>& words) { return tcl.run(module, words); }
  std::string result() const { return tcl.result(); }

  ObjectCommandRunner tcl;
  ReaderModule module;
};

TEST(ModuleTypeTest, IsAnObjectWithoutAFactoryAndTakesDataByDefault) {
  TbTypeInfo* type = UxModule::getClassTypeId();
  EXPECT_STREQ(type->getName(), "UxModule");
  EXPECT_EQ(type->getParent(), UxObject::getClassTypeId());
  EXPECT_EQ(type->createInstance(), nullptr);
  EXPECT_EQ(TbTypeInfo::fromName("UxModule"), type);

  UxModule plain;
  EXPECT_EQ(plain.getTypeId(), type);
  EXPECT_EQ(plain.moduleFlags & 4u, 4u);
  EXPECT_EQ(plain.numPorts(), 1);
  EXPECT_STREQ(plain.portData.getName(), "data");
  EXPECT_TRUE(plain.portData.isVisible());
  EXPECT_EQ(plain.getInterfaceOwner(), nullptr);
}

TEST_F(ModulePortsTest, PortsAreListedInTheOrderTheyWereMade) {
  ASSERT_EQ(run({"reader", "getPorts"}), TCL_OK);
  EXPECT_EQ(result(), "data files size border apply");
  EXPECT_EQ(module.findPort("size"), &module.size);
  EXPECT_EQ(module.findPort("nothing"), nullptr);
  EXPECT_EQ(module.moduleFlags & UxModule::TAKES_DATA_CONNECTION, 0u);
}

TEST_F(ModulePortsTest, HidingIsCountedAndExtraShowsAreIgnored) {
  EXPECT_FALSE(module.portData.isVisible());
  module.portData.hideMaskIncrease();
  module.portData.showMaskDecrease();
  EXPECT_FALSE(module.portData.isVisible()) << "one hide is still in force";
  module.portData.showMaskDecrease();
  EXPECT_TRUE(module.portData.isVisible());
  module.portData.showMaskDecrease();
  module.portData.hideMaskIncrease();
  EXPECT_FALSE(module.portData.isVisible()) << "a show too many must not bank credit";
  ASSERT_EQ(run({"reader", "data", "isVisible"}), TCL_OK);
  EXPECT_EQ(result(), "0");
}

TEST_F(ModulePortsTest, PortsRemovedBeforeTheModuleLeaveItsList) {
  auto extra = std::make_unique<UxPortMultiMenu>(&module, "extra", 1);
  EXPECT_EQ(module.numPorts(), 6);
  extra.reset();
  ASSERT_EQ(run({"reader", "getPorts"}), TCL_OK);
  EXPECT_EQ(result(), "data files size border apply");
  EXPECT_EQ(run({"reader", "extra", "getValue"}), TCL_ERROR);
}

TEST(ModuleLifetimeTest, APortOutlivingItsModuleDoesNotReachBack) {
  auto module = std::make_unique<UxModule>();
  auto late = std::make_unique<UxPort>(module.get(), "late");
  module.reset();
  late.reset();  // under ASan a use of the gone module would show here
  SUCCEED();
}

TEST(ModuleLifetimeTest, PortsOfAPlainObjectBelongToNoModule) {
  UxObject object;
  UxPortMultiMenu menu(&object, "menu", 2);
  EXPECT_EQ(menu.getOwner(), &object);
  menu.setIndex(1);
  EXPECT_EQ(menu.getIndex(0), 1);
}

TEST_F(ModulePortsTest, FireComputesOnceAfterUpdateAndThenForgetsWhatWasNew) {
  ASSERT_EQ(run({"reader", "size", "setIndex", "1"}), TCL_OK);
  ASSERT_EQ(run({"reader", "apply", "hit", "0"}), TCL_OK);
  EXPECT_TRUE(module.size.hasNewValue());
  EXPECT_TRUE(module.apply.hasNewValue()) << "a press is the button port's new value";
  ASSERT_EQ(run({"reader", "apply", "wasHit", "0"}), TCL_OK);
  EXPECT_EQ(result(), "1");

  ASSERT_EQ(run({"reader", "fire"}), TCL_OK);
  EXPECT_EQ(module.record.updates, 1);
  EXPECT_EQ(module.record.computes, 1);
  EXPECT_TRUE(module.record.sizeWasNew);
  EXPECT_TRUE(module.record.applyWasHit);
  EXPECT_EQ(module.record.sizeSeen, 1);
  for (int i = 0; i < module.numPorts(); ++i)
    EXPECT_FALSE(module.getPort(i)->hasNewValue()) << module.getPort(i)->getName();
  EXPECT_FALSE(module.apply.wasHit(0));

  ASSERT_EQ(run({"reader", "fire"}), TCL_OK);
  EXPECT_FALSE(module.record.sizeWasNew);
  EXPECT_FALSE(module.record.applyWasHit);
  EXPECT_EQ(module.record.computes, 2);
}

TEST_F(ModulePortsTest, SettersFromCodeDoNotMarkANewValue) {
  module.size.setIndex(1);
  module.border.setValue(0, 3);
  module.files.setFilename("/nowhere/a.raw");
  EXPECT_FALSE(module.size.hasNewValue());
  EXPECT_FALSE(module.border.hasNewValue());
  EXPECT_FALSE(module.files.hasNewValue());
  ASSERT_EQ(run({"reader", "border", "setValue", "4"}), TCL_OK);
  EXPECT_TRUE(module.border.hasNewValue());
  ASSERT_EQ(run({"reader", "border", "isNew"}), TCL_OK);
  EXPECT_EQ(result(), "1");
  module.border.untouch();
  EXPECT_FALSE(module.border.hasNewValue());
}

TEST_F(ModulePortsTest, UnknownWordsListWhatTheModuleOrPortOffers) {
  EXPECT_EQ(run({"reader", "bogus"}), TCL_ERROR);
  EXPECT_EQ(result(),
            "unknown command \"bogus\"; known: getPorts, fire, data, files, size, border, apply, "
            "getLabel, setLabel, getTypeId");
  EXPECT_EQ(run({"reader", "apply", "bogus"}), TCL_ERROR);
  EXPECT_EQ(result(), "unknown command \"bogus\"; known: hit, wasHit, getLabel, isVisible, isNew");
  EXPECT_EQ(run({"reader", "size"}), TCL_ERROR);
  EXPECT_EQ(result(), "wrong # args for \"size\"");
  EXPECT_EQ(run({"reader", "fire", "now"}), TCL_ERROR);
  EXPECT_EQ(result(), "fire: expected no arguments");
}

TEST_F(ModulePortsTest, ObjectWordsStillReachTheObject) {
  module.setLabel("reader");
  ASSERT_EQ(run({"reader", "getLabel"}), TCL_OK);
  EXPECT_EQ(result(), "reader");
  ASSERT_EQ(run({"reader", "getTypeId"}), TCL_OK);
  EXPECT_EQ(result(), "UxModule");
}

TEST_F(ModulePortsTest, ButtonsAreLabelledAndOnlyExistingOnesCanBePressed) {
  EXPECT_EQ(module.apply.getNum(), 1);
  EXPECT_STREQ(module.apply.getLabel(0), "Apply");
  EXPECT_STREQ(module.apply.getLabel(3), "");
  ASSERT_EQ(run({"reader", "apply", "getLabel"}), TCL_OK);
  EXPECT_EQ(result(), "Apply");
  EXPECT_EQ(run({"reader", "apply", "hit", "1"}), TCL_ERROR);
  EXPECT_EQ(result(), "hit: bad button \"1\": expected 0..0");
  EXPECT_EQ(run({"reader", "apply", "hit", "first"}), TCL_ERROR);
  EXPECT_EQ(result(), "hit: bad button \"first\": expected an integer");
  EXPECT_EQ(run({"reader", "apply", "hit"}), TCL_ERROR);
  EXPECT_EQ(result(), "hit: expected N");
  EXPECT_FALSE(module.apply.hasNewValue()) << "failed presses change nothing";

  UxPortButtonList list(&module, "actions", 3);
  list.setLabel(2, "Reset");
  list.setLabel(5, "ignored");
  list.hit(7);
  EXPECT_FALSE(list.hasNewValue());
  list.hit(2);
  EXPECT_TRUE(list.wasHit(2));
  EXPECT_FALSE(list.wasHit(0));
  ASSERT_EQ(run({"reader", "actions", "getLabel", "2"}), TCL_OK);
  EXPECT_EQ(result(), "Reset");
}

}  // namespace
