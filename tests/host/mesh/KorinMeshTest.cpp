// KorinMesh files on disk: round trips of every encoding and type, recorded
// positions checked against the bytes of the real file, the spelling of reals,
// the hand-written examples of docs/korinmesh.md, refusals of broken files,
// and safe writes.
#include <gtest/gtest.h>

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <limits>
#include <string>
#include <type_traits>
#include <vector>

#include "host/codecs/SoZlibCompressor.h"
#include "host/mesh/KorinMesh.h"
#include "host/mesh/KorinMeshSyntax.h"
#include "support/ProgressRecorder.h"
#include "support/TempDir.h"

namespace {

using Bytes = std::string;

const TbPrimType ALL_TYPES[] = {TbPrimType::UINT8, TbPrimType::INT16, TbPrimType::UINT16,
                                TbPrimType::INT32, TbPrimType::FLOAT, TbPrimType::DOUBLE};
const int ALL_ENCODINGS[] = {KorinMesh::TEXT, KorinMesh::BINARY_LITTLE_ENDIAN, KorinMesh::BINARY_BIG_ENDIAN};

template <class T>
Bytes samplesOf(int64_t count, std::vector<T> leading, double step, double offset) {
  std::vector<T> values(static_cast<size_t>(count));
  for (int64_t i = 0; i < count; ++i) {
    const double pattern = i * step + offset;
    if (i < static_cast<int64_t>(leading.size()))
      values[i] = leading[i];
    else if (std::is_integral<T>::value)
      values[i] = static_cast<T>(static_cast<int64_t>(pattern));  // wraps, never overflows
    else
      values[i] = static_cast<T>(pattern);
  }
  return Bytes(reinterpret_cast<const char*>(values.data()), values.size() * sizeof(T));
}

// Values of the type in machine byte order, with the extremes of the type up
// front so range and precision losses show.
Bytes sampleValues(TbPrimType type, int64_t count) {
  const float fNaN = std::numeric_limits<float>::quiet_NaN();
  const double dNaN = std::numeric_limits<double>::quiet_NaN();
  switch (type) {
    case TbPrimType::UINT8: return samplesOf<uint8_t>(count, {0, 255, 128}, 37, 11);
    case TbPrimType::INT16: return samplesOf<int16_t>(count, {INT16_MIN, INT16_MAX, -1}, 1, -20);
    case TbPrimType::UINT16: return samplesOf<uint16_t>(count, {0, UINT16_MAX, 0x0102}, 771, 3);
    case TbPrimType::INT32: return samplesOf<int32_t>(count, {INT32_MIN, INT32_MAX, -1}, 7, -50);
    case TbPrimType::FLOAT:
      return samplesOf<float>(count, {0.1f, -0.0f, std::numeric_limits<float>::denorm_min(), FLT_MAX, -INFINITY, fNaN,
                                      1.0f / 3.0f}, 0.37, -5);
    default:
      return samplesOf<double>(count, {0.1, -0.0, std::numeric_limits<double>::denorm_min(), DBL_MAX, INFINITY, dNaN,
                                       1.0 / 3.0}, 0.37, -5);
  }
}

// The same values as a big-endian file stores them (this machine is little-endian).
Bytes bigEndian(Bytes values, int elementSize) {
  for (size_t at = 0; at + elementSize <= values.size(); at += elementSize)
    std::reverse(values.begin() + at, values.begin() + at + elementSize);
  return values;
}

Bytes dataOf(const KorinMesh::DataSection& section) {
  if (!section.data) return Bytes();
  return Bytes(static_cast<const char*>(section.data), static_cast<size_t>(section.dataBytes()));
}

// Sets KorinMesh::recordFilePosition for one scope.
struct RecordingPositions {
  RecordingPositions() { KorinMesh::recordFilePosition = true; }
  ~RecordingPositions() { KorinMesh::recordFilePosition = false; }
};

std::unique_ptr<KorinMesh> readMesh(const std::string& path) {
  return std::unique_ptr<KorinMesh>(KorinMesh::read(path.c_str()));
}

std::unique_ptr<KorinMesh> readText(const TempDir& dir, const Bytes& content) {
  writeWholeFile(dir.file("hand.km"), content);
  return readMesh(dir.file("hand.km"));
}

// A zlib stream of the bytes, made by the host's zlib codec; its last byte
// (of the checksum) flipped when asked.
Bytes zlibStream(const Bytes& plain, bool breakChecksum = false) {
  std::vector<unsigned char> stream;
  SoZlibCompressor().compress(plain.data(), plain.size(), stream);
  if (breakChecksum) stream.back() ^= 1;
  return Bytes(stream.begin(), stream.end());
}

std::vector<std::string> filesIn(const std::string& folder) {
  std::vector<std::string> names;
  for (const auto& entry : std::filesystem::directory_iterator(folder)) names.push_back(entry.path().filename());
  std::sort(names.begin(), names.end());
  return names;
}

// Reals set from floats are spelled as floats, so they come back as the same floats.
bool sameReals(const UxParamBundle& a, const UxParamBundle& b, int i) {
  const int n = a.entryCount(i);
  if (!a.entryRealsFromFloats(i)) return !n || !std::memcmp(a.entryReals(i), b.entryReals(i), n * sizeof(double));
  for (int k = 0; k < n; ++k)
    if (static_cast<float>(a.entryReals(i)[k]) != static_cast<float>(b.entryReals(i)[k])) return false;
  return true;
}

// Same names, kinds and values, reals bit for bit, nested bundles alike.
bool sameBundle(const UxParamBundle& a, const UxParamBundle& b) {
  if (a.size() != b.size()) return false;
  for (int i = 0; i < a.size(); ++i) {
    const int n = a.entryCount(i);
    if (std::strcmp(a.entryName(i), b.entryName(i)) || a.entryKind(i) != b.entryKind(i) || n != b.entryCount(i))
      return false;
    const bool same = a.entryKind(i) == UxParamBundle::STRING ? !std::strcmp(a.entryString(i), b.entryString(i))
                      : a.entryKind(i) == UxParamBundle::INTS ? !n || !std::memcmp(a.entryInts(i), b.entryInts(i), n * sizeof(int))
                      : a.entryKind(i) == UxParamBundle::REALS ? sameReals(a, b, i)
                                                                 : sameBundle(*a.entryBundle(i), *b.entryBundle(i));
    if (!same) return false;
  }
  return true;
}

}  // namespace

