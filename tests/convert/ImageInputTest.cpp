// Image stacks into disk data: every image one z slice, grey values kept and
// colours reduced by the channel option (or kept as a four-component colour
// field), the description from the words or the image dialog, stacks longer
// than one chunk, and the driver's choice between the tiled converter (a
// recording stand-in) and the image reader. Real image files are written with
// Qt; the stored set is opened again and read at level 0 and at subsampling 2.
#include <gtest/gtest.h>

#include <QImage>
#include <QString>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <optional>
#include <string>
#include <vector>

#include "ConvertTestSupport.h"
#include "convert/InputList.h"
#include "host/console/UxWorkArea.h"

namespace {

using namespace convert_test;
using Volume = ReferenceVolume<uint8_t>;

const char kChannelOptions[] =
    "no support for that channel-option for that type of image\n -channel:\n 0 -> maximum \n 1-> average weight \n "
    "2 -> channel 1\n 3 -> channel 2 \n 4 -> channel 3 \n 5 -> alpha-channel \n 10 -> colorfield\n";

// A box the tests give in words, and the same as floats.
const Words kBoxWords = {"0.5", "2", "1", "3", "2", "4"};
const std::vector<float> kBox = {0.5f, 2, 1, 3, 2, 4};

// Slice z of a volume of 1 (grey), 3 (RGB) or 4 (RGBA) components as a QImage
// of Grayscale8, RGB32 or ARGB32.
QImage sliceImage(const Volume& volume, int z) {
  QImage image(volume.nx, volume.ny,
               volume.nc == 1 ? QImage::Format_Grayscale8
                              : volume.nc == 3 ? QImage::Format_RGB32 : QImage::Format_ARGB32);
  for (int y = 0; y < volume.ny; ++y)
    for (int x = 0; x < volume.nx; ++x) {
      if (volume.nc == 1)
        image.scanLine(y)[x] = volume.at(x, y, z);
      else
        reinterpret_cast<QRgb*>(image.scanLine(y))[x] = qRgba(
            volume.at(x, y, z, 0), volume.at(x, y, z, 1), volume.at(x, y, z, 2), volume.nc == 4 ? volume.at(x, y, z, 3) : 255);
    }
  return image;
}

// One file per slice, base000.png, base001.png, ...; the names in order, or
// none when a file could not be written.
Words writeStack(const std::string& base, const Volume& volume, const char* format) {
  Words names;
  for (int z = 0; z < volume.nz; ++z) {
    names.push_back(base + std::to_string(1000 + z).substr(1) + (format == std::string("PNG") ? ".png" : ".tif"));
    if (!sliceImage(volume, z).save(QString::fromStdString(names.back()), format)) return {};
  }
  return names;
}

// A volume of colours with structure in every channel.
Volume colourVolume(int nx, int ny, int nz) {
  Volume v(nx, ny, nz, 3);
  for (int z = 0; z < nz; ++z)
    for (int y = 0; y < ny; ++y)
      for (int x = 0; x < nx; ++x) {
        v.at(x, y, z, 0) = static_cast<uint8_t>((x * 29 + y * 7 + z * 13 + (x * y) % 11) % 256);
        v.at(x, y, z, 1) = static_cast<uint8_t>((x * 5 + y * 31 + z * 17 + 90) % 256);
        v.at(x, y, z, 2) = static_cast<uint8_t>((255 - x * 11 + y * 3 + z * 23) & 0xff);
      }
  return v;
}

// What a channel option makes of a volume of colours (3 or 4 components) or
// grey values (1): one component, or four for the colour field. The weighted
// average is taken in single precision, then truncated.
Volume afterOption(const Volume& in, int option) {
  Volume out(in.nx, in.ny, in.nz, option == 10 ? 4 : 1);
  for (size_t i = 0; i < in.values.size() / in.nc; ++i) {
    const uint8_t* p = &in.values[i * in.nc];
    uint8_t* q = &out.values[i * out.nc];
    const int r = p[0], g = in.nc > 1 ? p[1] : 0, b = in.nc > 1 ? p[2] : 0, a = in.nc == 4 ? p[3] : 1;
    const float weighted = (static_cast<float>(r) * 0.3f + static_cast<float>(g) * 0.59f) + static_cast<float>(b) * 0.11f;
    const int picked[] = {std::max(r, std::max(g, b)), static_cast<int>(weighted), r, g, b, a};
    const int field[] = {r, g, b, a};
    for (int c = 0; c < out.nc; ++c) q[c] = static_cast<uint8_t>(option == 10 ? field[c] : in.nc == 1 ? r : picked[option]);
  }
  return out;
}

// The slices [from, nz) of a volume set to 0: what was never stored.
Volume zeroFrom(Volume volume, int from) {
  std::fill(volume.values.begin() + static_cast<size_t>(from) * volume.nx * volume.ny * volume.nc, volume.values.end(), 0);
  return volume;
}

// The description words the driver hands the image reader: -bbox b1 .. b6 -channel c FILE...
Words imageWords(const Words& box, int option, const Words& files) {
  return Words{"-bbox"} + box + Words{"-channel", std::to_string(option)} + files;
}

// Calls the module's image reader as the driver does: the input list holds
// heap copies of `inputs`, freed here afterwards, and the words (if any) are
// handed over as they are.
int readImages(UxConvertToDiskData& module, const Words& inputs, const std::string& outName, Words words = {}) {
  InputList list;
  for (const std::string& name : inputs) list.append(strdup(name.c_str()));
  std::vector<char*> argv;
  for (std::string& word : words) argv.push_back(&word[0]);
  argv.push_back(nullptr);
  const int argc = static_cast<int>(words.size());
  const int result = module.readerImg2UxDiskData(list, outName.c_str(), argc, argc ? argv.data() : nullptr);
  for (int i = 0; i < list.size(); ++i) std::free(list[i]);
  return result;
}

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

// Every coarse block over the first `slices` slices of a stored set marked
// current. Reading at subsampling brings blocks up to date, so this is asked
// before anything is read.
bool coarseLevelsStored(const std::string& description, int slices) {
  StoredSet set(description);
  return set && set.data->latticeManager->coarseLevelsCurrentOver(slices);
}

// Known pixels under every channel option: grey (five columns, so scan lines
// are padded), colour and colour with alpha. The weighted average is taken in
// single precision (in double precision (7, 7, 7) would give 7). An option the
// image cannot give is refused with the list of options, and nothing is made.
TEST_F(ImageInput, ChannelOptionsGiveKnownValuesOrAreRefused) {
  Volume grey(5, 2, 1), rgb(4, 1, 1, 3), rgba(2, 1, 1, 4);
  grey.values = {0, 7, 128, 255, 1, 2, 3, 4, 5, 6};
  rgb.values = {7, 7, 7, 255, 255, 255, 255, 0, 0, 10, 200, 30};
  rgba.values = {10, 200, 30, 51, 255, 0, 100, 255};
  const struct { const Volume& image; int option; std::vector<uint8_t> values; const char* refusal; } cases[] = {
      {grey, 2, grey.values, nullptr}, {grey, 0, {}, kChannelOptions}, {grey, 10, {}, kChannelOptions},
      {rgb, 0, {7, 255, 255, 200}, nullptr}, {rgb, 1, {6, 255, 76, 124}, nullptr}, {rgb, 2, {7, 255, 255, 10}, nullptr},
      {rgb, 3, {7, 255, 0, 200}, nullptr}, {rgb, 4, {7, 255, 0, 30}, nullptr},
      {rgb, 10, {7, 7, 7, 1, 255, 255, 255, 1, 255, 0, 0, 1, 10, 200, 30, 1}, nullptr},
      {rgb, 5, {}, kChannelOptions}, {rgb, 7, {}, kChannelOptions}, {rgb, -1, {}, "not a supported option"},
      {rgba, 0, {200, 255}, nullptr}, {rgba, 5, {51, 255}, nullptr}, {rgba, 10, rgba.values, nullptr}};
  for (const auto& c : cases) {
    const std::string out = "known" + std::to_string(&c - cases) + ".km";
    SCOPED_TRACE(out);
    console.lines.clear();
    EXPECT_EQ(convertImages(stack(out, c.image), out, c.option), c.refusal ? 0 : 1);
    EXPECT_EQ(console.lines, c.refusal ? Lines{c.refusal} : Lines{});
    StoredSet set(dir.file(out));
    if (c.refusal == kChannelOptions) {
      EXPECT_FALSE(set) << "made nothing";
    }
    if (c.refusal) continue;
    ASSERT_TRUE(set);
    EXPECT_EQ(set.read<uint8_t>(1).values, c.values);
    EXPECT_EQ(set.box(), kBox);
  }
}

// The words, and files that do not read.

TEST_F(ImageInput, BadWordsAndFilesAreRefusedWithTheirReason) {
  const Words names = stack("grey", Volume::generated(8, 6, 3));
  const Words wider = stack("wide", Volume::generated(9, 6, 1)), taller = stack("tall", Volume::generated(8, 7, 1));
  const std::string missing = dir.file("missing.png");
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
               {Words(all.begin(), all.begin() + 9), true, "Error: not enough arguments", true},
               {box, true, "Error -bbox", true},
               {channel, true, "Error -channel", true},
               {imageWords(kBoxWords, 2, {missing, names[0]}), true, "Error: can't read  " + missing + ".\n", true},
               {imageWords(kBoxWords, 2, {names[0], names[1], missing}), true, "Could not read " + missing, false},
               {imageWords(kBoxWords, 2, {names[0], names[1], wider[0]}), true, unequal, false},
               {imageWords(kBoxWords, 2, {names[0], taller[0], names[1]}), true, unequal, false}};
  for (const auto& c : cases) {
    const std::string out = "out" + std::to_string(&c - cases) + ".km";
    SCOPED_TRACE(out + ": " + c.message);
    console.lines.clear();
    EXPECT_EQ(readImages(module, c.inputs, dir.file(out), c.words ? c.inputs : Words{}), 0);
    EXPECT_EQ(console.lines, Lines{c.message});
    if (c.makesNothing) {
      EXPECT_EQ(madeFiles(names + wider + taller), std::set<std::string>{});
    }
  }
}

