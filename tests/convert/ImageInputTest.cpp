// Image stacks into disk data: every image one z slice, grey values kept and
// colours reduced by the channel option (or kept as a four-component colour
// field), the description from the words or the image dialog, stacks longer
// than one chunk, and the driver's choice between the tiled converter (a
// recording stand-in) and the image reader. Real image files are written with
// Qt; the stored set is opened again and read at level 0 and at subsampling 2.
#include <gtest/gtest.h>

#include <QImage>
#include <QString>

#include <cstdio>
#include <optional>
#include <string>
#include <vector>

#include "ConvertTestSupport.h"
#include "ImageStackSupport.h"
#include "host/console/UxWorkArea.h"

namespace {

using namespace convert_test;
using namespace image_test;

const char kChannelOptions[] =
    "no support for that channel-option for that type of image\n -channel:\n 0 -> maximum \n 1-> average weight \n "
    "2 -> channel 1\n 3 -> channel 2 \n 4 -> channel 3 \n 5 -> alpha-channel \n 10 -> colorfield\n";

// A box the tests give in words, and the same as floats.
const Words kBoxWords = {"0.5", "2", "1", "3", "2", "4"};
const std::vector<float> kBox = {0.5f, 2, 1, 3, 2, 4};

class ImageInput : public ConvertTest {
 protected:
  void TearDown() override { UxWorkArea::interruptAfterChecks(-1); }