// Round trips

TEST(KorinMeshRoundTrip, EveryEncodingTypeAndComponentCount) {
  TempDir dir;
  const int dims[3] = {5, 4, 3};
  for (int encoding : ALL_ENCODINGS)
    for (TbPrimType type : ALL_TYPES)
      for (int components : {1, 3}) {
        SCOPED_TRACE(std::string(type.name()) + " x" + std::to_string(components) + " encoding " +
                     std::to_string(encoding));
        KorinMesh mesh;
        const Bytes values = sampleValues(type, 5 * 4 * 3 * components);
        ASSERT_NE(mesh.addSection(mesh.addLocation("Lattice", 3, dims), "Data", type, components, values.data()), nullptr);
        ASSERT_TRUE(mesh.write(dir.file("volume.km").c_str(), encoding));
        auto back = readMesh(dir.file("volume.km"));
        ASSERT_NE(back, nullptr);
        EXPECT_EQ(back->encoding(), encoding);
        ASSERT_EQ(back->dataSection.size(), 1);
        const KorinMesh::DataSection& section = *back->dataSection[0];
        EXPECT_EQ(int(section.primType), int(type));
        EXPECT_EQ(section.nDataVar, components);
        EXPECT_EQ(section.location->nDims, 3);
        EXPECT_EQ(section.location->dims[2], 3);
        EXPECT_EQ(section.filePosition, -1);
        EXPECT_EQ(dataOf(section), values);
        if (encoding == KorinMesh::TEXT) continue;
        // Recorded instead of loaded: where the values lie in the file, in its byte order.
        RecordingPositions recording;
        auto recorded = readMesh(dir.file("volume.km"));
        ASSERT_NE(recorded, nullptr);
        const KorinMesh::DataSection& place = *recorded->dataSection[0];
        EXPECT_EQ(place.data, nullptr);
        const Bytes stored = encoding == KorinMesh::BINARY_BIG_ENDIAN ? bigEndian(values, type.size()) : values;
        EXPECT_EQ(readWholeFile(dir.file("volume.km")).substr(place.filePosition, stored.size()), stored);
        EXPECT_EQ(place.storedBytes, static_cast<int64_t>(stored.size()));
      }
}

