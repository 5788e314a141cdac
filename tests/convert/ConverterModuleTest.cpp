// The converter as a module: its ports and their first values, the output
// name it keeps in step with the chosen format, the forceKorin311Format
// command, and the button that converts from the ports and loads the result.
#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <vector>

#include "ConvertTestSupport.h"
#include "host/objects/UxObjectPool.h"

namespace {

using namespace convert_test;

class ConverterModule : public ConvertTest {
 protected:
  std::string outputTypes() const {
    std::string types;
    for (int i = 0; i < module.output.numFileTypes(); ++i)
      types += std::string(module.output.fileTypeLabel(i)) + "/" + module.output.fileTypeExtension(i) + ";";
    return types;
  }
};

// A new module as a script reads it.
TEST_F(ConverterModule, ANewModulesPortsAndValues) {
  const struct {
    Words command;
    const char* result;
  } reads[] = {{{"getPorts"}, "data inputs output tileSize borderSize compression samplingType doIt"},
               {{"data", "isVisible"}, "0"},
               {{"inputs", "getValue"}, ""},
               {{"output", "getValue"}, ""},
               {{"tileSize", "getLabels"}, "32 64 128 256"},
               {{"compression", "getLabels"}, "None zlib zstd lz4 blosc"},
               {{"samplingType", "getLabels"}, "Sharp Average"},
               {{"doIt", "getLabel"}, "CreateDiskData"}};
  for (const auto& r : reads) EXPECT_EQ(run(r.command).result, r.result) << r.command[0];
  EXPECT_EQ(module.moduleFlags & UxModule::TAKES_DATA_CONNECTION, 0u);
  EXPECT_EQ(module.output.getMode(), UxPortFilename::ANY_FILE);
  EXPECT_EQ(outputTypes(), "Korin Large Data Access/lda;");
  EXPECT_EQ(console.lines, Lines{});
}

// Any number but 0 forces disk data, which the output port then offers; the
// command takes exactly one value.
TEST_F(ConverterModule, ForceKorin311Format) {
  const Lines usage = {"Usage: forceKorin311Format [value]", "Supported values:", "0 = Disable (Default)",
                       "1 = Enable"};
  const struct {
    Words values;
    bool forced;
  } cases[] = {{{"1"}, true}, {{"abc"}, false}, {{"2"}, true}, {{"0"}, false},
               {{"-1"}, true}, {{""}, false},   {{}, false},   {{"1", "0"}, false}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.values.empty() ? "no value" : c.values[0] + " of " + std::to_string(c.values.size()));
    console.lines.clear();
    EXPECT_EQ(run(Words{"forceKorin311Format"} + c.values).code, c.values.size() == 1 ? TCL_OK : TCL_ERROR);
    EXPECT_EQ(console.lines, c.values.size() == 1 ? Lines{} : usage);
    EXPECT_EQ(module.force311Format, c.forced);
    EXPECT_EQ(outputTypes(), c.forced ? "DiskData/km;" : "Korin Large Data Access/lda;");
  }
}

// A name the user sets gets the extension of the format; a name set by code
// is left as it is.
TEST_F(ConverterModule, ANewOutputNameGetsTheExtensionOfTheFormat) {
  const struct {
    const char* forced;
    const char* given;
    const char* named;
  } cases[] = {{"0", "/x/name.lda", "/x/name.lda"}, {"0", "/x/name", "/x/name.lda"},
               {"0", "/x/name.raw", "/x/name.lda"}, {"0", "/x.d/name", "/x.d/name.lda"},
               {"1", "/x/name.lda", "/x/name.km"},  {"1", "/x/other", "/x/other.km"},
               {"0", "/x/name.km", "/x/name.lda"},  {"0", "", ""}};
  for (const auto& c : cases) {
    ASSERT_EQ(run({"forceKorin311Format", c.forced}).code, TCL_OK);
    ASSERT_EQ(run({"output", "setValue", c.given}).code, TCL_OK);
    module.fire();
    EXPECT_STREQ(module.output.getFilename(), c.named) << c.given;
  }
  EXPECT_EQ(module.output.getNum(), 0);
  module.output.setFilename("/x/kept.raw");
  module.fire();
  EXPECT_STREQ(module.output.getFilename(), "/x/kept.raw");
}

