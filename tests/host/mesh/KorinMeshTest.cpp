// KorinMesh files on disk: round trips of every encoding and type, recorded
// positions checked against the bytes of the real file, the hand-written
// examples of docs/korinmesh.md, refusals of broken files, and safe writes.
#include <gtest/gtest.h>

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <cstdarg>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <limits>
#include <string>
#include <type_traits>
#include <vector>

#include "host/mesh/KorinMesh.h"
#include "support/TempDir.h"

namespace {

using Bytes = std::string;

const TbPrimType ALL_TYPES[] = {TbPrimType::UINT8, TbPrimType::INT16, TbPrimType::UINT16,
                                TbPrimType::INT32, TbPrimType::FLOAT, TbPrimType::DOUBLE};
const int ALL_ENCODINGS[] = {KorinMesh::TEXT, KorinMesh::BINARY_LITTLE_ENDIAN,
                             KorinMesh::BINARY_BIG_ENDIAN};

bool machineIsLittleEndian() {
  const uint16_t one = 1;
  return *reinterpret_cast<const unsigned char*>(&one) == 1;
}

template <class T>
Bytes samplesOf(int64_t count, std::vector<T> leading, double step, double offset) {
  std::vector<T> values(static_cast<size_t>(count));
  for (int64_t i = 0; i < count; ++i) {
    double pattern = i * step + offset;
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
      return samplesOf<float>(count, {0.1f, -0.0f, std::numeric_limits<float>::denorm_min(),
                                      FLT_MAX, -INFINITY, fNaN, 1.0f / 3.0f}, 0.37, -5);
    default:
      return samplesOf<double>(count, {0.1, -0.0, std::numeric_limits<double>::denorm_min(),
                                       DBL_MAX, INFINITY, dNaN, 1.0 / 3.0}, 0.37, -5);
  }
}

// The same values as a file of that byte order stores them.
Bytes inByteOrder(Bytes values, int elementSize, bool bigEndian) {
  if (bigEndian == !machineIsLittleEndian()) return values;
  for (size_t at = 0; at + elementSize <= values.size(); at += elementSize)
    std::reverse(values.begin() + at, values.begin() + at + elementSize);
  return values;
}

Bytes dataOf(const KorinMesh::DataSection& section) {
  if (!section.data) return Bytes();
  return Bytes(static_cast<const char*>(section.data), static_cast<size_t>(section.dataBytes()));
}

// Sets KorinMesh::recordFilePosition for one scope.
class RecordingPositions {
 public:
  RecordingPositions() { KorinMesh::recordFilePosition = true; }
  ~RecordingPositions() { KorinMesh::recordFilePosition = false; }
};

std::unique_ptr<KorinMesh> readMesh(const std::string& path) {
  return std::unique_ptr<KorinMesh>(KorinMesh::read(path.c_str()));
}

std::unique_ptr<KorinMesh> readText(const TempDir& dir, const Bytes& content) {
  std::string path = dir.file("hand.km");
  writeWholeFile(path, content);
  return readMesh(path);
}

// A zlib stream of stored (uncompressed) blocks, made here rather than with the
// library the reader uses, so the reader is checked against the stream format.
Bytes zlibStream(const Bytes& plain, bool breakChecksum = false) {
  Bytes out("\x78\x01", 2);
  uint32_t a = 1, b = 0;
  for (unsigned char c : plain) {
    a = (a + c) % 65521;
    b = (b + a) % 65521;
  }
  size_t at = 0;
  do {
    size_t length = std::min<size_t>(plain.size() - at, 65535);
    bool last = at + length == plain.size();
    out += static_cast<char>(last ? 1 : 0);
    out += static_cast<char>(length & 0xff);
    out += static_cast<char>(length >> 8);
    out += static_cast<char>(~length & 0xff);
    out += static_cast<char>((~length >> 8) & 0xff);
    out += plain.substr(at, length);
    at += length;
  } while (at < plain.size());
  uint32_t adler = (b << 16) | a;
  if (breakChecksum) adler ^= 1;
  for (int shift = 24; shift >= 0; shift -= 8) out += static_cast<char>((adler >> shift) & 0xff);
  return out;
}

std::vector<std::string> filesIn(const std::string& folder) {
  std::vector<std::string> names;
  for (const auto& entry : std::filesystem::directory_iterator(folder))
    names.push_back(entry.path().filename().string());
  std::sort(names.begin(), names.end());
  return names;
}

void expectSameBundle(const UxParamBundle& expected, const UxParamBundle& actual) {
  ASSERT_EQ(expected.size(), actual.size());
  for (int i = 0; i < expected.size(); ++i) {
    SCOPED_TRACE(expected.entryName(i));
    EXPECT_STREQ(expected.entryName(i), actual.entryName(i));
    ASSERT_EQ(expected.entryKind(i), actual.entryKind(i));
    ASSERT_EQ(expected.entryCount(i), actual.entryCount(i));
    int count = expected.entryCount(i);
    switch (expected.entryKind(i)) {
      case UxParamBundle::STRING:
        EXPECT_STREQ(expected.entryString(i), actual.entryString(i));
        break;
      case UxParamBundle::INTS:
        for (int k = 0; k < count; ++k) EXPECT_EQ(expected.entryInts(i)[k], actual.entryInts(i)[k]);
        break;
      case UxParamBundle::REALS:
        for (int k = 0; k < count && expected.entryRealsFromFloats(i); ++k)  // spelled as floats
          EXPECT_EQ(static_cast<float>(expected.entryReals(i)[k]), static_cast<float>(actual.entryReals(i)[k]));
        if (count > 0 && !expected.entryRealsFromFloats(i)) {
          EXPECT_EQ(std::memcmp(expected.entryReals(i), actual.entryReals(i), count * sizeof(double)), 0);
        }
        break;
      case UxParamBundle::BUNDLE:
        expectSameBundle(*expected.entryBundle(i), *actual.entryBundle(i));
        break;
    }
  }
}

class CountingProgress : public TbProgressInterface {
 public:
  void beginWork(const char*, ...) override { ++begun; }
  void setWorkText(const char*, ...) override {}
  void endWork() override { ++ended; }
  void setProgress(float fraction) override {
    EXPECT_GE(fraction, 0.0f);
    EXPECT_LE(fraction, 1.0f);
    ++steps;
  }
  int begun = 0, ended = 0, steps = 0;
};

std::string docsText() { return readWholeFile(std::string(KORIN_SOURCE_DIR) + "/docs/korinmesh.md"); }

}  // namespace