// Nested bundles, awkward names and values, and several locations and
// sections, all in their order.
TEST(KorinMeshRoundTrip, ParametersLocationsAndSectionsKeepTheirOrder) {
  KorinMesh mesh;
  mesh.set("ContentType", "Volume");
  const float box[6] = {0.1f, 63.9f, -0.0f, 1e-30f, FLT_MAX, std::numeric_limits<float>::denorm_min()};
  mesh.set("BoundingBox", 6, box);
  mesh.set("Empty ints", 0, static_cast<const int*>(nullptr));
  mesh.set("Empty reals", 0, static_cast<const float*>(nullptr));
  mesh.set("", "an empty name");
  mesh.set("#hash", "quote \" backslash \\ newline \n tab \t return \r end");
  mesh.set("Reals", 1.0 / 3.0);
  const double extremes[4] = {DBL_MAX, -DBL_MIN, INFINITY, 1e300};
  mesh.set("Extremes", 4, extremes);
  const int ints[3] = {INT32_MIN, 0, INT32_MAX};
  mesh.set("Ints", 3, ints);
  UxParamBundle* materials = mesh.bundle("Materials", 1);
  materials->bundle("Exterior", 1)->set("Id", 0);
  materials->bundle("Bone \"cortical\"", 1)->bundle("Deeper", 1)->set("Color", "ivory");
  materials->bundle("Empty", 1);
  mesh.set("After bundles", 1);
  const int line[1] = {7}, slice[2] = {6, 5}, lattice[3] = {4, 3, 2};
  KorinMesh::Location* l1 = mesh.addLocation("Line", 1, line);
  KorinMesh::Location* l2 = mesh.addLocation("My Slice", 2, slice);
  KorinMesh::Location* l3 = mesh.addLocation("Lattice", 3, lattice);
  const Bytes a = sampleValues(TbPrimType::INT16, 5 * 6 * 2), b = sampleValues(TbPrimType::DOUBLE, 24),
              c = sampleValues(TbPrimType::UINT8, 7);
  mesh.addSection(l2, "Slice data", TbPrimType::INT16, 2, a.data());
  mesh.addSection(l3, "Volume", TbPrimType::DOUBLE, 1, b.data(), KorinMesh::ZLIB);
  mesh.addSection(l1, "Volume", TbPrimType::UINT8, 1, c.data());

  TempDir dir;
  const char* const firstLines[] = {"korinmesh 1 text\n", "korinmesh 1 binary little-endian\n",
                                    "korinmesh 1 binary big-endian\n"};
  for (int encoding : ALL_ENCODINGS) {
    SCOPED_TRACE(encoding);
    const std::string path = dir.file("several.km");
    ASSERT_TRUE(mesh.write(path.c_str(), encoding, "two\ncomment lines"));
    const Bytes content = readWholeFile(path);
    EXPECT_EQ(content.rfind(firstLines[encoding], 0), 0u);
    auto back = readMesh(path);
    ASSERT_NE(back, nullptr);
    EXPECT_TRUE(sameBundle(mesh, *back)) << content;
    EXPECT_EQ(back->encoding(), encoding);
    TbString type;
    ASSERT_TRUE(back->contentType(type));
    EXPECT_STREQ(type.getString(), "Volume");
    ASSERT_EQ(back->location.size(), 3);
    EXPECT_STREQ(back->location[1]->name.getString(), "My Slice");
    EXPECT_EQ(back->location[0]->nDims, 1);
    EXPECT_EQ(back->location[0]->dims[1], 1);
    ASSERT_EQ(back->dataSection.size(), 3);
    EXPECT_STREQ(back->dataSection[0]->name.getString(), "Slice data");
    EXPECT_EQ(back->dataSection[0]->location, back->location[1]);
    EXPECT_EQ(back->dataSection[2]->location, back->location[0]);
    EXPECT_EQ(dataOf(*back->dataSection[0]) + dataOf(*back->dataSection[1]) + dataOf(*back->dataSection[2]), a + b + c);
    // Text files carry plain values only.
    EXPECT_EQ(back->dataSection[1]->encoding, encoding == KorinMesh::TEXT ? KorinMesh::PLAIN : KorinMesh::ZLIB);
  }
}

