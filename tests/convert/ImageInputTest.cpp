// Image stacks into disk data: every image one z slice, grey values kept and
// colours reduced by the channel option (or kept as a four-component colour
// field), the description from the words or the image dialog, stacks longer
// than one chunk, and the driver's choice between the tiled converter (a
// recording stand-in) and the image reader. Real image files are written with
// Qt; the stored set is opened again and read at level 0 and at subsampling 2.
#include <gtest/gtest.h>

#include <QImage>
#include <QString>
#include <QVector>

#include <cmath>
#include <memory>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "ConvertTestSupport.h"
#include "ImageStackSupport.h"
#include "host/mesh/KorinMesh.h"
#include "host/formats/UxFileFormat.h"
#include "host/console/UxWorkArea.h"
#include "support/ConsoleCapture.h"
#include "support/TempDir.h"

namespace {

using namespace convert_test;
using namespace image_test;

const char kChannelOptions[] =
    "no support for that channel-option for that type of image\n -channel:\n 0 -> maximum \n 1-> average weight \n "
    "2 -> channel 1\n 3 -> channel 2 \n 4 -> channel 3 \n 5 -> alpha-channel \n 10 -> colorfield\n";

// A box the tests give in words, and the same as floats.
const std::vector<std::string> kBoxWords = {"0.5", "2", "1", "3", "2", "4"};
const std::vector<float> kBox = {0.5f, 2, 1, 3, 2, 4};

using Lines = std::vector<std::string>;

class ImageInput : public ::testing::Test {
 protected:
  void TearDown() override {
    UxWorkArea::interruptAfterChecks(-1);
    // Every test leaves the host's tiled path as it found it.
    for (const char* label : {"TIFF", "PNG", "JPEG", "BMP"})
      EXPECT_FALSE(UxFileFormat::getFileFormatByLabel(label)->ldaConvertible) << label;
  }

  // The volume written as one image file per slice.
  std::vector<std::string> stack(const std::string& name, const Volume& volume, const char* format = "PNG") {
    std::vector<std::string> names = writeStack(dir.file(name), volume, format);
    EXPECT_EQ(names.size(), static_cast<size_t>(volume.nz)) << "cannot write " << format << " files";
    return names;
  }
  // The image reader with the description words before the files.
  int convert(const std::vector<std::string>& files, const std::string& out, int option,
              const std::vector<std::string>& box = kBoxWords) {
    const std::vector<std::string> words = imageWords(box, option, files);
    return readImages(module, words, dir.file(out), words);
  }
  // The image reader without words: the dialog is asked.
  int convertAsking(const std::vector<std::string>& files, const std::string& out) {
    return readImages(module, files, dir.file(out));
  }
  // Files in the folder that are not among `inputs`.
  std::set<std::string> madeFiles(const std::vector<std::string>& inputs) const {
    std::set<std::string> made = filesIn(dir.path());
    for (const std::string& input : inputs) made.erase(input);
    return made;
  }
  Lines messages() const { return withoutProgress(console.lines); }
  static std::string dialogLine(int w, int h, int d, int channels, const std::string& first) {
    return "image dialog: stack of " + std::to_string(w) + " x " + std::to_string(h) + " x " + std::to_string(d) +
           ", " + std::to_string(channels) + (channels == 1 ? " channel" : " channels") + ", first image " + first;
  }