// ---------------------------------------------------------------------------
// Round trips

TEST(KorinMeshRoundTrip, EveryEncodingTypeAndComponentCount) {
  TempDir dir;
  const int dims[3] = {5, 4, 3};
  for (int encoding : ALL_ENCODINGS) {
    for (TbPrimType type : ALL_TYPES) {
      for (int components : {1, 3}) {
        SCOPED_TRACE(std::string(type.name()) + " x" + std::to_string(components) +
                     " encoding " + std::to_string(encoding));
        KorinMesh mesh;
        KorinMesh::Location* lattice = mesh.addLocation("Lattice", 3, dims);
        Bytes values = sampleValues(type, 5 * 4 * 3 * components);
        ASSERT_NE(mesh.addSection(lattice, "Data", type, components, values.data()), nullptr);
        std::string path = dir.file("volume.km");
        ASSERT_TRUE(mesh.write(path.c_str(), encoding));

        auto back = readMesh(path);
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
      }
    }
  }
}

TEST(KorinMeshRoundTrip, SeveralLocationsAndSectionsKeepTheirOrder) {
  TempDir dir;
  for (int encoding : ALL_ENCODINGS) {
    SCOPED_TRACE(encoding);
    KorinMesh mesh;
    const int line[1] = {7}, slice[2] = {6, 5}, lattice[3] = {4, 3, 2};
    KorinMesh::Location* l1 = mesh.addLocation("Line", 1, line);
    KorinMesh::Location* l2 = mesh.addLocation("My Slice", 2, slice);
    KorinMesh::Location* l3 = mesh.addLocation("Lattice", 3, lattice);
    Bytes a = sampleValues(TbPrimType::INT16, 5 * 6 * 2), b = sampleValues(TbPrimType::DOUBLE, 24),
          c = sampleValues(TbPrimType::UINT8, 7);
    mesh.addSection(l2, "Slice data", TbPrimType::INT16, 2, a.data());
    mesh.addSection(l3, "Volume", TbPrimType::DOUBLE, 1, b.data(), KorinMesh::ZLIB);
    mesh.addSection(l1, "Volume", TbPrimType::UINT8, 1, c.data());
    std::string path = dir.file("several.km");
    ASSERT_TRUE(mesh.write(path.c_str(), encoding));

    auto back = readMesh(path);
    ASSERT_NE(back, nullptr);
    ASSERT_EQ(back->location.size(), 3);
    EXPECT_STREQ(back->location[1]->name.getString(), "My Slice");
    EXPECT_EQ(back->location[0]->nDims, 1);
    EXPECT_EQ(back->location[0]->dims[1], 1);
    ASSERT_EQ(back->dataSection.size(), 3);
    EXPECT_STREQ(back->dataSection[0]->name.getString(), "Slice data");
    EXPECT_EQ(back->dataSection[0]->location, back->location[1]);
    EXPECT_EQ(back->dataSection[2]->location, back->location[0]);
    EXPECT_EQ(dataOf(*back->dataSection[0]), a);
    EXPECT_EQ(dataOf(*back->dataSection[1]), b);
    EXPECT_EQ(dataOf(*back->dataSection[2]), c);
    // Text files carry plain values only.
    EXPECT_EQ(back->dataSection[1]->encoding,
              encoding == KorinMesh::TEXT ? KorinMesh::PLAIN : KorinMesh::ZLIB);
  }
}

TEST(KorinMeshRoundTrip, NestedParametersWithAwkwardNamesAndValues) {
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

  TempDir dir;
  for (int encoding : ALL_ENCODINGS) {
    std::string path = dir.file("params.km");
    ASSERT_TRUE(mesh.write(path.c_str(), encoding, "two\ncomment lines"));
    auto back = readMesh(path);
    ASSERT_NE(back, nullptr);
    expectSameBundle(mesh, *back);
    float backBox[6];
    ASSERT_TRUE(back->findReal("BoundingBox", 6, backBox));
    EXPECT_EQ(std::memcmp(box, backBox, sizeof box), 0);
    TbString type;
    ASSERT_TRUE(back->contentType(type));
    EXPECT_STREQ(type.getString(), "Volume");
  }
}

TEST(KorinMeshRoundTrip, HeaderOnlyDescription) {
  TempDir dir;
  KorinMesh mesh;
  mesh.set("ContentType", "ScanSeries");
  mesh.bundle("Acquisition", 1)->set("Voltage", 120.0);
  std::string path = dir.file("description.km");
  ASSERT_TRUE(mesh.write(path.c_str(), KorinMesh::BINARY_BIG_ENDIAN));
  Bytes content = readWholeFile(path);
  EXPECT_EQ(content.find("\ndata"), std::string::npos);
  EXPECT_EQ(content.rfind("korinmesh 1 binary big-endian\n", 0), 0u);

  auto back = readMesh(path);
  ASSERT_NE(back, nullptr);
  EXPECT_EQ(back->dataSection.size(), 0);
  EXPECT_EQ(back->location.size(), 0);
  EXPECT_EQ(back->encoding(), KorinMesh::BINARY_BIG_ENDIAN);
  expectSameBundle(mesh, *back);
}

