// KorinMesh volumes into disk data: the first plain three-dimensional section
// is streamed from the file, and files that cannot be streamed are refused.
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "ConvertTestSupport.h"
#include "support/ConsoleCapture.h"
#include "support/TempDir.h"

namespace {

using namespace convert_test;

const float kBox[6] = {0, 1, 0, 2, 0, 3};

// A mesh file with the given sections, each on its own location, written by the host's writer.
struct Section {
  const char* name;
  int nDims;
  int dims[3];
  TbPrimType type;
  int nDataVar;
  const void* values;
  int encoding;
};

bool writeMesh(const std::string& path, const std::vector<Section>& sections, int encoding,
               bool withBox = true) {
  KorinMesh mesh;
  mesh.parameters().set("ContentType", "Volume", 0);
  if (withBox) mesh.parameters().set("BoundingBox", 6, kBox);
  for (const Section& s : sections) {
    KorinMesh::Location* where = mesh.addLocation((std::string("On") + s.name).c_str(), s.nDims, s.dims);
    if (!where || !mesh.addSection(where, s.name, s.type, s.nDataVar, s.values, s.encoding)) return false;
  }
  return mesh.write(path.c_str(), encoding) != 0;
}

class MeshConversion : public ::testing::Test {
 protected:
  // From the ports, as the module's button converts: no command words.
  int convertFromPorts(const std::string& file) {
    module.inputs.setFilename(file.c_str());
    module.output.setFilename(dir.file("out").c_str());
    return module.convertToDiskData(0, nullptr);
  }
  CommandResult convertCommand(const std::vector<std::string>& files) {
    return tcl.convert(module, std::vector<std::string>{"-format", "KorinMesh", "-lda", dir.file("out")} + files);
  }
  std::vector<std::string> messages() const { return withoutProgress(console.lines); }

