// KorinMesh volumes into disk data: the first plain three-dimensional section
// is streamed from the file, and files that cannot be streamed are refused.
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "ConvertTestSupport.h"
#include "host/mesh/KorinMesh.h"

namespace {

using namespace convert_test;

// A section of a mesh file, on a location of its own.
struct Section {
  const char* name;
  std::vector<int> dims;
  TbPrimType type;
  int nDataVar;
  const void* values;
  int encoding;
};

// The sections written by the host's writer, with a bounding box unless told otherwise.
bool writeMesh(const std::string& path, const std::vector<Section>& sections, int encoding, bool withBox = true) {
  KorinMesh mesh;
  const float box[6] = {0, 1, 0, 2, 0, 3};
  mesh.parameters().set("ContentType", "Volume", 0);
  if (withBox) mesh.parameters().set("BoundingBox", 6, box);
  for (const Section& s : sections) {
    KorinMesh::Location* where = mesh.addLocation((std::string("On") + s.name).c_str(), int(s.dims.size()), s.dims.data());
    if (!where || !mesh.addSection(where, s.name, s.type, s.nDataVar, s.values, s.encoding)) return false;
  }
  return mesh.write(path.c_str(), encoding) != 0;
}

class MeshConversion : public ConvertTest {
 protected:
  CommandResult convertCommand(const Words& files, const std::string& out = "out") {
    return convert(Words{"-format", "KorinMesh", "-lda", dir.file(out)} + files);
  }
};

// Sections of two dimensions or of zlib-encoded values are passed over, in
// files of either byte order; the volume here has two components.
TEST_F(MeshConversion, ThePlainThreeDimensionalSectionAfterOthersIsTaken) {
  const auto volume = testVolume<float>(11, 9, 7, 2);
  const auto map = testVolume<uint8_t>(11, 9, 1);
  const std::vector<float> other(volume.values.size(), 42.5f);
  const Section thickness{"Thickness", {11, 9}, TbPrimType::UINT8, 1, map.values.data(), KorinMesh::PLAIN};
  const Section zipped{"Packed", {11, 9, 7}, TbPrimType::FLOAT, 2, other.data(), KorinMesh::ZLIB};
  const Section density{"Density", {11, 9, 7}, TbPrimType::FLOAT, 2, volume.values.data(), KorinMesh::PLAIN};
  for (int encoding : {KorinMesh::BINARY_LITTLE_ENDIAN, KorinMesh::BINARY_BIG_ENDIAN}) {
    SCOPED_TRACE(encoding);
    const std::string name = "layers" + std::to_string(encoding);
    ASSERT_TRUE(writeMesh(dir.file(name + ".km"), {thickness, zipped, density}, encoding));
    EXPECT_EQ(convertFromPorts({dir.file(name + ".km")}, name), 1);
    expectStored(dir.file(name + ".lda"), volume);
  }
  EXPECT_EQ(console.lines, Lines{});
}

// Files the converter cannot stream are refused with the reason, and nothing
// is made.
TEST_F(MeshConversion, FilesThatCannotBeStreamedAreRefused) {
  const auto volume = testVolume<uint16_t>(8, 8, 4);
  const Section density{"Density", {8, 8, 4}, TbPrimType::UINT16, 1, volume.values.data(), KorinMesh::PLAIN};
  Section zipped = density;
  zipped.encoding = KorinMesh::ZLIB;
  ASSERT_TRUE(writeMesh(dir.file("zipped.km"), {zipped}, KorinMesh::BINARY_LITTLE_ENDIAN));
  ASSERT_TRUE(writeMesh(dir.file("nobox.km"), {density}, KorinMesh::BINARY_LITTLE_ENDIAN, false));
  ASSERT_TRUE(writeMesh(dir.file("text.km"), {density}, KorinMesh::TEXT));
  ASSERT_TRUE(writeMesh(dir.file("truncated.km"), {density}, KorinMesh::BINARY_LITTLE_ENDIAN));
  writeWholeFile(dir.file("truncated.km"), readWholeFile(dir.file("truncated.km")).substr(0, 400));
  const struct { const char* file; Lines messages; } cases[] = {{"zipped.km", {}},
               {"nobox.km", {"Bounding box missing."}},
               {"text.km", {"Error: " + dir.file("text.km") +
                            " holds its data as text; only binary KorinMesh files can be converted"}},
               {"truncated.km", {"Error reading KorinMesh file."}}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.file);
    console.lines.clear();
    EXPECT_EQ(convertFromPorts({dir.file(c.file)}, "out"), 0);
    EXPECT_EQ(console.lines, c.messages + Lines{"Error converting files"});
  }
  console.lines.clear();
  EXPECT_EQ(convertCommand({dir.file("nobox.km"), dir.file("text.km")}).result, "0");
  EXPECT_EQ(console.lines, (Lines{"error: need exactly one file []", "Error converting files"}));
  EXPECT_EQ(madeFiles({dir.file("zipped.km"), dir.file("nobox.km"), dir.file("text.km"), dir.file("truncated.km")}),
            std::set<std::string>{});
}

// The reader takes no options: words beyond the file are said to be ignored
// and the conversion goes on; the command's own file word is no option.
TEST_F(MeshConversion, ExtraWordsAreIgnored) {
  const auto volume = testVolume<uint16_t>(10, 9, 5);
  const std::string file = dir.file("vol.km");
  ASSERT_TRUE(writeMesh(file, {{"Density", {10, 9, 5}, TbPrimType::UINT16, 1, volume.values.data(), KorinMesh::PLAIN}},
                        KorinMesh::BINARY_BIG_ENDIAN));
  EXPECT_EQ(convertCommand({file}, "plain").result, "1");
  EXPECT_EQ(console.lines, Lines{});
  expectStored(dir.file("plain.lda"), volume);

  TbDArray<char*> files;
  files.append(strdup(file.c_str()));
  char bbox[] = "-bbox", one[] = "1";
  char* words[] = {bbox, one};
  EXPECT_EQ(module.readerKorinMesh2UxDiskData(files, dir.file("extra.lda").c_str(), 2, words), 1);
  std::free(files[0]);
  EXPECT_EQ(console.lines, Lines{"ignoring options"});
  expectStored(dir.file("extra.lda"), volume);
}

}  // namespace