// Floats set from floats are spelled as typed; recorded text sections point
// at their numbers.
TEST(KorinMeshRoundTrip, WriterOutputReadsAsDocumented) {
  TempDir dir;
  KorinMesh mesh;
  mesh.set("ContentType", "Labels");
  const float box[6] = {0, 300, 0.1f, 369, -2.5f, 80};
  mesh.set("BoundingBox", 6, box);
  mesh.bundle("Sub bundle", 1)->set("Name", "a \"b\"");
  const int dims[2] = {3, 2};
  const int32_t values[6] = {1, -2, 3, 40, 500, 6000};
  mesh.addSection(mesh.addLocation("Top", 2, dims), "Thickness", TbPrimType::INT32, 1, values);
  ASSERT_TRUE(mesh.write(dir.file("small.km").c_str(), KorinMesh::TEXT, "made by a test"));
  const Bytes file = readWholeFile(dir.file("small.km"));
  EXPECT_EQ(file, "korinmesh 1 text\n# made by a test\n\nstring ContentType \"Labels\"\n"
                  "reals BoundingBox 0 300 0.1 369 -2.5 80\nbundle \"Sub bundle\"\n"
                  "  string Name \"a \\\"b\\\"\"\nend\n\nlocation Top 3 2\n\n"
                  "section Thickness on Top type int32 components 1 encoding 0\n\n"
                  "data Thickness\n1 -2 3\n40 500 6000\n");
  RecordingPositions recording;
  auto back = readMesh(dir.file("small.km"));
  ASSERT_NE(back, nullptr);
  const KorinMesh::DataSection& section = *back->dataSection[0];
  EXPECT_EQ(file.substr(section.filePosition, section.storedBytes), "1 -2 3\n40 500 6000");
  EXPECT_EQ(section.data, nullptr);
}

TEST(KorinMeshRoundTrip, CompressedSectionIsSmallerAndDecodesWithProgress) {
  TempDir dir;
  const int dims[3] = {64, 64, 16};
  KorinMesh mesh;
  std::vector<uint16_t> values(64 * 64 * 16);
  for (size_t i = 0; i < values.size(); ++i) values[i] = static_cast<uint16_t>(i / 1000);
  mesh.addSection(mesh.addLocation("Lattice", 3, dims), "Labels", TbPrimType::UINT16, 1, values.data(), KorinMesh::ZLIB);
  for (int encoding : {KorinMesh::BINARY_LITTLE_ENDIAN, KorinMesh::BINARY_BIG_ENDIAN}) {
    ASSERT_TRUE(mesh.write(dir.file("zlib.km").c_str(), encoding));
    EXPECT_LT(sizeOfFile(dir.file("zlib.km")), static_cast<long long>(values.size() * 2 / 10));
    ProgressRecorder progress;
    std::unique_ptr<KorinMesh> back(KorinMesh::read(dir.file("zlib.km").c_str(), &progress));
    ASSERT_NE(back, nullptr);
    EXPECT_EQ(back->dataSection[0]->encoding, KorinMesh::ZLIB);
    EXPECT_EQ(std::memcmp(back->dataSection[0]->data, values.data(), values.size() * 2), 0);
    EXPECT_EQ(progress.events.size(), 2u);
    ASSERT_FALSE(progress.fractions.empty());
    EXPECT_TRUE(*std::min_element(progress.fractions.begin(), progress.fractions.end()) >= 0 &&
                *std::max_element(progress.fractions.begin(), progress.fractions.end()) <= 1);
  }
  ProgressRecorder refused;
  EXPECT_EQ(KorinMesh::read(dir.file("missing.km").c_str(), &refused), nullptr);
  EXPECT_TRUE(refused.events.empty() || refused.events.back() == "end");
}

