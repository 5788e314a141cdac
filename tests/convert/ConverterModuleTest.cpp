// The converter as a module: its ports and their first values, the output
// name it keeps in step with the chosen format, the forceKorin311Format
// command, and the button that converts from the ports and loads the result.
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "ConvertTestSupport.h"
#include "host/types/TbTypeInfo.h"
#include "host/objects/UxObjectPool.h"
#include "support/ConsoleCapture.h"
#include "support/TempDir.h"

namespace {

using namespace convert_test;

class ConverterModule : public ::testing::Test {
 protected:
  std::vector<std::string> labels(const UxPortMultiMenu& menu) const {
    std::vector<std::string> all;
    for (int i = 0; i < menu.getNum(0); ++i) all.push_back(menu.getLabel(0, i));
    return all;
  }
  std::vector<std::string> outputTypes() const {
    std::vector<std::string> types;
    for (int i = 0; i < module.output.numFileTypes(); ++i)
      types.push_back(std::string(module.output.fileTypeLabel(i)) + "/" + module.output.fileTypeExtension(i));
    return types;
  }
  // The output name as the user sets it (marked new), then the module runs.
  std::string afterSettingOutput(const std::string& name) {
    EXPECT_EQ(tcl.run(module, {"output", "setValue", name}).code, TCL_OK);
    EXPECT_TRUE(module.output.hasNewValue());
    module.fire();
    return module.output.getFilename();
  }