TEST(KorinMeshRoundTrip, WriterOutputReadsAsDocumented) {
  TempDir dir;
  KorinMesh mesh;
  mesh.set("ContentType", "Labels");
  mesh.bundle("Sub bundle", 1)->set("Name", "a \"b\"");
  const int dims[2] = {3, 2};
  KorinMesh::Location* top = mesh.addLocation("Top", 2, dims);
  const uint8_t values[6] = {1, 2, 3, 4, 5, 6};
  mesh.addSection(top, "Thickness", TbPrimType::UINT8, 1, values);
  std::string path = dir.file("small.km");
  ASSERT_TRUE(mesh.write(path.c_str(), KorinMesh::TEXT, "made by a test"));
  EXPECT_EQ(readWholeFile(path),
            "korinmesh 1 text\n"
            "# made by a test\n"
            "\n"
            "string ContentType \"Labels\"\n"
            "bundle \"Sub bundle\"\n"
            "  string Name \"a \\\"b\\\"\"\n"
            "end\n"
            "\n"
            "location Top 3 2\n"
            "\n"
            "section Thickness on Top type uint8 components 1 encoding 0\n"
            "\n"
            "data Thickness\n"
            "1 2 3\n"
            "4 5 6\n");
}

TEST(KorinMeshRoundTrip, CompressedSectionIsSmallerAndDecodes) {
  TempDir dir;
  const int dims[3] = {64, 64, 16};
  KorinMesh mesh;
  KorinMesh::Location* lattice = mesh.addLocation("Lattice", 3, dims);
  std::vector<uint16_t> values(64 * 64 * 16);
  for (size_t i = 0; i < values.size(); ++i) values[i] = static_cast<uint16_t>(i / 1000);
  mesh.addSection(lattice, "Labels", TbPrimType::UINT16, 1, values.data(), KorinMesh::ZLIB);
  for (int encoding : {KorinMesh::BINARY_LITTLE_ENDIAN, KorinMesh::BINARY_BIG_ENDIAN}) {
    std::string path = dir.file("zlib.km");
    ASSERT_TRUE(mesh.write(path.c_str(), encoding));
    EXPECT_LT(sizeOfFile(path), static_cast<long long>(values.size() * 2 / 10));
    auto back = readMesh(path);
    ASSERT_NE(back, nullptr);
    EXPECT_EQ(back->dataSection[0]->encoding, KorinMesh::ZLIB);
    EXPECT_EQ(std::memcmp(back->dataSection[0]->data, values.data(), values.size() * 2), 0);
  }
}

TEST(KorinMeshRoundTrip, ReportsProgress) {
  TempDir dir;
  KorinMesh mesh;
  const int dims[3] = {8, 8, 8};
  Bytes values = sampleValues(TbPrimType::FLOAT, 512);
  mesh.addSection(mesh.addLocation("Lattice", 3, dims), "Data", TbPrimType::FLOAT, 1, values.data());
  std::string path = dir.file("progress.km");
  ASSERT_TRUE(mesh.write(path.c_str()));
  CountingProgress progress;
  std::unique_ptr<KorinMesh> back(KorinMesh::read(path.c_str(), &progress));
  ASSERT_NE(back, nullptr);
  EXPECT_EQ(progress.begun, 1);
  EXPECT_EQ(progress.ended, 1);
  EXPECT_GT(progress.steps, 0);
  CountingProgress refused;
  EXPECT_EQ(KorinMesh::read(dir.file("missing.km").c_str(), &refused), nullptr);
  EXPECT_EQ(refused.begun, refused.ended);
}

// ---------------------------------------------------------------------------
// Recorded file positions

TEST(KorinMeshPositions, BinarySectionsPointAtTheirRawBytes) {
  TempDir dir;
  for (int encoding : {KorinMesh::BINARY_LITTLE_ENDIAN, KorinMesh::BINARY_BIG_ENDIAN}) {
    SCOPED_TRACE(encoding);
    KorinMesh mesh;
    const int slice[2] = {9, 7}, lattice[3] = {6, 5, 4};
    KorinMesh::Location* top = mesh.addLocation("Slice", 2, slice);
    KorinMesh::Location* volume = mesh.addLocation("Lattice", 3, lattice);
    std::vector<Bytes> values;
    for (TbPrimType type : ALL_TYPES) {
      KorinMesh::Location* where = values.size() % 2 ? volume : top;
      int64_t count = where->numElements() * 2;
      values.push_back(sampleValues(type, count));
      mesh.addSection(where, type.name(), type, 2, values.back().data());
    }
    std::string path = dir.file("positions.km");
    ASSERT_TRUE(mesh.write(path.c_str(), encoding));
    Bytes file = readWholeFile(path);

    RecordingPositions recording;
    auto back = readMesh(path);
    ASSERT_NE(back, nullptr);
    ASSERT_EQ(back->dataSection.size(), 6);
    for (int i = 0; i < 6; ++i) {
      const KorinMesh::DataSection& section = *back->dataSection[i];
      SCOPED_TRACE(section.name.getString());
      EXPECT_EQ(section.data, nullptr);
      Bytes stored = inByteOrder(values[i], section.primType.size(),
                                 encoding == KorinMesh::BINARY_BIG_ENDIAN);
      EXPECT_EQ(section.storedBytes, static_cast<int64_t>(stored.size()));
      EXPECT_EQ(file.find(stored), static_cast<size_t>(section.filePosition));
      EXPECT_EQ(file.substr(section.filePosition, section.storedBytes), stored);
    }
  }
}