  // The volume written as one image file per slice.
  Words stack(const std::string& name, const Volume& volume, const char* format = "PNG") {
    Words names = writeStack(dir.file(name), volume, format);
    EXPECT_EQ(names.size(), static_cast<size_t>(volume.nz)) << "cannot write " << format << " files";
    return names;
  }
  // The image reader with the description words before the files.
  int convertImages(const Words& files, const std::string& out, int option, const Words& box = kBoxWords) {
    const Words words = imageWords(box, option, files);
    return readImages(module, words, dir.file(out), words);
  }
  static std::string dialogLine(int w, int h, int d, int channels, const std::string& first) {
    return "image dialog: stack of " + std::to_string(w) + " x " + std::to_string(h) + " x " + std::to_string(d) +
           ", " + std::to_string(channels) + (channels == 1 ? " channel" : " channels") + ", first image " + first;
  }
};

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

// ---------------------------------------------------------------------------
// Channel options: what each makes of grey, RGB and RGBA stacks.

TEST_F(ImageInput, ChannelOptionsGiveTheirComponentsOrAreRefused) {
  const Volume stacks[] = {Volume::generated(19, 13, 5), colourVolume(19, 13, 5, 3), colourVolume(19, 13, 5, 4)};
  const Words names[] = {stack("grey", stacks[0]), stack("rgb", stacks[1]), stack("rgba", stacks[2])};
  const struct {
    int channels, option, components;
    const char* refusal;
  } cases[] = {{1, 2, 1, nullptr},          {1, 0, 0, kChannelOptions}, {1, 1, 0, kChannelOptions},
               {1, 3, 0, kChannelOptions},  {1, 4, 0, kChannelOptions}, {1, 5, 0, kChannelOptions},
               {1, 10, 0, kChannelOptions}, {3, 0, 1, nullptr},         {3, 1, 1, nullptr},
               {3, 2, 1, nullptr},          {3, 3, 1, nullptr},         {3, 4, 1, nullptr},
               {3, 10, 4, nullptr},         {3, 5, 0, kChannelOptions}, {3, 7, 0, kChannelOptions},
               {3, -1, 0, "not a supported option"},                     {4, 10, 4, nullptr},
               {4, 5, 1, nullptr},          {4, 0, 1, nullptr},         {4, 1, 1, nullptr},
               {4, 4, 1, nullptr}};
  for (const auto& c : cases) {
    const int which = c.channels == 1 ? 0 : c.channels - 2;
    const std::string out = std::to_string(c.channels) + "-" + std::to_string(c.option) + ".km";
    SCOPED_TRACE(out);
    console.lines.clear();
    EXPECT_EQ(convertImages(names[which], out, c.option), c.refusal ? 0 : 1);
    if (c.refusal) {
      EXPECT_EQ(messages(), Lines{c.refusal});
      if (c.refusal == kChannelOptions) {
        EXPECT_FALSE(fileExists(dir.file(out)));
      }
      continue;
    }
    EXPECT_EQ(messages(), Lines{});
    StoredSet set(dir.file(out));
    ASSERT_TRUE(set);
    EXPECT_EQ(set.data->getNDataVar(), c.components);
    expectHolds(set, afterOption(stacks[which], c.option), kBox);
  }
}

// Colours whose results are known by heart; the weighted average is taken in
// single precision (in double precision (7, 7, 7) would give 7).
TEST_F(ImageInput, KnownColoursUnderEveryOption) {
  Volume colours(4, 1, 1, 3);
  const uint8_t rgb[] = {7, 7, 7, 255, 255, 255, 255, 0, 0, 10, 200, 30};
  colours.values.assign(rgb, rgb + 12);
  const Words names = stack("known", colours);
  const std::pair<int, std::vector<uint8_t>> wanted[] = {
      {1, {6, 255, 76, 124}}, {0, {7, 255, 255, 200}}, {2, {7, 255, 255, 10}},
      {3, {7, 255, 0, 200}},  {4, {7, 255, 0, 30}},    {10, {7, 7, 7, 1, 255, 255, 255, 1, 255, 0, 0, 1, 10, 200, 30, 1}}};
  for (const auto& [option, values] : wanted) {
    const std::string out = "known" + std::to_string(option) + ".km";
    ASSERT_EQ(convertImages(names, out, option), 1) << option;
    StoredSet set(dir.file(out));
    ASSERT_TRUE(set);
    EXPECT_EQ(set.readAll<uint8_t>(1).values, values) << option;
  }
}

// ---------------------------------------------------------------------------
// The words, and files that do not read.

TEST_F(ImageInput, BadWordsAndFilesAreRefusedWithTheirReason) {
  const Words names = stack("grey", Volume::generated(8, 6, 3));
  const Words wider = stack("wide", Volume::generated(9, 6, 1)), taller = stack("tall", Volume::generated(8, 7, 1));
  const std::string missing = dir.file("missing.png"), text = dir.file("text.png");
  writeWholeFile(text, "not an image at all\n");
  const Words all = imageWords(kBoxWords, 2, names);
  Words box = all, channel = all;
  box[0] = "-box";
  channel[7] = "-chanel";
  const std::string unequal = "images are not all of the same dimensions";
  const struct {
    Words inputs;
    bool words;  // the inputs are the reader's words, as the driver hands them
    std::string message;
    bool makesNothing;
  } cases[] = {{{}, false, "Error: no input files", true},
               {Words(all.begin(), all.begin() + 1), true, "Error: not enough arguments", true},
               {Words(all.begin(), all.begin() + 5), true, "Error: not enough arguments", true},
               {Words(all.begin(), all.begin() + 9), true, "Error: not enough arguments", true},
               {box, true, "Error -bbox", true},
               {channel, true, "Error -channel", true},
               {imageWords(kBoxWords, 2, {missing, names[0]}), true, "Error: can't read  " + missing + ".\n", true},
               {imageWords(kBoxWords, 2, {text, names[0]}), true, "Error: can't read  " + text + ".\n", true},
               {imageWords(kBoxWords, 2, {names[0], names[1], missing}), true, "Could not read " + missing, false},
               {imageWords(kBoxWords, 2, {names[0], names[1], wider[0]}), true, unequal, false},
               {imageWords(kBoxWords, 2, {names[0], taller[0], names[1]}), true, unequal, false}};
  for (const auto& c : cases) {
    const std::string out = "out" + std::to_string(&c - cases) + ".km";
    SCOPED_TRACE(out + ": " + c.message);
    console.lines.clear();
    EXPECT_EQ(readImages(module, c.inputs, dir.file(out), c.words ? c.inputs : Words{}), 0);
    EXPECT_EQ(messages(), Lines{c.message});
    if (c.makesNothing) {
      EXPECT_EQ(madeFiles(names + wider + taller + Words{text}), std::set<std::string>{});
    }
  }
}

// ---------------------------------------------------------------------------
// The image dialog, asked when no words are given or the words' box has a
// negative x minimum; its box and option are what the set gets.

TEST_F(ImageInput, TheDialogGivesBoxAndOption) {
  const Volume colours = colourVolume(12, 9, 5, 3), grey = Volume::generated(11, 8, 3);
  const Words rgb = stack("rgb", colours), g = stack("grey", grey);
  const struct {
    const Words& files;
    Words answer;
    bool negativeBox;  // the words give a box from -5: no box
    std::string said;
    Volume stored;
    std::vector<float> box;
  } cases[] = {{rgb, {"-bbox", "1", "2", "3", "4", "5", "6", "-channel", "3"}, true,
                "-bbox 1 2 3 4 5 6 -channel 3 (script)", afterOption(colours, 3), {1, 2, 3, 4, 5, 6}},
               {rgb, {}, false, "-bbox 0 11 0 8 0 4 -channel 1 (script, default box and channel)",
                afterOption(colours, 1), {0, 11, 0, 8, 0, 4}},
               {g, {}, false, "-bbox 0 10 0 7 0 2 -channel 2 (script, default box and channel)", grey,
                {0, 10, 0, 7, 0, 2}}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.said);
    console.lines.clear();
    UxBatchAnswers::push(UxBatchAnswers::IMAGE, c.answer);
    const std::string out = "asked" + std::to_string(&c - cases) + ".km";
    if (c.negativeBox)
      EXPECT_EQ(convertImages(c.files, out, 1, {"-5", "10", "0", "1", "0", "1"}), 1);
    else
      EXPECT_EQ(readImages(module, c.files, dir.file(out)), 1);
    const int channels = c.files == g ? 1 : 3;
    EXPECT_EQ(messages(), (Lines{dialogLine(c.stored.nx, c.stored.ny, c.stored.nz, channels, c.files[0]), "answer: " + c.said}));
    expectStored(dir.file(out), c.stored, c.box);
  }
}