  TempDir dir;
  UxConvertToDiskData module;
  Interpreter tcl;
  ConsoleCapture console;
};

// The level-0 samples of a set, all components.
std::vector<uint8_t> storedValues(const std::string& description) {
  StoredSet set(description);
  if (!set) return {};
  return set.readAll<uint8_t>(1).values;
}

// The coarse blocks of a stored set not marked current; -1 when the set does
// not open. Reading at subsampling brings blocks up to date, so this is asked
// before anything is read.
int staleCoarseBlocks(const std::string& description) {
  StoredSet set(description);
  if (!set) return -1;
  LatticeManager& lattice = *set.data->latticeManager;
  int stale = 0;
  for (int level = 1; level < lattice.numLevels; ++level) {
    int idx[3];
    for (idx[2] = 0; idx[2] < lattice.blocksAlong(2, level); ++idx[2])
      for (idx[1] = 0; idx[1] < lattice.blocksAlong(1, level); ++idx[1])
        for (idx[0] = 0; idx[0] < lattice.blocksAlong(0, level); ++idx[0])
          if (!lattice.blockManager->validFlag(lattice.getBlockNo(idx, level))) ++stale;
  }
  return stale;
}

std::vector<int> dimsOf(const TbVec3i& dims) { return {dims[0], dims[1], dims[2]}; }

// ---------------------------------------------------------------------------
// Channel options.

TEST_F(ImageInput, AGreyStackWithOptionTwoKeepsItsGreyValues) {
  const Volume grey = Volume::generated(23, 17, 9);
  const std::vector<std::string> names = stack("grey", grey);
  EXPECT_EQ(convert(names, "grey.km", 2), 1);
  EXPECT_EQ(staleCoarseBlocks(dir.file("grey.km")), 0);
  expectStored(dir.file("grey.km"), grey, kBox);
  EXPECT_EQ(messages(), Lines{});
}

TEST_F(ImageInput, RgbOptionsGiveMaximumWeightedAverageAndEachChannel) {
  const Volume colours = colourVolume(19, 13, 7, 3);
  const std::vector<std::string> names = stack("rgb", colours);
  for (int option : {0, 1, 2, 3, 4}) {
    SCOPED_TRACE("option " + std::to_string(option));
    const std::string out = "opt" + std::to_string(option) + ".km";
    EXPECT_EQ(convert(names, out, option), 1);
    expectStored(dir.file(out), afterOption(colours, option), kBox);
  }
  EXPECT_EQ(messages(), Lines{});
}

TEST_F(ImageInput, RgbColourFieldKeepsRgbWithOneAsTheFourthComponent) {
  const Volume colours = colourVolume(19, 13, 7, 3);
  const std::vector<std::string> names = stack("rgb", colours);
  EXPECT_EQ(convert(names, "field.km", 10), 1);
  const Volume field = afterOption(colours, 10);
  expectStored(dir.file("field.km"), field, kBox);
  const std::vector<uint8_t> stored = storedValues(dir.file("field.km"));
  ASSERT_EQ(stored.size(), field.values.size());
  for (size_t i = 3; i < stored.size(); i += 4) ASSERT_EQ(stored[i], 1) << "sample " << i / 4;
}

TEST_F(ImageInput, RgbaStacksCarryTheirAlpha) {
  const Volume colours = colourVolume(17, 11, 6, 4);
  const std::vector<std::string> names = stack("rgba", colours);
  for (int option : {10, 5, 0, 1, 2, 3, 4}) {
    SCOPED_TRACE("option " + std::to_string(option));
    const std::string out = "opt" + std::to_string(option) + ".km";
    EXPECT_EQ(convert(names, out, option), 1);
    expectStored(dir.file(out), afterOption(colours, option), kBox);
  }
  EXPECT_EQ(messages(), Lines{});
}

// Colours whose results are known by heart.
TEST_F(ImageInput, KnownColoursUnderEveryOption) {
  Volume colours(4, 1, 1, 3);
  const int rgb[4][3] = {{7, 7, 7}, {255, 255, 255}, {255, 0, 0}, {10, 200, 30}};
  for (int x = 0; x < 4; ++x)
    for (int c = 0; c < 3; ++c) colours.at(x, 0, 0, c) = static_cast<uint8_t>(rgb[x][c]);
  const std::vector<std::string> names = stack("known", colours);
  const std::vector<std::pair<int, std::vector<uint8_t>>> wanted = {
      {1, {6, 255, 76, 124}}, {0, {7, 255, 255, 200}}, {2, {7, 255, 255, 10}},
      {3, {7, 255, 0, 200}},  {4, {7, 255, 0, 30}},    {10, {7, 7, 7, 1, 255, 255, 255, 1, 255, 0, 0, 1, 10, 200, 30, 1}}};
  for (const auto& [option, values] : wanted) {
    SCOPED_TRACE("option " + std::to_string(option));
    const std::string out = "known" + std::to_string(option) + ".km";
    ASSERT_EQ(convert(names, out, option), 1);
    EXPECT_EQ(storedValues(dir.file(out)), values);
  }
}

// The weights are applied in single precision and the sum truncated; in double
// precision some colours come out one higher, (7, 7, 7) among them.
TEST_F(ImageInput, TheWeightedAverageIsTakenInSinglePrecision) {
  Volume colours(64, 64, 2, 3);
  std::mt19937 random(20240611);
  for (uint8_t& v : colours.values) v = static_cast<uint8_t>(random() & 0xff);
  for (int c = 0; c < 3; ++c) colours.at(0, 0, 0, c) = 7;
  int differInDouble = 0;
  for (int z = 0; z < 2; ++z)
    for (int y = 0; y < 64; ++y)
      for (int x = 0; x < 64; ++x) {
        const int r = colours.at(x, y, z, 0), g = colours.at(x, y, z, 1), b = colours.at(x, y, z, 2);
        if (static_cast<int>(r * 0.3 + g * 0.59 + b * 0.11) != weightedOf(r, g, b)) ++differInDouble;
      }
  ASSERT_GT(differInDouble, 1) << "the colours must tell single from double precision";

  const std::vector<std::string> names = stack("random", colours);
  EXPECT_EQ(convert(names, "weighted.km", 1), 1);
  expectStored(dir.file("weighted.km"), afterOption(colours, 1), kBox);
}

TEST_F(ImageInput, AlphaIsRefusedForGreyAndRgbStacks) {
  const std::vector<std::string> grey = stack("grey", Volume::generated(8, 6, 3));
  const std::vector<std::string> rgb = stack("rgb", colourVolume(8, 6, 3, 3));
  EXPECT_EQ(convert(grey, "grey.km", 5), 0);
  EXPECT_EQ(convert(rgb, "rgb.km", 5), 0);
  EXPECT_EQ(messages(), (Lines{kChannelOptions, kChannelOptions}));
  EXPECT_EQ(madeFiles(grey + rgb), std::set<std::string>{});
}

TEST_F(ImageInput, AGreyStackRefusesEveryOptionButTwoAndCreatesNothing) {
  const std::vector<std::string> grey = stack("grey", Volume::generated(8, 6, 3));
  EXPECT_EQ(convert(grey, "zero.km", 0), 0);
  EXPECT_EQ(console.lines, Lines{kChannelOptions});
  for (int option : {1, 3, 4, 10}) {
    console.lines.clear();
    EXPECT_EQ(convert(grey, "other.km", option), 0) << option;
    EXPECT_EQ(console.lines, Lines{kChannelOptions}) << option;
  }
  EXPECT_EQ(madeFiles(grey), std::set<std::string>{});
}

TEST_F(ImageInput, OptionsOutsideTheTableAreRefusedForRgb) {
  const std::vector<std::string> rgb = stack("rgb", colourVolume(8, 6, 3, 3));
  EXPECT_EQ(convert(rgb, "negative.km", -1), 0);
  EXPECT_EQ(messages(), Lines{"not a supported option"});
  console.lines.clear();
  EXPECT_EQ(convert(rgb, "seven.km", 7), 0);
  EXPECT_EQ(console.lines, Lines{kChannelOptions});
  EXPECT_FALSE(fileExists(dir.file("seven.km")));
}

// ---------------------------------------------------------------------------
// The words, and files that do not read.

TEST_F(ImageInput, NoWordsAndNoFiles) {
  EXPECT_EQ(convertAsking({}, "none.km"), 0);
  EXPECT_EQ(console.lines, Lines{"Error: no input files"});
  EXPECT_EQ(madeFiles({}), std::set<std::string>{});
}

TEST_F(ImageInput, FewerThanTenWordsAreNotEnough) {
  const std::vector<std::string> names = stack("grey", Volume::generated(8, 6, 2));
  const std::vector<std::string> all = imageWords(kBoxWords, 2, names);
  for (size_t n : {1u, 5u, 9u}) {
    SCOPED_TRACE(n);
    console.lines.clear();
    const std::vector<std::string> words(all.begin(), all.begin() + n);
    EXPECT_EQ(readImages(module, words, dir.file("few.km"), words), 0);
    EXPECT_EQ(console.lines, Lines{"Error: not enough arguments"});
  }
  EXPECT_EQ(madeFiles(names), std::set<std::string>{});
}

TEST_F(ImageInput, TheWordsMustBeBboxAndChannel) {
  const std::vector<std::string> names = stack("grey", Volume::generated(8, 6, 2));
  std::vector<std::string> words = imageWords(kBoxWords, 2, names);
  words[0] = "-box";
  EXPECT_EQ(readImages(module, words, dir.file("a.km"), words), 0);
  EXPECT_EQ(console.lines, Lines{"Error -bbox"});
  console.lines.clear();
  words = imageWords(kBoxWords, 2, names);
  words[7] = "-chanel";
  EXPECT_EQ(readImages(module, words, dir.file("b.km"), words), 0);
  EXPECT_EQ(console.lines, Lines{"Error -channel"});
  EXPECT_EQ(madeFiles(names), std::set<std::string>{});
}

TEST_F(ImageInput, AFirstFileThatDoesNotReadStopsBeforeAnythingIsMade) {
  const std::vector<std::string> names = stack("grey", Volume::generated(8, 6, 2));
  const std::string missing = dir.file("missing.png");
  const std::string text = dir.file("text.png");
  writeWholeFile(text, "not an image at all\n");
  for (const std::string& first : {missing, text}) {
    SCOPED_TRACE(first);
    console.lines.clear();
    EXPECT_EQ(convert({first, names[0], names[1]}, "out.km", 2), 0);
    EXPECT_EQ(console.lines, Lines{"Error: can't read  " + first + ".\n"});
  }
  EXPECT_EQ(madeFiles(names + std::vector<std::string>{text}), std::set<std::string>{});
}

TEST_F(ImageInput, ALaterFileThatDoesNotReadFailsTheConversion) {
  const std::vector<std::string> names = stack("grey", Volume::generated(8, 6, 3));
  const std::string missing = dir.file("gone.png");
  EXPECT_EQ(convert({names[0], names[1], missing, names[2]}, "out.km", 2), 0);
  EXPECT_EQ(messages(), Lines{"Could not read " + missing});
}

TEST_F(ImageInput, ALaterImageOfAnotherSizeFailsTheConversion) {
  const std::vector<std::string> names = stack("grey", Volume::generated(8, 6, 2));
  const std::vector<std::string> wider = stack("wide", Volume::generated(9, 6, 1));
  const std::vector<std::string> taller = stack("tall", Volume::generated(8, 7, 1));
  EXPECT_EQ(convert({names[0], names[1], wider[0]}, "wider.km", 2), 0);
  EXPECT_EQ(messages(), Lines{"images are not all of the same dimensions"});
  console.lines.clear();
  EXPECT_EQ(convert({names[0], taller[0], names[1]}, "taller.km", 2), 0);
  EXPECT_EQ(messages(), Lines{"images are not all of the same dimensions"});
}

// A box whose x minimum is negative counts as no box: the dialog asks, and
// its answer (box and option) is what the set gets.
TEST_F(ImageInput, ANegativeXMinimumInTheWordsAsksTheDialog) {
  const Volume colours = colourVolume(10, 7, 4, 3);
  const std::vector<std::string> names = stack("rgb", colours);
  UxBatchAnswers::push(UxBatchAnswers::IMAGE, {"-bbox", "1", "2", "3", "4", "5", "6", "-channel", "3"});
  EXPECT_EQ(convert(names, "asked.km", 1, {"-5", "10", "0", "1", "0", "1"}), 1);
  EXPECT_EQ(messages(), (Lines{dialogLine(10, 7, 4, 3, names[0]), "answer: -bbox 1 2 3 4 5 6 -channel 3 (script)"}));
  EXPECT_EQ(UxBatchAnswers::pending(UxBatchAnswers::IMAGE), 0);

  std::unique_ptr<KorinMesh> description(KorinMesh::read(dir.file("asked.km").c_str()));
  ASSERT_TRUE(description);
  float box[6] = {0, 0, 0, 0, 0, 0};
  ASSERT_TRUE(description->findReal("BoundingBox", 6, box));
  EXPECT_EQ(std::vector<float>(box, box + 6), (std::vector<float>{1, 2, 3, 4, 5, 6}));
  expectStored(dir.file("asked.km"), afterOption(colours, 3), {1, 2, 3, 4, 5, 6});
}

// ---------------------------------------------------------------------------
// The image dialog, when no words are given.

TEST_F(ImageInput, WithoutWordsTheDialogGivesBoxAndOption) {
  const Volume colours = colourVolume(12, 9, 5, 3);
  const std::vector<std::string> names = stack("rgb", colours);
  UxBatchAnswers::push(UxBatchAnswers::IMAGE, {"-bbox", "0", "1", "0", "1", "0", "1", "-channel", "1"});
  EXPECT_EQ(convertAsking(names, "asked.km"), 1);
  EXPECT_EQ(messages(), (Lines{dialogLine(12, 9, 5, 3, names[0]), "answer: -bbox 0 1 0 1 0 1 -channel 1 (script)"}));
  expectStored(dir.file("asked.km"), afterOption(colours, 1), {0, 1, 0, 1, 0, 1});
}

TEST_F(ImageInput, TheDialogsDefaultsAreTheVoxelBoxAndAnOptionForTheImages) {
  const Volume colours = colourVolume(12, 9, 5, 3);
  const Volume grey = Volume::generated(11, 8, 3);
  const std::vector<std::string> rgb = stack("rgb", colours);
  const std::vector<std::string> g = stack("grey", grey);
  UxBatchAnswers::push(UxBatchAnswers::IMAGE, {});
  UxBatchAnswers::push(UxBatchAnswers::IMAGE, {});
  EXPECT_EQ(convertAsking(rgb, "rgb.km"), 1);
  EXPECT_EQ(convertAsking(g, "grey.km"), 1);
  EXPECT_EQ(messages(), (Lines{dialogLine(12, 9, 5, 3, rgb[0]),
                               "answer: -bbox 0 11 0 8 0 4 -channel 1 (script, default box and channel)",
                               dialogLine(11, 8, 3, 1, g[0]),
                               "answer: -bbox 0 10 0 7 0 2 -channel 2 (script, default box and channel)"}));
  expectStored(dir.file("rgb.km"), afterOption(colours, 1), {0, 11, 0, 8, 0, 4});
  expectStored(dir.file("grey.km"), grey, {0, 10, 0, 7, 0, 2});
}

TEST_F(ImageInput, ACancelledDialogConvertsNothingAndTheReaderSaysNothing) {
  const std::vector<std::string> names = stack("rgb", colourVolume(12, 9, 5, 3));
  UxBatchAnswers::push(UxBatchAnswers::IMAGE, {"cancel"});
  EXPECT_EQ(convertAsking(names, "cancelled.km"), 0);
  EXPECT_EQ(console.lines, (Lines{dialogLine(12, 9, 5, 3, names[0]), "answer: cancel (script)"}));
  console.lines.clear();
  EXPECT_EQ(convertAsking(names, "unanswered.km"), 0);  // no answer queued: cancelled
  EXPECT_EQ(console.lines, (Lines{dialogLine(12, 9, 5, 3, names[0]), "answer: cancel (default)"}));
  EXPECT_EQ(madeFiles(names), std::set<std::string>{});
}

// ---------------------------------------------------------------------------
// Describing only: what the tiled path asks of the reader.

TEST_F(ImageInput, InfoOnlyDescribesTheStackAndConvertsNothing) {
  const std::vector<std::string> names = stack("rgb", colourVolume(12, 9, 5, 3));
  module.infoOnly = true;
  EXPECT_EQ(convert(names, "info.km", 3), 1);
  EXPECT_EQ(dimsOf(module.rawDims), (std::vector<int>{12, 9, 5}));
  EXPECT_EQ(static_cast<int>(module.rawPrimType), 0);
  for (int i = 0; i < 6; ++i) EXPECT_EQ(module.rawBox[i], kBox[i]) << i;
  EXPECT_EQ(module.convertMethod, 3);
  EXPECT_EQ(console.lines, Lines{});

  const std::vector<std::string> grey = stack("grey", Volume::generated(7, 4, 2));
  UxBatchAnswers::push(UxBatchAnswers::IMAGE, {"-bbox", "1", "2", "3", "4", "5", "6"});
  EXPECT_EQ(convertAsking(grey, "asked.km"), 1);
  EXPECT_EQ(dimsOf(module.rawDims), (std::vector<int>{7, 4, 2}));
  EXPECT_EQ(static_cast<int>(module.rawPrimType), 0);
  for (int i = 0; i < 6; ++i) EXPECT_EQ(module.rawBox[i], static_cast<float>(i + 1)) << i;
  EXPECT_EQ(module.convertMethod, 2);
  EXPECT_EQ(madeFiles(names + grey), std::set<std::string>{});
}

// ---------------------------------------------------------------------------
// Stacks of more than one chunk (64 slices a chunk for small images).

TEST_F(ImageInput, AHundredThirtyImagesAreStoredInChunksOfSixtyFourSixtyFourAndTwo) {
  const Volume grey = Volume::generated(16, 12, 130);
  const std::vector<std::string> names = stack("deep", grey);
  EXPECT_EQ(convert(names, "deep.km", 2), 1);
  EXPECT_EQ(staleCoarseBlocks(dir.file("deep.km")), 0);
  expectStored(dir.file("deep.km"), grey, kBox);
  EXPECT_EQ(messages(), Lines{});
}

// Stopped while image 70 is due: the first chunk is stored with its coarse
// level, the second one never is.
TEST_F(ImageInput, AnInterruptDuringImageSeventyKeepsTheFirstChunk) {
  const Volume grey = Volume::generated(16, 12, 130);
  const std::vector<std::string> names = stack("deep", grey);
  UxWorkArea::interruptAfterChecks(70);
  EXPECT_EQ(convert(names, "deep.km", 2), 1);
  EXPECT_EQ(messages(), (Lines{"interrupted", "Interrupted"}));
  EXPECT_EQ(staleCoarseBlocks(dir.file("deep.km")), 0) << "the coarse levels are brought up to date";
  expectStored(dir.file("deep.km"), zeroFrom(grey, 64), kBox);
}

// Stopped at the last image: the two full chunks are kept, the short third not.
TEST_F(ImageInput, AnInterruptAtTheLastImageKeepsTwoChunks) {
  const Volume grey = Volume::generated(16, 12, 130);
  const std::vector<std::string> names = stack("deep", grey);
  UxWorkArea::interruptAfterChecks(129);
  EXPECT_EQ(convert(names, "deep.km", 2), 1);
  EXPECT_EQ(messages(), (Lines{"interrupted", "Interrupted"}));
  EXPECT_EQ(staleCoarseBlocks(dir.file("deep.km")), 0);
  expectStored(dir.file("deep.km"), zeroFrom(grey, 128), kBox);
}

// The short last chunk reuses the buffer of the full ones: it must hold its
// own two slices only, here four components each.
TEST_F(ImageInput, AShortLastChunkCarriesNothingOfThePreviousChunk) {
  const Volume colours = colourVolume(16, 12, 130, 3);
  const std::vector<std::string> names = stack("deep", colours);
  EXPECT_EQ(convert(names, "field.km", 10), 1);
  expectStored(dir.file("field.km"), afterOption(colours, 10), kBox);
}

// ---------------------------------------------------------------------------
// File formats.

// Lossless formats: grey stacks keep their values, colour stacks go through
// the option as they would from PNG.
TEST_F(ImageInput, TiffAndBmpStacks) {
  const struct {
    const char* format;
    int colourOption;
  } formats[] = {{"TIFF", 10}, {"BMP", 4}};
  const Volume grey = Volume::generated(15, 10, 5);
  const Volume colours = colourVolume(15, 10, 5, 3);
  for (const auto& f : formats) {
    SCOPED_TRACE(f.format);
    const std::string greyOut = std::string("grey-") + f.format + ".km", rgbOut = std::string("rgb-") + f.format + ".km";
    EXPECT_EQ(convert(stack(std::string("grey") + f.format, grey, f.format), greyOut, 2), 1);
    EXPECT_EQ(convert(stack(std::string("rgb") + f.format, colours, f.format), rgbOut, f.colourOption), 1);
    expectStored(dir.file(greyOut), grey, kBox);
    expectStored(dir.file(rgbOut), afterOption(colours, f.colourOption), kBox);
  }
  EXPECT_EQ(messages(), Lines{});
}

// JPEG loses a little: the set holds exactly what the files decode to, and
// that is near what was written.
TEST_F(ImageInput, JpegStacks) {
  Volume grey(24, 16, 4);
  for (int z = 0; z < 4; ++z)
    for (int y = 0; y < 16; ++y)
      for (int x = 0; x < 24; ++x) grey.at(x, y, z) = static_cast<uint8_t>(30 + 4 * x + 3 * y + 10 * z);
  const std::vector<std::string> greyNames = stack("grey", grey, "JPEG");
  const Volume greyDecoded = decodedStack(greyNames, 1);
  ASSERT_EQ(greyDecoded.values.size(), grey.values.size());
  for (size_t i = 0; i < grey.values.size(); ++i)
    ASSERT_NEAR(greyDecoded.values[i], grey.values[i], 6) << "the JPEG writer lost more than expected at " << i;
  EXPECT_EQ(convert(greyNames, "grey.km", 2), 1);
  expectStored(dir.file("grey.km"), greyDecoded, kBox);

  Volume colours(24, 16, 4, 3);
  for (int z = 0; z < 4; ++z)
    for (int y = 0; y < 16; ++y)
      for (int x = 0; x < 24; ++x) {
        colours.at(x, y, z, 0) = static_cast<uint8_t>(200 - 3 * x);
        colours.at(x, y, z, 1) = static_cast<uint8_t>(20 + 5 * y + 8 * z);
        colours.at(x, y, z, 2) = static_cast<uint8_t>(90 + 2 * x + 2 * y);
      }
  const std::vector<std::string> rgbNames = stack("rgb", colours, "JPEG");
  const Volume rgbDecoded = decodedStack(rgbNames, 3);
  ASSERT_EQ(rgbDecoded.values.size(), colours.values.size());
  for (size_t i = 0; i < colours.values.size(); ++i) ASSERT_NEAR(rgbDecoded.values[i], colours.values[i], 12) << i;
  EXPECT_EQ(convert(rgbNames, "green.km", 3), 1);
  expectStored(dir.file("green.km"), afterOption(rgbDecoded, 3), kBox);
  EXPECT_EQ(messages(), Lines{});
}

// 16-bit grey images are kept as 8-bit values: each value / 257, rounded.
TEST_F(ImageInput, SixteenBitGreyImagesBecomeEightBit) {
  const int nx = 13, ny = 7, nz = 3;
  std::vector<std::string> names;
  Volume wanted(nx, ny, nz);
  for (int z = 0; z < nz; ++z) {
    QImage image(nx, ny, QImage::Format_Grayscale16);
    for (int y = 0; y < ny; ++y) {
      auto* row = reinterpret_cast<quint16*>(image.scanLine(y));
      for (int x = 0; x < nx; ++x) {
        row[x] = static_cast<quint16>((x * 5003 + y * 1297 + z * 7919) % 65536);
        wanted.at(x, y, z) = static_cast<uint8_t>(std::lround(row[x] / 257.0));
      }
    }
    names.push_back(sliceName(dir.file("wide"), z, "PNG"));
    ASSERT_TRUE(image.save(QString::fromStdString(names.back()), "PNG"));
  }
  EXPECT_EQ(convert(names, "wide.km", 2), 1);
  expectStored(dir.file("wide.km"), wanted, kBox);
}

// A palette image gives the colours of its pixels, not their indices; a
// palette of greys gives grey values.
TEST_F(ImageInput, PaletteImagesGiveTheirColours) {
  const int nx = 10, ny = 6, nz = 3;
  QVector<QRgb> colourTable, greyTable;
  for (int i = 0; i < 16; ++i) {
    colourTable.push_back(qRgb(i * 16 + 3, 250 - i * 13, (i * 77) % 256));
    greyTable.push_back(qRgb(i * 17, i * 17, i * 17));
  }
  Volume colours(nx, ny, nz, 3), greys(nx, ny, nz);
  std::vector<std::string> colourNames, greyNames;
  for (int z = 0; z < nz; ++z) {
    QImage colour(nx, ny, QImage::Format_Indexed8), grey(nx, ny, QImage::Format_Indexed8);
    colour.setColorTable(colourTable);
    grey.setColorTable(greyTable);
    for (int y = 0; y < ny; ++y)
      for (int x = 0; x < nx; ++x) {
        const int index = (x + 3 * y + 5 * z) % 16;
        colour.setPixel(x, y, static_cast<uint>(index));
        grey.setPixel(x, y, static_cast<uint>(index));
        colours.at(x, y, z, 0) = static_cast<uint8_t>(qRed(colourTable[index]));
        colours.at(x, y, z, 1) = static_cast<uint8_t>(qGreen(colourTable[index]));
        colours.at(x, y, z, 2) = static_cast<uint8_t>(qBlue(colourTable[index]));
        greys.at(x, y, z) = static_cast<uint8_t>(index * 17);
      }
    colourNames.push_back(sliceName(dir.file("pal"), z, "PNG"));
    greyNames.push_back(sliceName(dir.file("greypal"), z, "PNG"));
    ASSERT_TRUE(colour.save(QString::fromStdString(colourNames.back()), "PNG"));
    ASSERT_TRUE(grey.save(QString::fromStdString(greyNames.back()), "PNG"));
  }
  EXPECT_EQ(convert(colourNames, "colour.km", 10), 1);
  EXPECT_EQ(convert(greyNames, "grey.km", 2), 1);
  expectStored(dir.file("colour.km"), afterOption(colours, 10), kBox);
  expectStored(dir.file("grey.km"), greys, kBox);
  EXPECT_EQ(messages(), Lines{});
}

// ---------------------------------------------------------------------------
// The driver's image branches.

class ImageDriver : public ImageInput {
 protected:
  void SetUp() override {
    names = stack("s", colours, "TIFF");
    std::vector<const char*> pointers;
    for (const std::string& name : names) pointers.push_back(name.c_str());
    module.inputs.setFilenames(pointers.data(), static_cast<int>(pointers.size()));
    module.output.setFilename(dir.file("vol").c_str());
  }
  const Volume colours = colourVolume(12, 9, 4, 3);
  std::vector<std::string> names;
};

TEST_F(ImageDriver, FromThePortsATiffStackIsDescribedThenTiled) {
  ASSERT_EQ(module.inputs.getNumFormatLabels(), 4);
  EXPECT_STREQ(module.inputs.getFormatLabel(0), "TIFF");
  TiledDouble tiled(1, {"TIFF"});
  UxBatchAnswers::push(UxBatchAnswers::IMAGE, {"-bbox", "1", "2", "3", "4", "5", "6", "-channel", "3"});
  EXPECT_EQ(module.convertToDiskData(0, nullptr), 1);
  EXPECT_EQ(messages(), (Lines{dialogLine(12, 9, 4, 3, names[0]), "answer: -bbox 1 2 3 4 5 6 -channel 3 (script)"}));
  ASSERT_EQ(TiledDouble::calls().size(), 1u);
  const TiledDouble::Call& call = TiledDouble::calls()[0];
  EXPECT_EQ(call.files, names);
  EXPECT_EQ(call.output, dir.file("vol.lda"));
  EXPECT_EQ(std::vector<int>(call.dims, call.dims + 3), (std::vector<int>{12, 9, 4}));
  EXPECT_EQ(call.primType, 0);
  EXPECT_EQ(call.convertMethod, 3);
  EXPECT_EQ(std::vector<float>(call.box, call.box + 6), (std::vector<float>{1, 2, 3, 4, 5, 6}));
  EXPECT_FALSE(call.isRaw);
  EXPECT_EQ(call.headerBytes, 0);
  EXPECT_FALSE(module.infoOnly);
  EXPECT_STREQ(module.output.getFilename(), dir.file("vol.lda").c_str());
  EXPECT_EQ(madeFiles(names), std::set<std::string>{});  // described only
}

TEST_F(ImageDriver, ACancelledDescriptionCancelsTheTiledPathSilently) {
  TiledDouble tiled(1, {"TIFF"});
  UxBatchAnswers::push(UxBatchAnswers::IMAGE, {"cancel"});
  EXPECT_EQ(module.convertToDiskData(0, nullptr), -1);
  EXPECT_EQ(console.lines, (Lines{dialogLine(12, 9, 4, 3, names[0]), "answer: cancel (script)"}));
  EXPECT_TRUE(TiledDouble::calls().empty());
  EXPECT_EQ(madeFiles(names), std::set<std::string>{});
}

TEST_F(ImageDriver, ForcedDiskDataSendsTheStackStraightToTheImageReader) {
  TiledDouble tiled(1, {"TIFF"});
  EXPECT_EQ(tcl.run(module, {"forceKorin311Format", "1"}).code, TCL_OK);
  UxBatchAnswers::push(UxBatchAnswers::IMAGE, {"-bbox", "1", "2", "3", "4", "5", "6", "-channel", "4"});
  EXPECT_EQ(module.convertToDiskData(0, nullptr), 1);
  EXPECT_TRUE(TiledDouble::calls().empty());
  EXPECT_EQ(messages(), (Lines{dialogLine(12, 9, 4, 3, names[0]), "answer: -bbox 1 2 3 4 5 6 -channel 4 (script)"}));
  EXPECT_STREQ(module.output.getFilename(), dir.file("vol.km").c_str());
  EXPECT_FALSE(fileExists(dir.file("vol.lda")));
  expectStored(dir.file("vol.km"), afterOption(colours, 4), {1, 2, 3, 4, 5, 6});
}

TEST_F(ImageDriver, ALowerCaseTiffLabelSelectsTheImageReader) {
  const CommandResult done =
      tcl.convert(module, std::vector<std::string>{"-format", "tiff", "-lda", dir.file("lower")} +
                              imageWords(kBoxWords, 2, names));
  EXPECT_EQ(done.result, "1");
  EXPECT_EQ(messages(), Lines{});
  expectStored(dir.file("lower.lda"), afterOption(colours, 2), kBox);
}

// The tiled converter takes no colour field: the stack becomes disk data.
TEST_F(ImageDriver, AColourFieldIsNotTiledButConvertedToDiskData) {
  TiledDouble tiled(1, {"TIFF"});
  const CommandResult done =
      tcl.convert(module, std::vector<std::string>{"-format", "TIFF", "-lda", dir.file("field")} +
                              imageWords(kBoxWords, 10, names));
  EXPECT_EQ(done.result, "1");
  EXPECT_TRUE(TiledDouble::calls().empty());
  EXPECT_EQ(messages(), Lines{"Colorfield not yet supported by voxelan"});
  expectStored(dir.file("field.lda"), afterOption(colours, 10), kBox);
}

// From the ports the stack is described once, in the dialog; the disk data
// that the colour field falls back to uses that description.
TEST_F(ImageDriver, AColourFieldFromThePortsIsDescribedOnce) {
  TiledDouble tiled(1, {"TIFF"});
  UxBatchAnswers::push(UxBatchAnswers::IMAGE, {"-bbox", "1", "2", "3", "4", "5", "6", "-channel", "10"});
  EXPECT_EQ(module.convertToDiskData(0, nullptr), 1);
  EXPECT_TRUE(TiledDouble::calls().empty());
  EXPECT_EQ(console.count("image dialog:"), 1);
  EXPECT_EQ(messages(), (Lines{dialogLine(12, 9, 4, 3, names[0]), "answer: -bbox 1 2 3 4 5 6 -channel 10 (script)",
                               "Colorfield not yet supported by voxelan"}));
  expectStored(dir.file("vol.lda"), afterOption(colours, 10), {1, 2, 3, 4, 5, 6});
}

// When the tiled converter fails, the stack becomes disk data with the
// description already given.
TEST_F(ImageDriver, ATiledFailureFromThePortsConvertsWithTheSameDescription) {
  TiledDouble tiled(0, {"TIFF"});
  UxBatchAnswers::push(UxBatchAnswers::IMAGE, {"-bbox", "1", "2", "3", "4", "5", "6", "-channel", "0"});
  EXPECT_EQ(module.convertToDiskData(0, nullptr), 1);
  EXPECT_EQ(TiledDouble::calls().size(), 1u);
  EXPECT_EQ(messages(), (Lines{dialogLine(12, 9, 4, 3, names[0]), "answer: -bbox 1 2 3 4 5 6 -channel 0 (script)"}));
  expectStored(dir.file("vol.lda"), afterOption(colours, 0), {1, 2, 3, 4, 5, 6});
}

// A box below zero is a box like any other once the dialog gave it: the
// disk data the colour field falls back to takes it without asking again.
TEST_F(ImageDriver, ABoxBelowZeroFromTheDialogIsNotAskedForAgain) {
  TiledDouble tiled(1, {"TIFF"});
  UxBatchAnswers::push(UxBatchAnswers::IMAGE, {"-bbox", "-5", "5", "-2", "2", "0", "1", "-channel", "10"});
  EXPECT_EQ(module.convertToDiskData(0, nullptr), 1);
  EXPECT_EQ(console.count("image dialog:"), 1);
  EXPECT_EQ(messages(), (Lines{dialogLine(12, 9, 4, 3, names[0]), "answer: -bbox -5 5 -2 2 0 1 -channel 10 (script)",
                               "Colorfield not yet supported by voxelan"}));
  expectStored(dir.file("vol.lda"), afterOption(colours, 10), {-5, 5, -2, 2, 0, 1});
}

TEST_F(ImageDriver, ASingleImageGoesToTheTiledConverterWithoutADescription) {
  TiledDouble tiled(1, {"TIFF"});
  module.inputs.setFilename(names[0].c_str());
  EXPECT_EQ(module.convertToDiskData(0, nullptr), 1);
  EXPECT_EQ(console.lines, Lines{});
  ASSERT_EQ(TiledDouble::calls().size(), 1u);
  EXPECT_EQ(TiledDouble::calls()[0].files, std::vector<std::string>{names[0]});
  EXPECT_EQ(TiledDouble::calls()[0].output, dir.file("vol.lda"));
  EXPECT_EQ(TiledDouble::calls()[0].convertMethod, 2);
  EXPECT_FALSE(TiledDouble::calls()[0].isRaw);
  EXPECT_EQ(madeFiles(names), std::set<std::string>{});
}

TEST_F(ImageDriver, CommandWordsForPngConvertWithoutADialog) {
  const Volume grey = Volume::generated(13, 8, 6);
  const std::vector<std::string> png = stack("p", grey, "PNG");
  const CommandResult done = tcl.convert(
      module, std::vector<std::string>{"-format", "PNG", "-lda", dir.file("words")} + imageWords(kBoxWords, 2, png));
  EXPECT_EQ(done.code, TCL_OK);
  EXPECT_EQ(done.result, "1");
  EXPECT_EQ(messages(), Lines{});
  EXPECT_STREQ(module.output.getFilename(), dir.file("words.lda").c_str());
  expectStored(dir.file("words.lda"), grey, kBox);
}

// File names alone on the command are no description: the dialog asks.
TEST_F(ImageDriver, PlainFileNamesOnTheCommandGetTheDialog) {
  UxBatchAnswers::push(UxBatchAnswers::IMAGE, {"-channel", "0"});
  const CommandResult done =
      tcl.convert(module, std::vector<std::string>{"-format", "TIFF", "-lda", dir.file("plain")} + names);
  EXPECT_EQ(done.result, "1");
  EXPECT_EQ(messages(), (Lines{dialogLine(12, 9, 4, 3, names[0]),
                               "answer: -bbox 0 11 0 8 0 3 -channel 0 (script, default box)"}));
  expectStored(dir.file("plain.lda"), afterOption(colours, 0), {0, 11, 0, 8, 0, 3});
}

// From the ports, a format the tiled converter does not take goes to the
// image reader, which asks the dialog; the set is named .lda.
TEST_F(ImageDriver, FromThePortsAStackNotForTheTiledConverterBecomesDiskData) {
  TiledDouble tiled(1, {"PNG"});
  UxBatchAnswers::push(UxBatchAnswers::IMAGE, {"-bbox", "0", "1", "0", "1", "0", "1", "-channel", "1"});
  EXPECT_EQ(module.convertToDiskData(0, nullptr), 1);
  EXPECT_TRUE(TiledDouble::calls().empty());
  EXPECT_EQ(messages(), (Lines{dialogLine(12, 9, 4, 3, names[0]), "answer: -bbox 0 1 0 1 0 1 -channel 1 (script)"}));
  expectStored(dir.file("vol.lda"), afterOption(colours, 1), {0, 1, 0, 1, 0, 1});
}

// On the tiled path the description words have done their work once the
// stack is described: the tiled converter is handed the image files only.
TEST_F(ImageDriver, OnTheTiledPathTheTiledConverterGetsTheFilesWithoutTheWords) {
  TiledDouble tiled(1, {"TIFF"});
  const CommandResult done =
      tcl.convert(module, std::vector<std::string>{"-format", "TIFF", "-lda", dir.file("words")} +
                              imageWords(kBoxWords, 3, names));
  EXPECT_EQ(done.result, "1");
  EXPECT_EQ(messages(), Lines{});
  ASSERT_EQ(TiledDouble::calls().size(), 1u);
  const TiledDouble::Call& call = TiledDouble::calls()[0];
  EXPECT_EQ(std::vector<int>(call.dims, call.dims + 3), (std::vector<int>{12, 9, 4}));
  EXPECT_EQ(call.convertMethod, 3);
  EXPECT_EQ(std::vector<float>(call.box, call.box + 6), kBox);
  EXPECT_EQ(call.files, names);
}

}  // namespace