TEST(KorinMeshPositions, TextSectionsPointAtTheirNumbers) {
  TempDir dir;
  KorinMesh mesh;
  const int dims[3] = {3, 2, 1};
  KorinMesh::Location* lattice = mesh.addLocation("Lattice", 3, dims);
  const int32_t first[6] = {1, -2, 3, 40, 500, 6000};
  const float second[6] = {0.5f, 1, 1.5f, 2, 2.5f, 3};
  mesh.addSection(lattice, "First", TbPrimType::INT32, 1, first);
  mesh.addSection(lattice, "Second", TbPrimType::FLOAT, 1, second);
  std::string path = dir.file("text.km");
  ASSERT_TRUE(mesh.write(path.c_str(), KorinMesh::TEXT));
  Bytes file = readWholeFile(path);

  RecordingPositions recording;
  auto back = readMesh(path);
  ASSERT_NE(back, nullptr);
  const KorinMesh::DataSection& a = *back->dataSection[0];
  const KorinMesh::DataSection& b = *back->dataSection[1];
  EXPECT_EQ(file.substr(a.filePosition, a.storedBytes), "1 -2 3\n40 500 6000");
  EXPECT_EQ(file.substr(b.filePosition, b.storedBytes), "0.5 1 1.5\n2 2.5 3");
  EXPECT_EQ(a.data, nullptr);
}

TEST(KorinMeshPositions, CompressedSectionPointsAtItsStream) {
  TempDir dir;
  KorinMesh mesh;
  const int dims[3] = {32, 32, 8};
  KorinMesh::Location* lattice = mesh.addLocation("Lattice", 3, dims);
  Bytes plain = sampleValues(TbPrimType::INT16, 32 * 32 * 8);
  Bytes before = sampleValues(TbPrimType::UINT8, 32 * 32 * 8);
  mesh.addSection(lattice, "Before", TbPrimType::UINT8, 1, before.data());
  mesh.addSection(lattice, "Packed", TbPrimType::INT16, 1, plain.data(), KorinMesh::ZLIB);
  std::string path = dir.file("packed.km");
  ASSERT_TRUE(mesh.write(path.c_str(), KorinMesh::BINARY_BIG_ENDIAN));
  Bytes file = readWholeFile(path);

  int64_t position = 0, stored = 0;
  {
    RecordingPositions recording;
    auto back = readMesh(path);
    ASSERT_NE(back, nullptr);
    const KorinMesh::DataSection& section = *back->dataSection[1];
    EXPECT_EQ(section.data, nullptr);
    EXPECT_EQ(section.encoding, KorinMesh::ZLIB);
    position = section.filePosition;
    stored = section.storedBytes;
  }
  ASSERT_GT(stored, 0);
  EXPECT_LT(stored, static_cast<int64_t>(plain.size()));
  EXPECT_NE(file.find("bytes " + std::to_string(stored) + " "), std::string::npos);
  EXPECT_EQ(file.substr(position - 12, 12), "data Packed\n");
  // The recorded bytes alone, under a header of our own, decode to the values.
  Bytes alone = "korinmesh 1 binary big-endian\nlocation L 32 32 8\n"
                "section S on L type int16 encoding 1 bytes " + std::to_string(stored) +
                "\ndata S\n" + file.substr(position, stored);
  auto decoded = readText(dir, alone);
  ASSERT_NE(decoded, nullptr);
  EXPECT_EQ(dataOf(*decoded->dataSection[0]), plain);
}

// ---------------------------------------------------------------------------
// Hand-written files: the examples of docs/korinmesh.md, verbatim

namespace {

const char* const DESCRIPTION_EXAMPLE =
    "korinmesh 1 text\n"
    "# Settings shared by every scan of the series.\n"
    "string ContentType \"ScanSeries\"\n"
    "ints Size 512 512 300\n"
    "reals VoxelSize 0.25 0.25 0.5\n"
    "bundle Acquisition\n"
    "  string Station \"bench 3 \\\"north\\\"\"\n"
    "  reals Voltage 120\n"
    "  bundle Filter\n"
    "    string Material \"copper\"\n"
    "    reals Thickness 0.1\n"
    "  end\n"
    "end\n"
    "bundle Materials\n"
    "  bundle Exterior\n"
    "    ints Id 0\n"
    "  end\n"
    "  bundle Bone\n"
    "    ints Id 1\n"
    "    reals Color 0.9 0.85 0.7\n"
    "  end\n"
    "end\n";

const char* const BIG_ENDIAN_EXAMPLE =
    "korinmesh 1 binary big-endian\n"
    "# 64 x 64 x 32 densities, two bytes each, most significant byte first.\n"
    "string ContentType \"Volume\"\n"
    "reals BoundingBox 0 63 0 63 0 31\n"
    "location Lattice 64 64 32\n"
    "section Density on Lattice type uint16 components 1 encoding 0\n"
    "data Density\n";

const char* const TEXT_EXAMPLE =
    "korinmesh 1 text\n"
    "location Lattice 3 2 2\n"
    "section Temperature on Lattice type float components 1 encoding 0\n"
    "\n"
    "data Temperature\n"
    "0.5 1 1.5\n"
    "2 2.5 3\n"
    "\n"
    "-1 -2 -3\n"
    "-4 -5 -6\n";

const char* const TWO_SECTIONS_EXAMPLE =
    "korinmesh 1 binary little-endian\n"
    "location Top 3 2\n"
    "location Block 3 2 2\n"
    "section Thickness on Top type uint8\n"
    "section Density on Block type int16 components 1 encoding 0\n"
    "data Thickness\n";

const char* const ZLIB_EXAMPLE =
    "korinmesh 1 binary little-endian\n"
    "string ContentType \"Labels\"\n"
    "location Lattice 4 4 2\n"
    "section Labels on Lattice type uint8 components 1 encoding 1 bytes 14\n"
    "data Labels\n";

// What the documented printf lines append.
const Bytes TWO_SECTIONS_TAIL = Bytes("\001\002\003\004\005\006", 6) + "\ndata Density\n" +
    Bytes("\001\000\002\000\003\000\004\000\005\000\006\000", 12) +
    Bytes("\007\000\010\000\011\000\012\000\013\000\014\000", 12);
const Bytes ZLIB_EXAMPLE_STREAM("\170\234\143\140\100\005\314\150\000\000\001\270\000\061", 14);

}  // namespace