  TempDir dir;
  UxConvertToDiskData module;
  Interpreter tcl;
  ConsoleCapture console;
};

// Written by hand as the file format's notes describe: the text header, then
// the values, most significant byte first.
TEST_F(MeshConversion, ABigEndianUint16VolumeWrittenByHand) {
  const auto volume = testVolume<uint16_t>(37, 21, 9);
  const std::string header =
      "korinmesh 1 binary big-endian\n"
      "# 37 x 21 x 9 densities, two bytes each, most significant byte first.\n"
      "string ContentType \"Volume\"\n"
      "reals BoundingBox 0 1 0 2 0 3\n"
      "location Lattice 37 21 9\n"
      "section Density on Lattice type uint16 components 1 encoding 0\n"
      "data Density\n";
  const std::string file = dir.file("volume.km");
  writeWholeFile(file, header + rawBytes(volume, true));
  const CommandResult done = convertCommand({file});
  EXPECT_EQ(done.result, "1");
  EXPECT_FALSE(console.saw("Error converting files"));
  expectStored(dir.file("out.lda"), volume);

  // Saved by an editor that ends lines with a carriage return too: the values
  // still start right after the line feed of the data line.
  std::string crlf;
  for (char c : header) crlf += c == '\n' ? std::string("\r\n") : std::string(1, c);
  const std::string dos = dir.file("dos.km");
  writeWholeFile(dos, crlf + rawBytes(volume, true));
  module.output.setFilename("");
  EXPECT_EQ(tcl.convert(module, {"-format", "KorinMesh", "-lda", dir.file("dos"), dos}).result, "1");
  expectStored(dir.file("dos.lda"), volume);
}

TEST_F(MeshConversion, ALittleEndianFileWithTwoComponents) {
  const auto volume = testVolume<int16_t>(20, 17, 6, 2);
  const Section density{"Density", 3, {20, 17, 6}, TbPrimType::INT16, 2, volume.values.data(), KorinMesh::PLAIN};
  const std::string file = dir.file("pair.km");
  ASSERT_TRUE(writeMesh(file, {density}, KorinMesh::BINARY_LITTLE_ENDIAN));
  EXPECT_EQ(convertFromPorts(file), 1);
  EXPECT_EQ(messages(), std::vector<std::string>{});
  expectStored(dir.file("out.lda"), volume);
}

TEST_F(MeshConversion, ThePlainThreeDimensionalSectionAfterOthersIsTaken) {
  const auto volume = testVolume<float>(11, 9, 7);
  const auto map = testVolume<uint8_t>(11, 9, 1);
  const auto packed = testVolume<float>(11, 9, 7, 1);
  std::vector<float> other(packed.values.size(), 42.5f);
  const Section thickness{"Thickness", 2, {11, 9, 1}, TbPrimType::UINT8, 1, map.values.data(), KorinMesh::PLAIN};
  const Section zipped{"Packed", 3, {11, 9, 7}, TbPrimType::FLOAT, 1, other.data(), KorinMesh::ZLIB};
  const Section density{"Density", 3, {11, 9, 7}, TbPrimType::FLOAT, 1, volume.values.data(), KorinMesh::PLAIN};
  for (int encoding : {KorinMesh::BINARY_LITTLE_ENDIAN, KorinMesh::BINARY_BIG_ENDIAN}) {
    SCOPED_TRACE(encoding);
    const std::string file = dir.file("layers" + std::to_string(encoding) + ".km");
    ASSERT_TRUE(writeMesh(file, {thickness, zipped, density}, encoding));
    module.inputs.setFilename(file.c_str());
    module.output.setFilename(dir.file("out" + std::to_string(encoding)).c_str());
    EXPECT_EQ(module.convertToDiskData(0, nullptr), 1);
    expectStored(dir.file("out" + std::to_string(encoding) + ".lda"), volume);
  }
  EXPECT_EQ(messages(), std::vector<std::string>{});
}

TEST_F(MeshConversion, OnlyAnEncodedVolumeConvertsNothing) {
  const auto volume = testVolume<uint8_t>(8, 8, 4);
  const Section zipped{"Labels", 3, {8, 8, 4}, TbPrimType::UINT8, 1, volume.values.data(), KorinMesh::ZLIB};
  const std::string file = dir.file("labels.km");
  ASSERT_TRUE(writeMesh(file, {zipped}, KorinMesh::BINARY_LITTLE_ENDIAN));
  EXPECT_EQ(convertFromPorts(file), 0);
  EXPECT_EQ(console.lines, std::vector<std::string>{"Error converting files"});
  EXPECT_EQ(filesIn(dir.path()), std::set<std::string>{file});
}

TEST_F(MeshConversion, AVolumeWithoutBoundingBoxIsRefused) {
  const auto volume = testVolume<uint8_t>(8, 8, 4);
  const Section density{"Density", 3, {8, 8, 4}, TbPrimType::UINT8, 1, volume.values.data(), KorinMesh::PLAIN};
  const std::string file = dir.file("nobox.km");
  ASSERT_TRUE(writeMesh(file, {density}, KorinMesh::BINARY_LITTLE_ENDIAN, false));
  EXPECT_EQ(convertFromPorts(file), 0);
  EXPECT_EQ(console.lines, (std::vector<std::string>{"Bounding box missing.", "Error converting files"}));
  EXPECT_EQ(filesIn(dir.path()), std::set<std::string>{file});
}

TEST_F(MeshConversion, AFileThatDoesNotReadIsReported) {
  const auto volume = testVolume<uint16_t>(8, 8, 4);
  const std::string header =
      "korinmesh 1 binary little-endian\n"
      "reals BoundingBox 0 1 0 2 0 3\n"
      "location Lattice 8 8 4\n"
      "section Density on Lattice type uint16\n"
      "data Density\n";
  const std::string truncated = dir.file("truncated.km");
  writeWholeFile(truncated, header + rawBytes(volume, false).substr(0, 400));
  const std::string version = dir.file("version.km");
  writeWholeFile(version, "korinmesh 2 binary little-endian\n" + header.substr(header.find('\n') + 1) +
                              rawBytes(volume, false));
  const std::string missing = dir.file("missing.km");
  for (const std::string& file : {truncated, version, missing}) {
    SCOPED_TRACE(file);
    console.lines.clear();
    EXPECT_EQ(convertFromPorts(file), 0);
    EXPECT_EQ(console.lines, (std::vector<std::string>{"Error reading KorinMesh file.", "Error converting files"}));
  }
  EXPECT_EQ(filesIn(dir.path()), (std::set<std::string>{truncated, version}));
}

TEST_F(MeshConversion, ATextFileIsRefused) {
  const auto volume = testVolume<int32_t>(6, 5, 3);
  const Section density{"Density", 3, {6, 5, 3}, TbPrimType::INT32, 1, volume.values.data(), KorinMesh::PLAIN};
  const std::string file = dir.file("text.km");
  ASSERT_TRUE(writeMesh(file, {density}, KorinMesh::TEXT));
  EXPECT_EQ(convertFromPorts(file), 0);
  EXPECT_EQ(console.lines,
            (std::vector<std::string>{
                "Error: " + file + " holds its data as text; only binary KorinMesh files can be converted",
                "Error converting files"}));
  EXPECT_EQ(filesIn(dir.path()), std::set<std::string>{file});
}

TEST_F(MeshConversion, TwoFilesAreOneTooMany) {
  const auto volume = testVolume<uint8_t>(8, 8, 4);
  const Section density{"Density", 3, {8, 8, 4}, TbPrimType::UINT8, 1, volume.values.data(), KorinMesh::PLAIN};
  ASSERT_TRUE(writeMesh(dir.file("a.km"), {density}, KorinMesh::BINARY_LITTLE_ENDIAN));
  ASSERT_TRUE(writeMesh(dir.file("b.km"), {density}, KorinMesh::BINARY_LITTLE_ENDIAN));
  EXPECT_EQ(convertCommand({dir.file("a.km"), dir.file("b.km")}).result, "0");
  EXPECT_EQ(console.lines, (std::vector<std::string>{"error: need exactly one file []", "Error converting files"}));
  EXPECT_EQ(filesIn(dir.path()), (std::set<std::string>{dir.file("a.km"), dir.file("b.km")}));
}

// The reader takes no options: words beyond the file are said to be ignored,
// and the conversion goes on.
TEST_F(MeshConversion, ExtraWordsAreIgnored) {
  const auto volume = testVolume<uint16_t>(10, 9, 5);
  const Section density{"Density", 3, {10, 9, 5}, TbPrimType::UINT16, 1, volume.values.data(), KorinMesh::PLAIN};
  const std::string file = dir.file("vol.km");
  ASSERT_TRUE(writeMesh(file, {density}, KorinMesh::BINARY_BIG_ENDIAN));
  TbDArray<char*> files;
  files.append(strdup(file.c_str()));
  char bbox[] = "-bbox", one[] = "1";
  char* words[] = {bbox, one};
  EXPECT_EQ(module.readerKorinMesh2UxDiskData(files, dir.file("out.lda").c_str(), 2, words), 1);
  std::free(files[0]);
  EXPECT_EQ(messages(), std::vector<std::string>{"ignoring options"});
  expectStored(dir.file("out.lda"), volume);
}

// The command hands the reader its file among the words: that is no option,
// and a plain `-format KorinMesh -lda OUT FILE` has nothing to ignore.
TEST_F(MeshConversion, ACommandWithOnlyTheFileHasNoOptionsToIgnore) {
  const auto volume = testVolume<uint16_t>(10, 9, 5);
  const Section density{"Density", 3, {10, 9, 5}, TbPrimType::UINT16, 1, volume.values.data(), KorinMesh::PLAIN};
  const std::string file = dir.file("vol.km");
  ASSERT_TRUE(writeMesh(file, {density}, KorinMesh::BINARY_LITTLE_ENDIAN));
  EXPECT_EQ(convertCommand({file}).result, "1");
  EXPECT_EQ(messages(), std::vector<std::string>{});
  expectStored(dir.file("out.lda"), volume);
}

}  // namespace