  TempDir dir;
  UxConvertToDiskData module;
  Interpreter tcl;
  ConsoleCapture console;
};

TEST_F(ConverterModule, ANewModulesPortsAndValues) {
  EXPECT_STREQ(module.getTypeId()->getName(), "UxConvertToDiskData");
  std::unique_ptr<TbTypedObject> made(UxConvertToDiskData::getClassTypeId()->createInstance());
  EXPECT_NE(dynamic_cast<UxConvertToDiskData*>(made.get()), nullptr);

  EXPECT_EQ(tcl.run(module, {"getPorts"}).result, "data inputs output tileSize borderSize compression samplingType doIt");
  EXPECT_FALSE(module.portData.isVisible());
  EXPECT_EQ(module.moduleFlags & UxModule::TAKES_DATA_CONNECTION, 0u);
  EXPECT_EQ(module.inputs.getMode(), UxPortFilename::MULTI_FILE);
  EXPECT_EQ(module.output.getMode(), UxPortFilename::ANY_FILE);
  EXPECT_EQ(module.inputs.getNum(), 0);
  EXPECT_EQ(module.output.getNum(), 0);

  EXPECT_EQ(labels(module.tileSize), (std::vector<std::string>{"32", "64", "128", "256"}));
  EXPECT_EQ(module.tileSize.getIndex(0), 2);
  EXPECT_STREQ(module.tileSize.getLabel(0, module.tileSize.getIndex(0)), "128");
  EXPECT_EQ(module.borderSize.getNum(), 1);
  EXPECT_EQ(module.borderSize.getValue(0), 3);
  EXPECT_EQ(labels(module.samplingType), (std::vector<std::string>{"Sharp", "Average"}));
  EXPECT_EQ(module.samplingType.getIndex(0), 1);
  EXPECT_EQ(labels(module.compression), (std::vector<std::string>{"None", "zlib", "zstd", "lz4"}));
  EXPECT_EQ(module.compression.getIndex(0), 1);
  EXPECT_EQ(outputTypes(), std::vector<std::string>{"Korin Large Data Access/lda"});
  EXPECT_EQ(module.doIt.getNum(), 1);
  EXPECT_STREQ(module.doIt.getLabel(0), "CreateDiskData");
  EXPECT_FALSE(module.force311Format);
  EXPECT_EQ(console.lines, std::vector<std::string>{});
}

TEST_F(ConverterModule, ANewOutputNameGetsTheExtensionOfTheFormat) {
  EXPECT_EQ(afterSettingOutput("/x/name.lda"), "/x/name.lda");
  EXPECT_EQ(afterSettingOutput("/x/name"), "/x/name.lda");
  EXPECT_EQ(afterSettingOutput("/x/name.raw"), "/x/name.lda");
  EXPECT_EQ(afterSettingOutput("/x.d/name"), "/x.d/name.lda");
  EXPECT_EQ(tcl.run(module, {"forceKorin311Format", "1"}).code, TCL_OK);
  EXPECT_EQ(afterSettingOutput("/x/name.lda"), "/x/name.km");
  EXPECT_EQ(afterSettingOutput("/x/other"), "/x/other.km");
  EXPECT_EQ(tcl.run(module, {"forceKorin311Format", "0"}).code, TCL_OK);
  EXPECT_EQ(afterSettingOutput("/x/name.km"), "/x/name.lda");
  EXPECT_EQ(afterSettingOutput(""), "");
  EXPECT_EQ(module.output.getNum(), 0);
  // A name set without the new-value mark is left as it is.
  module.output.setFilename("/x/kept.raw");
  module.fire();
  EXPECT_STREQ(module.output.getFilename(), "/x/kept.raw");
  EXPECT_EQ(console.lines, std::vector<std::string>{});
}

TEST_F(ConverterModule, ForceKorin311FormatNeedsExactlyOneValue) {
  const std::vector<std::string> usage = {"Usage: forceKorin311Format [value]", "Supported values:",
                                          "0 = Disable (Default)", "1 = Enable"};
  EXPECT_EQ(tcl.run(module, {"forceKorin311Format"}).code, TCL_ERROR);
  EXPECT_EQ(console.lines, usage);
  console.lines.clear();
  EXPECT_EQ(tcl.run(module, {"forceKorin311Format", "1", "0"}).code, TCL_ERROR);
  EXPECT_EQ(console.lines, usage);
  EXPECT_FALSE(module.force311Format);
  EXPECT_EQ(outputTypes(), std::vector<std::string>{"Korin Large Data Access/lda"});
}

TEST_F(ConverterModule, ForceKorin311FormatTakesAnyNonZeroNumberAsOn) {
  const struct {
    const char* value;
    bool forced;
  } cases[] = {{"1", true}, {"abc", false}, {"2", true}, {"0", false}, {"-1", true}, {"", false}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.value);
    const CommandResult done = tcl.run(module, {"forceKorin311Format", c.value});
    EXPECT_EQ(done.code, TCL_OK);
    EXPECT_EQ(module.force311Format, c.forced);
    EXPECT_EQ(outputTypes(), std::vector<std::string>{c.forced ? "DiskData/km" : "Korin Large Data Access/lda"});
  }
  EXPECT_EQ(console.lines, std::vector<std::string>{});
}

// ---------------------------------------------------------------------------
// The button: a conversion from the ports, and the result in the object pool.

class ConverterButton : public ConverterModule {
 protected:
  void SetUp() override {
    writeRaw(input, volume, 0, true);
    module.inputs.setFilename(input.c_str());
    module.output.setFilename(dir.file("vol").c_str());
  }
  void pushDescription() {
    UxBatchAnswers::push(UxBatchAnswers::RAW, {"-dims", "12", "10", "7", "-ptype", "uint16", "-endianess", "big",
                                               "-bbox", "0", "1", "0", "2", "0", "3"});
  }
  void press() {
    EXPECT_EQ(tcl.run(module, {"doIt", "hit", "0"}).code, TCL_OK);
    EXPECT_EQ(tcl.run(module, {"fire"}).code, TCL_OK);
  }

  UxObjectPool* pool = UxObjectPool::getThePool();
  const std::string input = dir.file("vol.raw");
  const ReferenceVolume<uint16_t> volume = testVolume<uint16_t>(12, 10, 7);
};