TEST(KorinMeshHandWritten, DocumentationHoldsTheseExamplesVerbatim) {
  Bytes docs = docsText();
  ASSERT_FALSE(docs.empty());
  for (const char* example : {DESCRIPTION_EXAMPLE, BIG_ENDIAN_EXAMPLE, TEXT_EXAMPLE,
                              TWO_SECTIONS_EXAMPLE, ZLIB_EXAMPLE})
    EXPECT_NE(docs.find(std::string("```\n") + example + "```\n"), std::string::npos) << example;
  EXPECT_NE(docs.find("\\170\\234\\143\\140\\100\\005\\314\\150\\000\\000\\001\\270\\000\\061"),
            std::string::npos);
  EXPECT_NE(docs.find("'\\001\\000\\002\\000\\003\\000\\004\\000\\005\\000\\006\\000'"),
            std::string::npos);
}

TEST(KorinMeshHandWritten, DescriptionWithNestedBundles) {
  TempDir dir;
  auto mesh = readText(dir, DESCRIPTION_EXAMPLE);
  ASSERT_NE(mesh, nullptr);
  EXPECT_EQ(mesh->dataSection.size(), 0);
  const char* station = nullptr;
  ASSERT_NE(mesh->bundle("Acquisition"), nullptr);
  ASSERT_TRUE(mesh->bundle("Acquisition")->findString("Station", station));
  EXPECT_STREQ(station, "bench 3 \"north\"");
  float thickness = 0;
  ASSERT_TRUE(mesh->bundle("Acquisition")->bundle("Filter")->findReal("Thickness", 1, &thickness));
  EXPECT_EQ(thickness, 0.1f);
  float color[3];
  ASSERT_TRUE(mesh->bundle("Materials")->bundle("Bone")->findReal("Color", 3, color));
  EXPECT_EQ(color[2], 0.7f);
  int size[3];
  ASSERT_TRUE(mesh->findNum("Size", 3, size));
  EXPECT_EQ(size[2], 300);
  EXPECT_EQ(mesh->bundle("Materials")->size(), 2);
}

TEST(KorinMeshHandWritten, BigEndianVolumeMadeWithCat) {
  TempDir dir;
  Bytes raw;
  std::vector<uint16_t> expected;
  for (int z = 0; z < 32; ++z)
    for (int y = 0; y < 64; ++y)
      for (int x = 0; x < 64; ++x) {
        uint16_t value = static_cast<uint16_t>(x + 64 * y + 1000 * z);
        expected.push_back(value);
        raw += static_cast<char>(value >> 8);
        raw += static_cast<char>(value & 0xff);
      }
  std::string path = dir.file("volume.km");
  writeWholeFile(path, BIG_ENDIAN_EXAMPLE + raw);
  auto mesh = readMesh(path);
  ASSERT_NE(mesh, nullptr);
  ASSERT_EQ(mesh->dataSection.size(), 1);
  EXPECT_EQ(std::memcmp(mesh->dataSection[0]->data, expected.data(), expected.size() * 2), 0);
  float box[6];
  ASSERT_TRUE(mesh->findReal("BoundingBox", 6, box));
  EXPECT_EQ(box[5], 31.0f);

  RecordingPositions recording;
  auto positions = readMesh(path);
  ASSERT_NE(positions, nullptr);
  EXPECT_EQ(positions->dataSection[0]->filePosition,
            static_cast<int64_t>(std::strlen(BIG_ENDIAN_EXAMPLE)));
}

TEST(KorinMeshHandWritten, SmallTextVolume) {
  TempDir dir;
  auto mesh = readText(dir, TEXT_EXAMPLE);
  ASSERT_NE(mesh, nullptr);
  EXPECT_EQ(mesh->encoding(), KorinMesh::TEXT);
  const float expected[12] = {0.5f, 1, 1.5f, 2, 2.5f, 3, -1, -2, -3, -4, -5, -6};
  ASSERT_EQ(mesh->dataSection.size(), 1);
  EXPECT_EQ(std::memcmp(mesh->dataSection[0]->data, expected, sizeof expected), 0);
}

TEST(KorinMeshHandWritten, TwoDimensionalSectionBeforeThreeDimensional) {
  TempDir dir;
  auto mesh = readText(dir, TWO_SECTIONS_EXAMPLE + TWO_SECTIONS_TAIL);
  ASSERT_NE(mesh, nullptr);
  ASSERT_EQ(mesh->dataSection.size(), 2);
  const uint8_t thickness[6] = {1, 2, 3, 4, 5, 6};
  const int16_t density[12] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12};
  EXPECT_EQ(mesh->dataSection[0]->location->nDims, 2);
  EXPECT_EQ(mesh->dataSection[0]->nDataVar, 1);
  EXPECT_EQ(std::memcmp(mesh->dataSection[0]->data, thickness, sizeof thickness), 0);
  EXPECT_EQ(std::memcmp(mesh->dataSection[1]->data, density, sizeof density), 0);
}