// Stacks of more than one chunk (64 slices a chunk for small images): chunks
// stored before an interruption are kept, their coarse levels up to date; the
// short last chunk reuses the buffer and holds its own slices only.
TEST_F(ImageInput, StacksGoInChunksOfSixtyFourSlices) {
  const Volume grey = Volume::generated(16, 12, 130), colours = colourVolume(16, 12, 130, 3);
  const Words greyNames = stack("grey", grey), colourNames = stack("rgb", colours);
  const struct {
    bool colour;
    int option, interruptAt, storedSlices;
  } cases[] = {{false, 2, -1, 130}, {false, 2, 70, 64}, {false, 2, 129, 128}, {true, 10, -1, 130}};
  for (const auto& c : cases) {
    const std::string out = "deep" + std::to_string(c.interruptAt) + (c.colour ? "rgb.km" : ".km");
    SCOPED_TRACE(out);
    console.lines.clear();
    UxWorkArea::interruptAfterChecks(c.interruptAt);
    EXPECT_EQ(convertImages(c.colour ? colourNames : greyNames, out, c.option), 1);
    UxWorkArea::interruptAfterChecks(-1);
    EXPECT_EQ(messages(), c.interruptAt < 0 ? Lines{} : (Lines{"interrupted", "Interrupted"}));
    EXPECT_EQ(staleCoarseBlocks(dir.file(out)), 0);
    expectStored(dir.file(out), zeroFrom(afterOption(c.colour ? colours : grey, c.option), c.storedSlices), kBox);
  }
}

