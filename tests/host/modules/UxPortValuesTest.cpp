// Menu and number ports: what scripts can set, what they read back, and the
// exact refusals.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "host/modules/UxModule.h"
#include "host/modules/UxPortFloatTextN.h"
#include "host/modules/UxPortIntTextN.h"
#include "host/modules/UxPortMultiMenu.h"
#include "support/ObjectCommandRunner.h"

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

// Words in order, each with its result; refused words change nothing.
TEST(PortValuesTest, WordsSetAndReadBackAsTyped) {
  ObjectCommandRunner tcl;
  ValuesModule module;
  module.compression.setNum(0, 3);
  module.compression.setLabel(0, 1, "zlib");
  module.compression.setLabel(0, 2, "lz4");
  module.compression.setLabel(0, 3, "beyond the entries");
  module.box.setValue(0, 1.0f);
  const struct {
    std::vector<std::string> words;
    int code;
    const char* result;
  } cases[] = {{{"compression", "getLabels"}, TCL_OK, "none zlib lz4"},
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
               {{"tiles", "getValue"}, TCL_OK, "128 0"}};
  for (const auto& c : cases) {
    std::vector<std::string> words = {"m"};
    words.insert(words.end(), c.words.begin(), c.words.end());
    EXPECT_EQ(tcl.run(module, words), c.code) << c.words[0] << " " << c.words[1];
    EXPECT_EQ(tcl.result(), c.result) << c.words[0] << " " << c.words[1];
  }
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