// Reals in written headers: the shortest text that reads back to the same
// value, as a person would write it, and a float spelled as a float.
TEST(KorinMeshNumbers, ShortestPlainSpelling) {
  const struct { double value; bool fromFloat; const char* text; } cases[] = {
      {300, false, "300"},
      {0.1, false, "0.1"},
      {0.1f, true, "0.1"},
      {-149.5f, true, "-149.5"},
      {1.0f / 3, true, "0.33333334"},
      {1.0 / 3, false, "0.3333333333333333"},
      {1e20, false, "100000000000000000000"},
      {1e21, false, "1e+21"},
      {1e-7, false, "0.0000001"},
      {2.5e-8, false, "2.5e-8"},
      {FLT_MAX, true, "3.4028235e+38"},
      {-0.0, false, "-0"},
  };
  for (const auto& c : cases) EXPECT_EQ(KorinMeshSyntax::realText(c.value, c.fromFloat), c.text) << c.text;
}

// Hand-written files: the examples of docs/korinmesh.md

namespace {

// The example of docs/korinmesh.md (a block between ``` lines) that begins with `start`.
Bytes docsExample(const std::string& start) {
  const Bytes docs = readWholeFile(std::string(KORIN_SOURCE_DIR) + "/docs/korinmesh.md");
  const size_t at = docs.find("```\n" + start);
  EXPECT_NE(at, std::string::npos) << "the documentation lost its example " << start;
  return at == std::string::npos ? Bytes() : docs.substr(at + 4, docs.find("```\n", at + 4) - at - 4);
}

}  // namespace

// Each example with the values the documentation appends (with printf), as the
// reader loads them and as it records their place right after the header; the
// first holds parameters only.
TEST(KorinMeshHandWritten, ExamplesWithData) {
  TempDir dir;
  const Bytes docs = readWholeFile(std::string(KORIN_SOURCE_DIR) + "/docs/korinmesh.md");
  EXPECT_NE(docs.find("\\170\\234\\143\\140\\100\\005\\314\\150\\000\\000\\001\\270\\000\\061"), std::string::npos);
  EXPECT_NE(docs.find("'\\001\\000\\002\\000\\003\\000\\004\\000\\005\\000\\006\\000'"), std::string::npos);
  Bytes bigEndianValues, ramp;
  for (int z = 0; z < 32; ++z)
    for (int y = 0; y < 64; ++y)
      for (int x = 0; x < 64; ++x) {
        const uint16_t value = static_cast<uint16_t>(x + 64 * y + 1000 * z);
        bigEndianValues += Bytes{static_cast<char>(value >> 8), static_cast<char>(value & 0xff)};
        ramp += Bytes(reinterpret_cast<const char*>(&value), 2);
      }
  const float temperatures[12] = {0.5f, 1, 1.5f, 2, 2.5f, 3, -1, -2, -3, -4, -5, -6};
  const Bytes twoTail = Bytes("\001\002\003\004\005\006", 6) + "\ndata Density\n" +
                        Bytes("\001\000\002\000\003\000\004\000\005\000\006\000\007\000\010\000\011\000\012\000\013\000\014\000", 24);
  const Bytes zlibTail("\170\234\143\140\100\005\314\150\000\000\001\270\000\061", 14);
  const struct {
    Bytes header;
    Bytes tail;
    std::vector<Bytes> sections;
    int64_t storedBytes;  // of the first section, recorded right after the header; 0: not checked
  } examples[] = {
      {docsExample("korinmesh 1 text\n# Settings shared by every scan"), "", {}, 0},
      {docsExample("korinmesh 1 binary big-endian\n# 64 x 64 x 32"), bigEndianValues, {ramp}, 64 * 64 * 32 * 2},
      {docsExample("korinmesh 1 text\nlocation Lattice 3 2 2"), "",
       {Bytes(reinterpret_cast<const char*>(temperatures), sizeof temperatures)}, 0},
      {docsExample("korinmesh 1 binary little-endian\nlocation Top 3 2"), twoTail,
       {Bytes("\001\002\003\004\005\006", 6), twoTail.substr(20)}, 6},
      {docsExample("korinmesh 1 binary little-endian\nstring ContentType \"Labels\""), zlibTail,
       {Bytes(16, '\0') + Bytes(16, '\3')}, 14}};
  for (const auto& e : examples) {
    SCOPED_TRACE(e.header.substr(0, e.header.find("\nsection")));
    auto mesh = readText(dir, e.header + e.tail);
    ASSERT_NE(mesh, nullptr);
    ASSERT_EQ(mesh->dataSection.size(), static_cast<int>(e.sections.size()));
    for (size_t i = 0; i < e.sections.size(); ++i) EXPECT_EQ(dataOf(*mesh->dataSection[i]), e.sections[i]);
    if (!e.storedBytes) continue;
    RecordingPositions recording;
    auto positions = readMesh(dir.file("hand.km"));
    ASSERT_NE(positions, nullptr);
    EXPECT_EQ(positions->dataSection[0]->filePosition, static_cast<int64_t>(e.header.size()));
    EXPECT_EQ(positions->dataSection[0]->storedBytes, e.storedBytes);
  }
}