// Stacks of other formats: lossless ones keep every value; JPEG loses a
// little, so the set holds exactly what the files decode to.
TEST_F(ImageInput, TiffBmpAndJpegStacks) {
  const Volume stacks[] = {Volume::generated(15, 10, 5), colourVolume(15, 10, 5, 3)};
  const struct {
    const char* format;
    int channels, option;
  } cases[] = {{"TIFF", 1, 2}, {"TIFF", 3, 10}, {"BMP", 1, 2}, {"BMP", 3, 4}, {"JPEG", 3, 3}};
  for (const auto& c : cases) {
    const std::string name = c.format + std::to_string(c.channels);
    SCOPED_TRACE(name);
    const Words names = stack(name, stacks[c.channels / 3], c.format);
    EXPECT_EQ(convertImages(names, name + ".km", c.option), 1);
    const Volume written = *c.format == 'J' ? decodedStack(names) : stacks[c.channels / 3];
    ASSERT_EQ(written.values.size(), stacks[c.channels / 3].values.size());
    expectStored(dir.file(name + ".km"), afterOption(written, c.option), kBox);
  }
  EXPECT_EQ(messages(), Lines{});
}

// ---------------------------------------------------------------------------
// The driver's image branches.

class ImageDriver : public ImageInput {
 protected:
  void SetUp() override { names = stack("s", colours, "TIFF"); }
  int convertFromPorts(const Words& files, const Words& answer) {
    std::vector<const char*> pointers;
    for (const std::string& name : files) pointers.push_back(name.c_str());
    module.inputs.setFilenames(pointers.data(), static_cast<int>(pointers.size()));
    module.output.setFilename(dir.file("vol").c_str());
    if (!answer.empty()) UxBatchAnswers::push(UxBatchAnswers::IMAGE, answer);
    return module.convertToDiskData(0, nullptr);
  }
  static std::string joined(const Words& words) {
    std::string text;
    for (const std::string& word : words) text += (text.empty() ? "" : " ") + word;
    return text;
  }
  const Volume colours = colourVolume(12, 9, 4, 3);
  Words names;
};

// From the ports the dialog describes the stack once. Then the tiled converter
// gets it, unless disk data is forced, it does not take TIFF, or the option is
// the colour field; after its failure the image reader converts the stack as
// described. A single image needs no description.
TEST_F(ImageDriver, FromThePorts) {
  const std::string colourField = "Colorfield not yet supported by voxelan";
  const struct {
    const char* tiled;
    int tiledAnswer;
    const char* forced;
    Words answer;
    int result;
    const char* stored;
    Lines more;
  } cases[] = {{"TIFF", 1, "0", {"-bbox", "1", "2", "3", "4", "5", "6", "-channel", "3"}, 1, nullptr, {}},
               {"TIFF", 1, "0", {"cancel"}, -1, nullptr, {}},
               {"TIFF", 1, "1", {"-bbox", "1", "2", "3", "4", "5", "6", "-channel", "4"}, 1, "vol.km", {}},
               {"TIFF", 1, "0", {"-bbox", "1", "2", "3", "4", "5", "6", "-channel", "10"}, 1, "vol.lda", {colourField}},
               {"TIFF", 1, "0", {"-bbox", "-5", "5", "-2", "2", "0", "1", "-channel", "10"}, 1, "vol.lda", {colourField}},
               {"TIFF", 0, "0", {"-bbox", "1", "2", "3", "4", "5", "6", "-channel", "0"}, 1, "vol.lda", {}},
               {"PNG", 1, "0", {"-bbox", "0", "1", "0", "1", "0", "1", "-channel", "1"}, 1, "vol.lda", {}}};
  for (const auto& c : cases) {
    SCOPED_TRACE(joined(c.answer) + " tiled " + c.tiled + " forced " + c.forced);
    console.lines.clear();
    TiledDouble tiled(c.tiledAnswer, {c.tiled});
    EXPECT_EQ(run({"forceKorin311Format", c.forced}).code, TCL_OK);
    EXPECT_EQ(convertFromPorts(names, c.answer), c.result);
    EXPECT_EQ(messages(), (Lines{dialogLine(12, 9, 4, 3, names[0]), "answer: " + joined(c.answer) + " (script)"} + c.more));
    const bool toTiled = c.tiled == std::string("TIFF") && *c.forced == '0' && c.result == 1 && c.more.empty();
    ASSERT_EQ(TiledDouble::calls().size(), toTiled ? 1u : 0u);
    if (toTiled) {
      const TiledDouble::Call& call = TiledDouble::calls()[0];
      EXPECT_EQ(call.files, names);
      EXPECT_EQ(call.output, dir.file("vol.lda"));
      EXPECT_EQ(call.description, "box " + joined(Words(c.answer.begin() + 1, c.answer.begin() + 7)) +
                                      " dims 12 9 4 type uint8 little method " + c.answer[8] + " header 0 images");
    }
    if (!c.stored) {
      EXPECT_EQ(madeFiles(names), std::set<std::string>{});
      continue;
    }
    EXPECT_STREQ(module.output.getFilename(), dir.file(c.stored).c_str());
    std::vector<float> box;
    for (int i = 1; i <= 6; ++i) box.push_back(std::stof(c.answer[i]));
    expectStored(dir.file(c.stored), afterOption(colours, std::stoi(c.answer[8])), box);
    for (const std::string& made : madeFiles(names)) std::remove(made.c_str());
  }

  console.lines.clear();
  TiledDouble tiled(1, {"TIFF"});
  EXPECT_EQ(convertFromPorts({names[0]}, {}), 1);
  EXPECT_EQ(console.lines, Lines{});
  ASSERT_EQ(TiledDouble::calls().size(), 1u);
  EXPECT_EQ(TiledDouble::calls()[0].files, Words{names[0]});
  EXPECT_NE(TiledDouble::calls()[0].description.find(" method 2 header 0 images"), std::string::npos);
}

