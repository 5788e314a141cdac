// Ctrl-C during a raw conversion: it stops before the next chunk, keeps the
// chunks stored, brings their levels up to date and counts as done.
#include <gtest/gtest.h>

#include <fstream>
#include <iterator>

#include "ConvertTestSupport.h"
#include "host/console/UxWorkArea.h"

namespace {

using namespace convert_test;

using RawInterrupt = ConvertTest;

TEST_F(RawInterrupt, StoppedBeforeTheSecondChunkKeepsTheFirst) {
  auto volume = testVolume<uint16_t>(13, 11, 100);  // chunks of 64 and 36 slices
  writeRaw(dir.file("in.raw"), volume);
  UxWorkArea::interruptAfterChecks(1);
  const CommandResult done =
      convert(Words{"-format", "Raw Data", "-lda", dir.file("out")} + rawWords(13, 11, 100, "uint16", 1, 0, "little", {dir.file("in.raw")}));
  UxWorkArea::interruptAfterChecks(-1);
  EXPECT_EQ(done.result, "1");
  EXPECT_EQ(console.lines, (Lines{"interrupted", "Interrupted"}));
  // Level 0 is blocks 0-24 (slices 0-63 fill the first 16), level 1 blocks
  // 25-37, all brought up to date before anything reads them.
  std::ifstream file(dir.file("out.lda-SUPR.dat"), std::ios::binary);
  const std::string flags((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
  for (int b = 0; b < 45; ++b) EXPECT_EQ((flags.at(8 + b / 8) >> (b % 8)) & 1, b < 16 || (b >= 25 && b < 38)) << b;
  for (size_t i = 64 * 13 * 11; i < volume.values.size(); ++i) volume.values[i] = 0;
  expectStored(dir.file("out.lda"), volume);
}

}  // namespace