// Stacks of more than one chunk (64 slices a chunk for small images): chunks
// stored before an interruption are kept, their coarse levels up to date; the
// short last chunk reuses the buffer and holds its own slices only.
TEST_F(ImageInput, StacksGoInChunksOfSixtyFourSlices) {
  const Volume grey = Volume::generated(16, 12, 130), colours = colourVolume(16, 12, 130);
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
    EXPECT_EQ(console.lines, c.interruptAt < 0 ? Lines{} : (Lines{"Interrupted"}));
    // An interrupted stack leaves the levels over slices never stored to a read.
    EXPECT_TRUE(coarseLevelsStored(dir.file(out), c.storedSlices));
    EXPECT_EQ(coarseLevelsStored(dir.file(out), 130), c.storedSlices == 130);
    expectStored(dir.file(out), zeroFrom(afterOption(c.colour ? colours : grey, c.option), c.storedSlices), kBox);
  }
}

// The driver's image branches.

class ImageDriver : public ImageInput {
 protected:
  void SetUp() override { names = stack("s", colours, "TIFF"); }
  static std::string joined(const Words& words) {
    std::string text;
    for (const std::string& word : words) text += (text.empty() ? "" : " ") + word;
    return text;
  }
  const Volume colours = colourVolume(12, 9, 4);
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
    EXPECT_EQ(convertFromPorts(names, "vol", UxBatchAnswers::IMAGE, c.answer), c.result);
    const Lines said = {dialogLine(12, 9, 4, 3, names[0]), "answer: " + joined(c.answer) + " (script)"};
    EXPECT_EQ(console.lines, said + c.more);
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
  EXPECT_EQ(convertFromPorts({names[0]}), 1);
  EXPECT_EQ(console.lines, Lines{});
  ASSERT_EQ(TiledDouble::calls().size(), 1u);
  EXPECT_EQ(TiledDouble::calls()[0].files, Words{names[0]});
  EXPECT_NE(TiledDouble::calls()[0].description.find(" method 2 header 0 images"), std::string::npos);
}