// From the command's words: the image words describe the stack (the label's
// case does not matter), plain file names get the dialog, and the tiled
// converter gets the files without the words.
TEST_F(ImageDriver, FromTheCommandsWords) {
  const Words png = stack("p", colours, "PNG");
  const struct {
    const char* tiled;  // nullptr: none
    const char* format;
    Words words;
    Words answer;
    Lines messages;
    int option;
    std::vector<float> box;
  } cases[] = {{nullptr, "tiff", imageWords(kBoxWords, 2, names), {}, {}, 2, kBox},
               {nullptr, "PNG", imageWords(kBoxWords, 4, png), {}, {}, 4, kBox},
               {"TIFF", "TIFF", imageWords(kBoxWords, 10, names), {}, {"Colorfield not yet supported by voxelan"}, 10, kBox},
               {nullptr, "TIFF", names, {"-channel", "0"},
                {dialogLine(12, 9, 4, 3, names[0]), "answer: -bbox 0 11 0 8 0 3 -channel 0 (script, default box)"},
                0, {0, 11, 0, 8, 0, 3}},
               {"TIFF", "TIFF", imageWords(kBoxWords, 3, names), {}, {}, 3, {}}};
  for (const auto& c : cases) {
    SCOPED_TRACE(std::string(c.format) + " " + std::to_string(c.option));
    console.lines.clear();
    std::optional<TiledDouble> tiled;
    if (c.tiled) tiled.emplace(1, Words{c.tiled});
    if (!c.answer.empty()) UxBatchAnswers::push(UxBatchAnswers::IMAGE, c.answer);
    EXPECT_EQ(convert(Words{"-format", c.format, "-lda", dir.file("words")} + c.words).result, "1");
    EXPECT_EQ(messages(), c.messages);
    EXPECT_STREQ(module.output.getFilename(), dir.file("words.lda").c_str());
    ASSERT_EQ(TiledDouble::calls().size(), c.box.empty() ? 1u : 0u);
    if (c.box.empty()) {
      EXPECT_EQ(TiledDouble::calls()[0].files, names);
      EXPECT_EQ(TiledDouble::calls()[0].description,
                "box 0.5 2 1 3 2 4 dims 12 9 4 type uint8 little method 3 header 0 images");
      continue;
    }
    expectStored(dir.file("words.lda"), afterOption(colours, c.option), c.box);
    for (const std::string& made : madeFiles(names + png)) std::remove(made.c_str());
  }
}

}  // namespace