// Parameters after sections, comments, indentation, carriage returns, keys in
// another order, blanks between sections, a stored-block zlib stream.
TEST(KorinMeshHandWritten, FreeFormHeader) {
  TempDir dir;
  const Bytes plain = "ABCDEFGH", stream = zlibStream(plain);
  auto mesh = readText(dir, "korinmesh   1   binary   little-endian\r\n"
                            "\t# indented comment\r\n"
                            "location Row 8\r\n"
                            "section First on Row encoding 1 bytes " + std::to_string(stream.size()) + " type uint8\r\n"
                            "section \"Second one\" type uint8 on Row\r\n"
                            "string After \"the sections\"\r\n"
                            "   bundle B\r\n"
                            "string Inner \"# not a comment\"\r\n"
                            "   end\r\n"
                            "\r\n"
                            "data First\r\n" + stream + "\r\n \t\r\n"
                            "data \"Second one\"\n" + plain + "trailing bytes are ignored");
  ASSERT_NE(mesh, nullptr);
  EXPECT_EQ(dataOf(*mesh->dataSection[0]), plain);
  EXPECT_EQ(dataOf(*mesh->dataSection[1]), plain);
  const char* inner = nullptr;
  ASSERT_TRUE(mesh->bundle("B")->findString("Inner", inner));
  EXPECT_STREQ(inner, "# not a comment");
  EXPECT_EQ(mesh->indexOf("After"), 0);
}

// Refusals