TEST(KorinMeshHandWritten, ZlibSection) {
  TempDir dir;
  auto mesh = readText(dir, ZLIB_EXAMPLE + ZLIB_EXAMPLE_STREAM);
  ASSERT_NE(mesh, nullptr);
  Bytes expected = Bytes(16, '\0') + Bytes(16, '\3');
  EXPECT_EQ(dataOf(*mesh->dataSection[0]), expected);

  RecordingPositions recording;
  auto positions = readMesh(dir.file("hand.km"));
  ASSERT_NE(positions, nullptr);
  EXPECT_EQ(positions->dataSection[0]->filePosition, static_cast<int64_t>(std::strlen(ZLIB_EXAMPLE)));
  EXPECT_EQ(positions->dataSection[0]->storedBytes, 14);
}

TEST(KorinMeshHandWritten, FreeFormHeader) {
  TempDir dir;
  // Parameters after sections, comments, indentation, carriage returns, keys
  // in another order, blanks between sections, a stored-block zlib stream.
  Bytes plain = "ABCDEFGH";
  Bytes stream = zlibStream(plain);
  Bytes content =
      "korinmesh   1   binary   little-endian\r\n"
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
      "data \"Second one\"\n" + plain + "trailing bytes are ignored";
  auto mesh = readText(dir, content);
  ASSERT_NE(mesh, nullptr);
  EXPECT_EQ(dataOf(*mesh->dataSection[0]), plain);
  EXPECT_EQ(dataOf(*mesh->dataSection[1]), plain);
  const char* inner = nullptr;
  ASSERT_TRUE(mesh->bundle("B")->findString("Inner", inner));
  EXPECT_STREQ(inner, "# not a comment");
  EXPECT_EQ(mesh->indexOf("After"), 0);
}

// ---------------------------------------------------------------------------
// Refusals

namespace {

const char* const GOOD_HEADER =
    "korinmesh 1 binary little-endian\n"
    "location L 2 2\n"
    "section S on L type uint8\n"
    "data S\n";

}  // namespace

TEST(KorinMeshRefusal, MissingFileFolderOrGarbage) {
  TempDir dir;
  EXPECT_EQ(readMesh(dir.file("missing.km")), nullptr);
  EXPECT_EQ(readMesh(dir.path()), nullptr);
  EXPECT_EQ(readText(dir, ""), nullptr);
  EXPECT_EQ(readText(dir, "hello world\n"), nullptr);
  EXPECT_EQ(readText(dir, Bytes(100000, '\x9c')), nullptr);
  EXPECT_EQ(readText(dir, "korinmesh\n"), nullptr);
  EXPECT_EQ(readText(dir, "korinmesh 1\n"), nullptr);
  EXPECT_EQ(readText(dir, "korinmesh 1 binary middle-endian\n"), nullptr);
  EXPECT_EQ(readText(dir, "korinmesh 1 text extra\n"), nullptr);
  EXPECT_EQ(readText(dir, "KorinMesh 1 text\n"), nullptr);
}

TEST(KorinMeshRefusal, UnknownVersion) {
  TempDir dir;
  EXPECT_NE(readText(dir, "korinmesh 1 text\n"), nullptr);
  EXPECT_EQ(readText(dir, "korinmesh 2 text\n"), nullptr);
  EXPECT_EQ(readText(dir, "korinmesh 1.0 text\n"), nullptr);
  EXPECT_EQ(readText(dir, "korinmesh 0 text\n"), nullptr);
}

TEST(KorinMeshRefusal, BrokenHeaderStatements) {
  TempDir dir;
  const char* const broken[] = {
      "frobnicate X 1\n",                        // unknown statement
      "ints X 1.5\n",                            // not an integer
      "ints X 99999999999\n",                    // out of range
      "reals X one\n",                           // not a number
      "string X\n",                              // no value
      "string X \"unterminated\n",               // open quote
      "string X \"bad \\q escape\"\n",           // unknown escape
      "string X \"glued\"on\n",                  // quote glued to a word
      "bundle Open\nints X 1\n",                 // bundle never closed
      "end\n",                                   // nothing to close
      "bundle B\nlocation L 2\nend\n",           // location inside a bundle
      "location L\n",                            // no size
      "location L 1 2 3 4\n",                    // four dimensions
      "location L 0 5\n",                        // empty lattice
      "location L 2\nlocation L 3\n",            // declared twice
  };
  for (const char* statement : broken)
    EXPECT_EQ(readText(dir, std::string("korinmesh 1 text\n") + statement), nullptr) << statement;
}