TEST_F(ConverterButton, ConvertsFromThePortsAndLoadsTheResult) {
  pushDescription();
  const unsigned long before = pool->getAdditionCount();
  press();
  ASSERT_EQ(pool->getAdditionCount(), before + 1);
  auto* loaded = dynamic_cast<UxDiskData*>(pool->getNewest());
  ASSERT_NE(loaded, nullptr);
  EXPECT_STREQ(pool->nameOf(loaded), "vol.lda");
  EXPECT_STREQ(module.output.getFilename(), dir.file("vol.lda").c_str());
  StoredSet set(loaded);
  expectHolds(set, volume);
  EXPECT_FALSE(module.doIt.wasHit(0));
}

TEST_F(ConverterButton, WithDiskDataForcedTheKmFileIsLoaded) {
  EXPECT_EQ(tcl.run(module, {"forceKorin311Format", "1"}).code, TCL_OK);
  pushDescription();
  const unsigned long before = pool->getAdditionCount();
  press();
  ASSERT_EQ(pool->getAdditionCount(), before + 1);
  auto* loaded = dynamic_cast<UxDiskData*>(pool->getNewest());
  ASSERT_NE(loaded, nullptr);
  EXPECT_STREQ(pool->nameOf(loaded), "vol.km");
  StoredSet set(loaded);
  expectHolds(set, volume);
}

TEST_F(ConverterButton, AFailedConversionLoadsNothing) {
  UxBatchAnswers::push(UxBatchAnswers::RAW, {"cancel"});
  const unsigned long before = pool->getAdditionCount();
  press();
  EXPECT_EQ(pool->getAdditionCount(), before);
  EXPECT_EQ(withoutProgress(console.lines),
            (std::vector<std::string>{"raw data dialog: 1 file, 1680 bytes", "answer: cancel (script)",
                                      "Error converting files"}));
  EXPECT_EQ(filesIn(dir.path()), std::set<std::string>{input});
}

TEST_F(ConverterButton, ACancelledConversionLoadsNothing) {
  const unsigned long before = pool->getAdditionCount();
  {
    TiledDouble tiled(-1);
    pushDescription();
    press();
    EXPECT_EQ(TiledDouble::calls().size(), 1u);
  }
  {
    TiledDouble tiled(1);
    UxBatchAnswers::push(UxBatchAnswers::RAW, {"cancel"});
    press();
    EXPECT_TRUE(TiledDouble::calls().empty());
  }
  EXPECT_EQ(pool->getAdditionCount(), before);
  EXPECT_EQ(console.count("Conversion canceled"), 1);
  EXPECT_EQ(filesIn(dir.path()), std::set<std::string>{input});
}

TEST_F(ConverterButton, WithoutOutputOrInputNothingIsConverted) {
  module.output.setFilename("");
  pushDescription();
  const unsigned long before = pool->getAdditionCount();
  press();
  EXPECT_EQ(console.lines, std::vector<std::string>{"please specify output"});
  module.output.setFilename(dir.file("vol").c_str());
  module.inputs.setFilename("");
  console.lines.clear();
  press();
  EXPECT_EQ(console.lines, std::vector<std::string>{"please specify input and output"});
  EXPECT_EQ(pool->getAdditionCount(), before);
  EXPECT_EQ(filesIn(dir.path()), std::set<std::string>{input});
}

// The button loads the output for every result above 0, an unknown one included.
TEST_F(ConverterButton, AnUnknownTiledResultIsReportedAndItsOutputLoaded) {
  TiledDouble tiled(5);
  pushDescription();
  const unsigned long before = pool->getAdditionCount();
  press();
  EXPECT_EQ(TiledDouble::calls().size(), 1u);
  EXPECT_EQ(pool->getAdditionCount(), before);
  EXPECT_EQ(withoutProgress(console.lines),
            (std::vector<std::string>{"raw data dialog: 1 file, 1680 bytes",
                                      "answer: -dims 12 10 7 -ptype uint16 -ndatavar 1 -header 0 -endianess big "
                                      "-bbox 0 1 0 2 0 3 (script)",
                                      "Unknown Error", "load: cannot read " + dir.file("vol.lda")}));
}

}  // namespace
