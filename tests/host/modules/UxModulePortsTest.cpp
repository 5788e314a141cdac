// A module and its ports driven the way scripts drive them, words through a
// real Tcl interpreter; menu and number ports: what scripts can set, what they
// read back, and the exact refusals.
#include "host/modules/UxModule.h"

#include <gtest/gtest.h>

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
  }

  UxPortFilename files;
  UxPortMultiMenu size;
  UxPortIntTextN border;
  UxPortDoIt apply;
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

// The module's and its ports' words, and the exact refusals.
TEST(ModulePortsTest, WordsOfTheModuleAndItsPorts) {
  ObjectCommandRunner tcl;
  ReaderModule module;
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
      {{"apply", "hit"}, TCL_ERROR, "hit: expected N"},
      {{"apply", "isNew"}, TCL_OK, "0"},  // failed presses change nothing
      {{"apply", "hit", "0"}, TCL_OK, ""},
      {{"apply", "isNew"}, TCL_OK, "1"}
  });
  EXPECT_EQ(module.findPort("size"), &module.size);
  EXPECT_EQ(module.findPort("nothing"), nullptr);
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
      {{"box", "isNew"}, TCL_OK, "1"},
      {{"tiles", "setValue", "128"}, TCL_OK, ""},
      {{"tiles", "setValue", "1.5"}, TCL_ERROR, "setValue: bad value \"1.5\": expected an integer"},
      {{"tiles", "getValue"}, TCL_OK, "128 0"}
  });
  EXPECT_FLOAT_EQ(module.box.getValue(0), 0.1f);
}

}  // namespace