TEST(KorinMeshRefusal, BrokenSectionStatements) {
  TempDir dir;
  const char* const broken[] = {
      "section S on L type uint64\ndata S\n0 0\n",               // unknown type name
      "section S on L type unit8\ndata S\n0 0\n",                // misspelt type name
      "section S on Nowhere type uint8\ndata S\n0 0\n",          // undeclared location
      "section S type uint8\ndata S\n0 0\n",                     // no location
      "section S on L\ndata S\n0 0\n",                           // no type
      "section S on L type uint8 components 0\ndata S\n0 0\n",   // no components
      "section S on L type uint8 colour red\ndata S\n0 0\n",     // unknown key
      "section S on L type\ndata S\n0 0\n",                      // key without value
      "section S on L type uint8 encoding 1 bytes 3\ndata S\n0 0\n",  // zlib in a text file
      "section S on L type uint8 bytes 2\ndata S\n0 0\n",        // bytes for plain values
  };
  for (const char* statement : broken)
    EXPECT_EQ(readText(dir, std::string("korinmesh 1 text\nlocation L 2\n") + statement), nullptr)
        << statement;
  // A location must come before the section that uses it.
  EXPECT_EQ(readText(dir, "korinmesh 1 text\nsection S on L type uint8\nlocation L 2\ndata S\n0 0\n"),
            nullptr);
  EXPECT_EQ(readText(dir, "korinmesh 1 binary little-endian\nlocation L 2\n"
                          "section S on L type uint8 encoding 2 bytes 2\ndata S\nxx"),
            nullptr);
  EXPECT_EQ(readText(dir, "korinmesh 1 binary little-endian\nlocation L 2\n"
                          "section S on L type uint8 encoding 1\ndata S\nxx"),
            nullptr);
}

TEST(KorinMeshRefusal, TruncatedOrMisplacedData) {
  TempDir dir;
  EXPECT_NE(readText(dir, GOOD_HEADER + Bytes("abcd")), nullptr);
  EXPECT_EQ(readText(dir, GOOD_HEADER + Bytes("abc")), nullptr);
  EXPECT_EQ(readText(dir, std::string("korinmesh 1 binary little-endian\nlocation L 2 2\n"
                                      "section S on L type uint8\n")),
            nullptr);  // no data at all
  EXPECT_EQ(readText(dir, std::string("korinmesh 1 binary little-endian\nlocation L 2 2\n"
                                      "section S on L type uint8\ndata T\nabcd")),
            nullptr);  // marker of another section
  EXPECT_EQ(readText(dir, "korinmesh 1 text\nints X 1\ndata S\n1 2\n"), nullptr);  // no sections
  const char* twoSections =
      "korinmesh 1 binary big-endian\nlocation L 2\n"
      "section A on L type int16\nsection B on L type int16\ndata A\n";
  EXPECT_NE(readText(dir, twoSections + Bytes("abcd\ndata B\nefgh")), nullptr);
  EXPECT_EQ(readText(dir, twoSections + Bytes("abcd\ndata B\nefg")), nullptr);
  EXPECT_EQ(readText(dir, twoSections + Bytes("abcd\n")), nullptr);
  EXPECT_EQ(readText(dir, twoSections + Bytes("abcdXdata B\nefgh")), nullptr);
  EXPECT_EQ(readText(dir, twoSections + Bytes("abcd\ndata A\nefgh")), nullptr);

  RecordingPositions recording;  // not loading the data does not excuse its absence
  EXPECT_NE(readText(dir, GOOD_HEADER + Bytes("abcd")), nullptr);
  EXPECT_EQ(readText(dir, GOOD_HEADER + Bytes("abc")), nullptr);
  EXPECT_EQ(readText(dir, twoSections + Bytes("abcd\ndata B\nefg")), nullptr);
}

TEST(KorinMeshRefusal, BadTextValues) {
  TempDir dir;
  const char* header = "korinmesh 1 text\nlocation L 3\nsection S on L type ";
  EXPECT_NE(readText(dir, header + std::string("uint8\ndata S\n0 128 255\n")), nullptr);
  EXPECT_EQ(readText(dir, header + std::string("uint8\ndata S\n0 128 256\n")), nullptr);
  EXPECT_EQ(readText(dir, header + std::string("uint8\ndata S\n0 -1 2\n")), nullptr);
  EXPECT_EQ(readText(dir, header + std::string("int16\ndata S\n0 1.5 2\n")), nullptr);
  EXPECT_EQ(readText(dir, header + std::string("int16\ndata S\n0 32768 2\n")), nullptr);
  EXPECT_EQ(readText(dir, header + std::string("float\ndata S\n0 x 2\n")), nullptr);
  EXPECT_EQ(readText(dir, header + std::string("double\ndata S\n0 1\n")), nullptr);
  RecordingPositions recording;
  EXPECT_EQ(readText(dir, header + std::string("uint8\ndata S\n0 128 256\n")), nullptr);
}

TEST(KorinMeshRefusal, HugeLatticesInSmallFiles) {
  TempDir dir;
  const char* lattice =
      "location L 2000000000 2000000000\nsection S on L type double\ndata S\n";
  EXPECT_EQ(readText(dir, std::string("korinmesh 1 text\n") + lattice + "1 2 3\n"), nullptr);
  EXPECT_EQ(readText(dir, std::string("korinmesh 1 binary big-endian\n") + lattice + "12345678"),
            nullptr);
}

TEST(KorinMeshRefusal, ZlibStreamsThatDoNotDecodeToTheDeclaredSize) {
  TempDir dir;
  Bytes plain = "0123456789abcdef";  // the 16 bytes of a 4 x 4 uint8 section
  auto withStream = [&](const Bytes& stream, int64_t declared) {
    return readText(dir, "korinmesh 1 binary little-endian\nlocation L 4 4\n"
                         "section S on L type uint8 encoding 1 bytes " + std::to_string(declared) +
                         "\ndata S\n" + stream);
  };
  Bytes good = zlibStream(plain);
  ASSERT_NE(withStream(good, good.size()), nullptr);
  EXPECT_EQ(withStream(zlibStream(plain, true), good.size()), nullptr);    // bad checksum
  EXPECT_EQ(withStream(zlibStream(plain + "x"), good.size() + 1), nullptr);  // one byte too many
  EXPECT_EQ(withStream(zlibStream(plain.substr(1)), good.size() - 1), nullptr);  // one too few
  EXPECT_EQ(withStream(good, good.size() - 1), nullptr);                   // stream cut short
  EXPECT_EQ(withStream(good, good.size() + 1), nullptr);                   // file cut short
  EXPECT_EQ(withStream(Bytes(good.size(), '\x55'), good.size()), nullptr);  // not zlib at all
  Bytes flipped = good;
  flipped[2] ^= 0x06;  // a block type that does not exist
  EXPECT_EQ(withStream(flipped, flipped.size()), nullptr);
}