TEST(KorinMeshRefusal, BrokenFilesAreRefused) {
  TempDir dir;
  const Bytes text = "korinmesh 1 text\n", withL = text + "location L 2\n";
  const Bytes binary = "korinmesh 1 binary little-endian\nlocation L 2 2\nsection S on L type uint8\n";
  const Bytes two = "korinmesh 1 binary big-endian\nlocation L 2\nsection A on L type int16\n"
                    "section B on L type int16\ndata A\n";
  const Bytes values = text + "location L 3\nsection S on L type ";
  const Bytes huge = "location L 2000000000 2000000000\nsection S on L type double\ndata S\n";
  const Bytes sixteen = "0123456789abcdef";  // the 16 bytes of a 4 x 4 uint8 section
  const Bytes good = zlibStream(sixteen);
  auto zlib = [](const Bytes& stream, size_t declared) {
    return "korinmesh 1 binary little-endian\nlocation L 4 4\nsection S on L type uint8 encoding 1 bytes " +
           std::to_string(declared) + "\ndata S\n" + stream;
  };
  // One case for each check of the reader; what it accepts is said too.
  const struct { Bytes content; bool accepted; } cases[] = {
      {"", false}, {Bytes(100000, '\x9c'), false}, {"korinmesh 1\n", false}, {"KorinMesh 1 text\n", false},
      {"korinmesh 1 binary middle-endian\n", false}, {text, true}, {"korinmesh 2 text\n", false},
      {"korinmesh 1.0 text\n", false}, {"korinmesh 0 text\n", false},
      // header statements
      {text + "frobnicate X 1\n", false}, {text + "ints X 1.5\n", false}, {text + "ints X 99999999999\n", false},
      {text + "reals X one\n", false}, {text + "string X\n", false}, {text + "string X \"unterminated\n", false},
      {text + "string X \"bad \\q escape\"\n", false}, {text + "string X \"glued\"on\n", false},
      {text + "bundle Open\nints X 1\n", false}, {text + "end\n", false},
      {text + "bundle B\nlocation L 2\nend\n", false}, {text + "location L\n", false},
      {text + "location L 1 2 3 4\n", false}, {text + "location L 0 5\n", false},
      {text + "location L 2\nlocation L 3\n", false},
      // section statements
      {withL + "section S on L type uint64\ndata S\n0 0\n", false},
      {withL + "section S on Nowhere type uint8\ndata S\n0 0\n", false},
      {withL + "section S on L\ndata S\n0 0\n", false},
      {withL + "section S on L type uint8 components 0\ndata S\n0 0\n", false},
      {withL + "section S on L type uint8 colour red\ndata S\n0 0\n", false},
      {withL + "section S on L type\ndata S\n0 0\n", false},
      {withL + "section S on L type uint8 encoding 1 bytes 3\ndata S\n0 0\n", false},  // zlib in a text file
      {withL + "section S on L type uint8 bytes 2\ndata S\n0 0\n", false},              // bytes of plain values
      {"korinmesh 1 binary little-endian\nlocation L 2\nsection S on L type uint8 encoding 2 bytes 2\ndata S\nxx", false},
      // data that is short, missing or misplaced
      {binary + "data S\nabcd", true}, {binary + "data S\nabc", false}, {binary, false},
      {binary + "data T\nabcd", false}, {text + "ints X 1\ndata S\n1 2\n", false},
      {two + "abcd\ndata B\nefgh", true}, {two + "abcd\ndata B\nefg", false}, {two + "abcd\n", false},
      {two + "abcdXdata B\nefgh", false},
      // text values out of their type
      {values + "uint8\ndata S\n0 128 255\n", true}, {values + "uint8\ndata S\n0 128 256\n", false},
      {values + "uint8\ndata S\n0 -1 2\n", false}, {values + "int16\ndata S\n0 1.5 2\n", false},
      {values + "int16\ndata S\n0 32768 2\n", false}, {values + "float\ndata S\n0 x 2\n", false},
      {values + "double\ndata S\n0 1\n", false},
      // huge lattices in small files
      {text + huge + "1 2 3\n", false}, {"korinmesh 1 binary big-endian\n" + huge + "12345678", false},
      // zlib streams that do not decode to the declared size
      {zlib(good, good.size()), true}, {zlib(zlibStream(sixteen, true), good.size()), false},
      {zlib(zlibStream(sixteen + "x"), good.size() + 1), false}, {zlib(zlibStream(sixteen.substr(1)), good.size() - 1), false},
      {zlib(good, good.size() - 1), false}, {zlib(good, good.size() + 1), false}};
  for (const auto& c : cases) EXPECT_EQ(readText(dir, c.content) != nullptr, c.accepted) << c.content.substr(0, 200);
  EXPECT_EQ(readMesh(dir.file("missing.km")), nullptr);
  EXPECT_EQ(readMesh(dir.path()), nullptr);
  // Not loading the data does not excuse its absence.
  RecordingPositions recording;
  for (const Bytes& content : {binary + "data S\nabc", two + "abcd\ndata B\nefg", values + "uint8\ndata S\n0 128 256\n"})
    EXPECT_EQ(readText(dir, content), nullptr) << content;
  EXPECT_NE(readText(dir, binary + "data S\nabcd"), nullptr);
}

// Writing safely, and the object's own refusals