// From the command's words: the image words describe the stack (the label's
// case does not matter); plain file names, or words whose box has a negative x
// minimum, get the dialog; the tiled converter gets the files without the words.
TEST_F(ImageDriver, FromTheCommandsWords) {
  const Volume grey = Volume::generated(11, 8, 3);
  const Words greyNames = stack("g", grey, "PNG");
  const Words negative = {"-5", "10", "0", "1", "0", "1"};
  const std::string coloursAsked = dialogLine(12, 9, 4, 3, names[0]);
  const struct {
    const char* tiled;  // nullptr: none
    const char* format;
    Words words, answer;
    Lines messages;
    int option;
    std::vector<float> box;  // empty: tiled
  } cases[] = {
      {nullptr, "tiff", imageWords(kBoxWords, 2, names), {}, {}, 2, kBox},
      {"TIFF", "TIFF", imageWords(kBoxWords, 10, names), {}, {"Colorfield not yet supported by voxelan"}, 10, kBox},
      {nullptr, "TIFF", names, {"-channel", "0"},
       {coloursAsked, "answer: -bbox 0 11 0 8 0 3 -channel 0 (script, default box)"}, 0, {0, 11, 0, 8, 0, 3}},
      {nullptr, "TIFF", imageWords(negative, 1, names), {"-channel", "3", "-bbox", "1", "2", "3", "4", "5", "6"},
       {coloursAsked, "answer: -bbox 1 2 3 4 5 6 -channel 3 (script)"}, 3, {1, 2, 3, 4, 5, 6}},
      {nullptr, "TIFF", names, {"-bbox", "1", "2", "3", "4", "5", "6"},
       {coloursAsked, "answer: -bbox 1 2 3 4 5 6 -channel 1 (script, default channel)"}, 1, {1, 2, 3, 4, 5, 6}},
      {nullptr, "PNG", greyNames, {},
       {dialogLine(11, 8, 3, 1, greyNames[0]), "answer: -bbox 0 10 0 7 0 2 -channel 2 (script, default box and channel)"},
       2, {0, 10, 0, 7, 0, 2}},
      {"TIFF", "TIFF", imageWords(kBoxWords, 3, names), {}, {}, 3, {}}};
  for (const auto& c : cases) {
    SCOPED_TRACE(std::string(c.format) + " " + std::to_string(c.option) + " " + std::to_string(c.words.size()));
    console.lines.clear();
    std::optional<TiledDouble> tiled;
    if (c.tiled) tiled.emplace(1, Words{c.tiled});
    UxBatchAnswers::push(UxBatchAnswers::IMAGE, c.answer);
    EXPECT_EQ(convert(Words{"-format", c.format, "-lda", dir.file("words")} + c.words).result, "1");
    EXPECT_EQ(console.lines, c.messages);
    EXPECT_STREQ(module.output.getFilename(), dir.file("words.lda").c_str());
    ASSERT_EQ(TiledDouble::calls().size(), c.box.empty() ? 1u : 0u);
    UxBatchAnswers::clear();
    if (c.box.empty()) {
      EXPECT_EQ(TiledDouble::calls()[0].files, names);
      EXPECT_EQ(TiledDouble::calls()[0].description,
                "box 0.5 2 1 3 2 4 dims 12 9 4 type uint8 little method 3 header 0 images");
      continue;
    }
    expectStored(dir.file("words.lda"), afterOption(c.words == greyNames ? grey : colours, c.option), c.box);
    for (const std::string& made : madeFiles(names + greyNames)) std::remove(made.c_str());
  }
}

}  // namespace