// ---------------------------------------------------------------------------
// Writing safely, and the object's own refusals

TEST(KorinMeshWrite, FailedWritesLeaveTheOldFileAlone) {
  TempDir dir;
  KorinMesh mesh;
  const int dims[1] = {4};
  const float values[4] = {1, 2, 3, 4};
  mesh.addSection(mesh.addLocation("Row", 1, dims), "Data", TbPrimType::FLOAT, 1, values);

  EXPECT_FALSE(mesh.write(dir.file("no/such/folder/volume.km").c_str()));
  EXPECT_TRUE(filesIn(dir.path()).empty());

  std::string path = dir.file("volume.km");
  writeWholeFile(path, "the previous content");
  EXPECT_FALSE(mesh.write(path.c_str(), 7));  // no such encoding
  std::unique_ptr<KorinMesh> recorded;
  {
    ASSERT_TRUE(mesh.write(dir.file("source.km").c_str()));
    RecordingPositions recording;
    recorded = readMesh(dir.file("source.km"));
  }
  ASSERT_NE(recorded, nullptr);
  EXPECT_FALSE(recorded->write(path.c_str()));  // its data was never loaded
  EXPECT_EQ(readWholeFile(path), "the previous content");

  std::filesystem::create_directory(dir.file("folder.km"));
  EXPECT_FALSE(mesh.write(dir.file("folder.km").c_str()));
  EXPECT_EQ(filesIn(dir.path()), (std::vector<std::string>{"folder.km", "source.km", "volume.km"}));
}

TEST(KorinMeshWrite, ReplacesAnExistingFileWhole) {
  TempDir dir;
  std::string path = dir.file("volume.km");
  writeWholeFile(path, std::string(100000, 'x'));
  KorinMesh mesh;
  mesh.set("Small", 1);
  ASSERT_TRUE(mesh.write(path.c_str(), KorinMesh::TEXT));
  EXPECT_EQ(readWholeFile(path), "korinmesh 1 text\n\nints Small 1\n");
  EXPECT_EQ(mesh.encoding(), KorinMesh::TEXT);
  EXPECT_EQ(filesIn(dir.path()), (std::vector<std::string>{"volume.km"}));
}

TEST(KorinMeshObject, RefusesBadLocationsAndSections) {
  KorinMesh mesh, other;
  const int dims[3] = {2, 3, 4};
  const int empty[3] = {2, 0, 4};
  EXPECT_EQ(mesh.addLocation("L", 0, dims), nullptr);
  EXPECT_EQ(mesh.addLocation("L", 4, dims), nullptr);
  EXPECT_EQ(mesh.addLocation("L", 3, empty), nullptr);
  EXPECT_EQ(mesh.addLocation("L", 3, nullptr), nullptr);
  KorinMesh::Location* lattice = mesh.addLocation("L", 3, dims);
  ASSERT_NE(lattice, nullptr);
  EXPECT_EQ(mesh.addLocation("L", 1, dims), nullptr);
  EXPECT_EQ(mesh.findLocation("L"), lattice);
  const int huge[3] = {INT32_MAX, INT32_MAX, INT32_MAX};
  EXPECT_EQ(mesh.addLocation("Huge", 3, huge), nullptr);  // more points than an int64 counts
  const int big[3] = {INT32_MAX, INT32_MAX, 2};
  KorinMesh::Location* enormous = mesh.addLocation("Big", 3, big);
  ASSERT_NE(enormous, nullptr);

  KorinMesh::Location* foreign = other.addLocation("L", 3, dims);
  EXPECT_EQ(mesh.addSection(foreign, "S", TbPrimType::UINT8, 1, nullptr), nullptr);
  EXPECT_EQ(mesh.addSection(nullptr, "S", TbPrimType::UINT8, 1, nullptr), nullptr);
  EXPECT_EQ(mesh.addSection(lattice, "S", TbPrimType(5), 1, nullptr), nullptr);
  EXPECT_EQ(mesh.addSection(lattice, "S", TbPrimType::UINT8, 0, nullptr), nullptr);
  EXPECT_EQ(mesh.addSection(lattice, "S", TbPrimType::UINT8, 1, nullptr, 2), nullptr);
  EXPECT_EQ(mesh.addSection(enormous, "S", TbPrimType::DOUBLE, 1, nullptr), nullptr);
  EXPECT_EQ(mesh.dataSection.size(), 0);

  KorinMesh::DataSection* zeros = mesh.addSection(lattice, "S", TbPrimType::INT32, 2, nullptr);
  ASSERT_NE(zeros, nullptr);
  EXPECT_EQ(zeros->dataBytes(), 2 * 3 * 4 * 2 * 4);
  EXPECT_EQ(dataOf(*zeros), Bytes(2 * 3 * 4 * 2 * 4, '\0'));
  EXPECT_EQ(zeros->filePosition, -1);
  EXPECT_EQ(mesh.encoding(), KorinMesh::BINARY_LITTLE_ENDIAN);
  EXPECT_EQ(&mesh.parameters(), static_cast<UxParamBundle*>(&mesh));
  TbString type;
  EXPECT_FALSE(mesh.contentType(type));
}