TEST(KorinMeshWrite, FailedWritesLeaveTheOldFileAlone) {
  TempDir dir;
  KorinMesh mesh;
  const int dims[1] = {4};
  const float values[4] = {1, 2, 3, 4};
  mesh.addSection(mesh.addLocation("Row", 1, dims), "Data", TbPrimType::FLOAT, 1, values);
  EXPECT_FALSE(mesh.write(dir.file("no/such/folder/volume.km").c_str()));
  EXPECT_TRUE(filesIn(dir.path()).empty());

  const std::string path = dir.file("volume.km");
  writeWholeFile(path, "the previous content");
  EXPECT_FALSE(mesh.write(path.c_str(), 7));  // no such encoding
  ASSERT_TRUE(mesh.write(dir.file("source.km").c_str()));
  RecordingPositions recording;
  auto recorded = readMesh(dir.file("source.km"));
  ASSERT_NE(recorded, nullptr);
  EXPECT_FALSE(recorded->write(path.c_str()));  // its data was never loaded
  EXPECT_EQ(readWholeFile(path), "the previous content");
  std::filesystem::create_directory(dir.file("folder.km"));
  EXPECT_FALSE(mesh.write(dir.file("folder.km").c_str()));
  EXPECT_EQ(filesIn(dir.path()), (std::vector<std::string>{"folder.km", "source.km", "volume.km"}));

  writeWholeFile(path, std::string(100000, 'x'));  // a successful write replaces the file whole
  KorinMesh small;
  small.set("Small", 1);
  ASSERT_TRUE(small.write(path.c_str(), KorinMesh::TEXT));
  EXPECT_EQ(readWholeFile(path), "korinmesh 1 text\n\nints Small 1\n");
  EXPECT_EQ(small.encoding(), KorinMesh::TEXT);
  EXPECT_EQ(filesIn(dir.path()), (std::vector<std::string>{"folder.km", "source.km", "volume.km"}));
}

TEST(KorinMeshObject, RefusesBadLocationsAndSections) {
  KorinMesh mesh, other;
  const int dims[3] = {2, 3, 4}, empty[3] = {2, 0, 4}, huge[3] = {INT32_MAX, INT32_MAX, INT32_MAX},
            big[3] = {INT32_MAX, INT32_MAX, 2};
  KorinMesh::Location* lattice = mesh.addLocation("L", 3, dims);
  KorinMesh::Location* enormous = mesh.addLocation("Big", 3, big);
  ASSERT_TRUE(lattice && enormous);
  EXPECT_EQ(mesh.findLocation("L"), lattice);
  // No dimensions, four, an empty one, none given, more points than an int64 counts, a name taken.
  const std::pair<int, const int*> badLocations[] = {{0, dims}, {4, dims}, {3, empty}, {3, nullptr}, {3, huge}};
  for (const auto& [nDims, size] : badLocations) EXPECT_EQ(mesh.addLocation("New", nDims, size), nullptr) << nDims;
  EXPECT_EQ(mesh.addLocation("L", 1, dims), nullptr);
  // Another mesh's location or none, an unknown type, no components, an unknown encoding, too many bytes.
  EXPECT_EQ(mesh.addSection(other.addLocation("L", 3, dims), "S", TbPrimType::UINT8, 1, nullptr), nullptr);
  EXPECT_EQ(mesh.addSection(nullptr, "S", TbPrimType::UINT8, 1, nullptr), nullptr);
  EXPECT_EQ(mesh.addSection(lattice, "S", TbPrimType(5), 1, nullptr), nullptr);
  EXPECT_EQ(mesh.addSection(lattice, "S", TbPrimType::UINT8, 0, nullptr), nullptr);
  EXPECT_EQ(mesh.addSection(lattice, "S", TbPrimType::UINT8, 1, nullptr, 2), nullptr);
  EXPECT_EQ(mesh.addSection(enormous, "S", TbPrimType::DOUBLE, 1, nullptr), nullptr);
  EXPECT_EQ(mesh.dataSection.size(), 0);
  KorinMesh::DataSection* zeros = mesh.addSection(lattice, "S", TbPrimType::INT32, 2, nullptr);
  ASSERT_NE(zeros, nullptr);
  EXPECT_EQ(dataOf(*zeros), Bytes(2 * 3 * 4 * 2 * 4, '\0'));
  EXPECT_EQ(mesh.encoding(), KorinMesh::BINARY_LITTLE_ENDIAN);
  TbString type;
  EXPECT_FALSE(mesh.contentType(type));
}