// The button: a conversion from the ports, and the result in the object pool.

const Words kDescription = {"-dims", "12", "10", "7", "-ptype", "uint16", "-header", "12", "-endianess", "big",
                            "-bbox", "0", "1", "0", "2", "0", "3"};

class ConverterButton : public ConverterModule {
 protected:
  void SetUp() override {
    writeRaw(input, volume, 12, true);
    module.inputs.setFilename(input.c_str());
    module.output.setFilename(dir.file("vol").c_str());
  }
  // Presses the button and runs the module; how many objects the pool gained.
  unsigned long press() {
    const unsigned long before = pool->getAdditionCount();
    EXPECT_EQ(run({"doIt", "hit", "0"}).code, TCL_OK);
    EXPECT_EQ(run({"fire"}).code, TCL_OK);
    return pool->getAdditionCount() - before;
  }

  UxObjectPool* pool = UxObjectPool::getThePool();
  const std::string input = dir.file("vol.raw");
  const ReferenceVolume<uint16_t> volume = testVolume<uint16_t>(12, 10, 7);
};

TEST_F(ConverterButton, ConvertsFromThePortsAndLoadsTheResult) {
  for (const char* forced : {"0", "1"}) {
    SCOPED_TRACE(forced);
    ASSERT_EQ(run({"forceKorin311Format", forced}).code, TCL_OK);
    UxBatchAnswers::push(UxBatchAnswers::RAW, kDescription);
    ASSERT_EQ(press(), 1u);
    auto* loaded = dynamic_cast<UxDiskData*>(pool->getNewest());
    ASSERT_NE(loaded, nullptr);
    const std::string name = *forced == '1' ? "vol.km" : "vol.lda";
    EXPECT_STREQ(pool->nameOf(loaded), name.c_str());
    EXPECT_STREQ(module.output.getFilename(), dir.file(name).c_str());
    StoredSet set(loaded);
    expectHolds(set, volume);
    EXPECT_FALSE(module.doIt.wasHit(0));
  }
}

// A failed, cancelled or unfinished conversion loads nothing; the button
// loads the output for every result above 0, an unknown one included.
TEST_F(ConverterButton, ALoadFollowsOnlyAConversionThatSucceeded) {
  const int kNoTiled = 99;
  const std::string dialog = "raw data dialog: 1 file, 1692 bytes", cancelled = "answer: cancel (script)",
                    described = "answer: -dims 12 10 7 -ptype uint16 -ndatavar 1 -header 12 -endianess big "
                                "-bbox 0 1 0 2 0 3 (script)";
  const struct {
    int tiled;
    bool cancel;
    const char* output;
    const char* inputs;
    Lines messages;
  } cases[] = {{kNoTiled, true, "vol", "vol.raw", {dialog, cancelled, "Error converting files"}},
               {-1, false, "vol", "vol.raw", {dialog, described, "Conversion canceled"}},
               {1, true, "vol", "vol.raw", {dialog, cancelled}},
               {5, false, "vol", "vol.raw", {dialog, described, "Unknown Error", "load: cannot read " + dir.file("vol.lda")}},
               {kNoTiled, false, "", "vol.raw", {"please specify output"}},
               {kNoTiled, false, "vol", "", {"please specify input and output"}}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.messages.back());
    console.lines.clear();
    std::optional<TiledDouble> tiled;
    if (c.tiled != kNoTiled) tiled.emplace(c.tiled);
    module.output.setFilename(*c.output ? dir.file(c.output).c_str() : "");
    module.inputs.setFilename(*c.inputs ? dir.file(c.inputs).c_str() : "");
    UxBatchAnswers::push(UxBatchAnswers::RAW, c.cancel ? Words{"cancel"} : kDescription);
    EXPECT_EQ(press(), 0u);
    EXPECT_EQ(console.lines, c.messages);
    EXPECT_EQ(madeFiles({input}), std::set<std::string>{});
    UxBatchAnswers::clear();
  }
}

}  // namespace
