#pragma once
// Helpers shared by the converter's tests: the module's command run through a
// real Tcl interpreter, raw and KorinMesh inputs written to disk, the stored
// disk-data set opened again and compared with the input at level 0 and at
// subsampling 2, and a recording stand-in for the host's tiled converter.
#include <gtest/gtest.h>
#include <tcl.h>

#include <cstdint>
#include <cstring>
#include <fstream>
#include <ostream>
#include <set>
#include <string>
#include <type_traits>
#include <vector>

#include "blockstore/BlockFileIO.h"
#include "convert/UxConvertToDiskData.h"
#include "diskdata/UxDiskData.h"
#include "host/mesh/KorinMesh.h"
#include "host/base/TbPrimType.h"
#include "host/formats/UxBrixConverter.h"
#include "host/formats/UxFileFormat.h"
#include "host/objects/UxObjectPool.h"
#include "support/ObjectCommandRunner.h"
#include "support/ReferenceVolume.h"

namespace convert_test {

template <class T>
TbPrimType primTypeOf();
template <> inline TbPrimType primTypeOf<uint8_t>() { return TbPrimType::UINT8; }
template <> inline TbPrimType primTypeOf<int16_t>() { return TbPrimType::INT16; }
template <> inline TbPrimType primTypeOf<uint16_t>() { return TbPrimType::UINT16; }
template <> inline TbPrimType primTypeOf<int32_t>() { return TbPrimType::INT32; }
template <> inline TbPrimType primTypeOf<float>() { return TbPrimType::FLOAT; }
template <> inline TbPrimType primTypeOf<double>() { return TbPrimType::DOUBLE; }

// A test volume whose values use the type: negative values for signed types,
// fractions for floating point, values beyond one byte for wide types (so a
// byte swap that did not happen shows).
template <class T>
ReferenceVolume<T> testVolume(int x, int y, int z, int nc = 1) {
  auto volume = ReferenceVolume<T>::generated(x, y, z, nc);
  for (T& v : volume.values) {
    if (std::is_floating_point<T>::value)
      v = static_cast<T>(v * 0.375 - 20.125);  // eighths: every mean is exact
    else if (std::is_signed<T>::value)
      v = static_cast<T>(sizeof(T) > 1 ? v * 97 - 9000 : v - 120);
    else if (sizeof(T) > 1)
      v = static_cast<T>(v * 211 + 3);
  }
  return volume;
}

inline void swapElement(unsigned char* p, int size) {
  for (int i = 0; i < size / 2; ++i) std::swap(p[i], p[size - 1 - i]);
}

// `count` of the volume's values from `first` on, as bytes of the given order.
template <class T>
std::string rawBytes(const ReferenceVolume<T>& volume, bool bigEndian, size_t first = 0,
                     size_t count = size_t(-1)) {
  if (count == size_t(-1)) count = volume.values.size() - first;
  std::string bytes(count * sizeof(T), '\0');
  std::memcpy(&bytes[0], volume.values.data() + first, bytes.size());
  if (bigEndian)
    for (size_t i = 0; i < count; ++i)
      swapElement(reinterpret_cast<unsigned char*>(&bytes[i * sizeof(T)]), sizeof(T));
  return bytes;
}

// The whole volume in one file, after `header` bytes of 0x5A.
template <class T>
void writeRaw(const std::string& path, const ReferenceVolume<T>& volume, int header = 0,
              bool bigEndian = false) {
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  const std::string head(static_cast<size_t>(header), '\x5A');
  const std::string body = rawBytes(volume, bigEndian);
  out.write(head.data(), static_cast<std::streamsize>(head.size()));
  out.write(body.data(), static_cast<std::streamsize>(body.size()));
}

// One file per z slice, named base0.raw, base1.raw, ...; the names in order.
template <class T>
std::vector<std::string> writeRawSlices(const std::string& base, const ReferenceVolume<T>& volume,
                                        int header = 0, bool bigEndian = false) {
  std::vector<std::string> names;
  const size_t slice = static_cast<size_t>(volume.nx) * volume.ny * volume.nc;
  for (int z = 0; z < volume.nz; ++z) {
    names.push_back(base + std::to_string(z) + ".raw");
    std::ofstream out(names.back(), std::ios::binary | std::ios::trunc);
    const std::string head(static_cast<size_t>(header), '\x5A');
    const std::string body = rawBytes(volume, bigEndian, z * slice, slice);
    out.write(head.data(), static_cast<std::streamsize>(head.size()));
    out.write(body.data(), static_cast<std::streamsize>(body.size()));
  }
  return names;
}

// The 19 description words of a raw conversion, then the files.
inline std::vector<std::string> rawWords(int x, int y, int z, const char* ptype, int nDataVar,
                                         int header, const char* endianess,
                                         const std::vector<std::string>& files,
                                         const char* box = "0 1 0 2 0 3") {
  std::vector<std::string> words = {"-dims", std::to_string(x), std::to_string(y), std::to_string(z),
                                    "-ptype", ptype, "-ndatavar", std::to_string(nDataVar),
                                    "-header", std::to_string(header), "-endianess", endianess, "-bbox"};
  std::string b = box;
  for (size_t start = 0; start < b.size();) {
    size_t end = b.find(' ', start);
    if (end == std::string::npos) end = b.size();
    words.push_back(b.substr(start, end - start));
    start = end + 1;
  }
  words.insert(words.end(), files.begin(), files.end());
  return words;
}

inline std::vector<std::string> operator+(std::vector<std::string> a, const std::vector<std::string>& b) {
  a.insert(a.end(), b.begin(), b.end());
  return a;
}

// The module's Tcl command, as the shell would call it: argv[0] the module's
// name, then the words given.
struct CommandResult {
  int code;
  std::string result;
};

class Interpreter : public ObjectCommandRunner {
 public:
  CommandResult run(UxObject& object, const std::vector<std::string>& words) {
    const int code = ObjectCommandRunner::run(object, std::vector<std::string>{"converter"} + words);
    return {code, result()};
  }
  // The module's convertToDiskData command with these words after it.
  CommandResult convert(UxObject& object, const std::vector<std::string>& words) {
    return run(object, std::vector<std::string>{"convertToDiskData"} + words);
  }
};

// A disk-data set opened again from its description file, the way the host
// reads it; it leaves the object pool with this object.
class StoredSet {
 public:
  explicit StoredSet(const std::string& description) {
    KorinMesh* mesh = KorinMesh::read(description.c_str());
    if (!mesh) return;
    UxObjectPool* pool = UxObjectPool::getThePool();
    const unsigned long before = pool->getAdditionCount();
    if (UxDiskData::readKorinMesh(mesh, description.c_str()) && pool->getAdditionCount() != before)
      data = dynamic_cast<UxDiskData*>(pool->getNewest());
    delete mesh;
  }
  // One the host has already put in the object pool.
  explicit StoredSet(UxDiskData* inPool) : data(inPool) {}
  ~StoredSet() {
    if (data) UxObjectPool::getThePool()->remove(data);
  }
  StoredSet(const StoredSet&) = delete;
  StoredSet& operator=(const StoredSet&) = delete;

  explicit operator bool() const { return data != nullptr; }
  std::vector<int> dims() const {
    int d[3] = {-1, -1, -1};
    data->getDims(d);
    return {d[0], d[1], d[2]};
  }
  std::vector<float> box() const {
    float b[6];
    data->getBoundingBox(b);
    return std::vector<float>(b, b + 6);
  }

  // The box of `size` samples (counted at the subsampling) from level-0 `origin`.
  template <class T>
  ReferenceVolume<T> read(const int* origin, const int* size, int subsampling, int* status = nullptr) {
    ReferenceVolume<T> box(size[0], size[1], size[2], data->getNDataVar());
    for (T& v : box.values) v = T(77);
    UxExternalData::BlockRequest request;
    request.data = box.values.data();
    for (int a = 0; a < 3; ++a) {
      request.origin[a] = request.bufferOrigin[a] = origin[a];
      request.size[a] = request.bufferSize[a] = size[a];
      request.subsampling[a] = subsampling;
    }
    const int done = data->getBlock(&request);
    if (status) *status = done;
    return box;
  }
  template <class T>
  ReferenceVolume<T> readAll(int subsampling, int* status = nullptr) {
    const int origin[3] = {0, 0, 0};
    int d[3];
    data->getDims(d);
    const int size[3] = {(d[0] + subsampling - 1) / subsampling, (d[1] + subsampling - 1) / subsampling,
                         (d[2] + subsampling - 1) / subsampling};
    return read<T>(origin, size, subsampling, status);
  }

  UxDiskData* data = nullptr;
};

template <class T>
::testing::AssertionResult sameSamples(const ReferenceVolume<T>& got, const ReferenceVolume<T>& want) {
  if (got.nx != want.nx || got.ny != want.ny || got.nz != want.nz || got.nc != want.nc)
    return ::testing::AssertionFailure() << "shape " << got.nx << "x" << got.ny << "x" << got.nz << "x"
                                         << got.nc << ", wanted " << want.nx << "x" << want.ny << "x"
                                         << want.nz << "x" << want.nc;
  for (size_t i = 0; i < want.values.size(); ++i) {
    if (!(got.values[i] == want.values[i]))
      return ::testing::AssertionFailure()
             << "sample " << i / want.nc << " component " << i % want.nc << ": "
             << +got.values[i] << ", wanted " << +want.values[i];
  }
  return ::testing::AssertionSuccess();
}

// The set at `description` holds `input`: type, shape, box, every sample at
// level 0 and the 2x2x2 means at subsampling 2.
template <class T>
void expectHolds(StoredSet& set, const ReferenceVolume<T>& input, const std::vector<float>& box = {0, 1, 0, 2, 0, 3}) {
  ASSERT_TRUE(set) << "no disk data";
  EXPECT_EQ(set.data->getPrimType(), primTypeOf<T>());
  EXPECT_EQ(set.data->getNDataVar(), input.nc);
  ASSERT_EQ(set.dims(), (std::vector<int>{input.nx, input.ny, input.nz}));
  EXPECT_EQ(set.box(), box);
  int status = 0;
  const ReferenceVolume<T> level0 = set.readAll<T>(1, &status);
  EXPECT_EQ(status, 1);
  EXPECT_TRUE(sameSamples(level0, input)) << "level 0";
  const ReferenceVolume<T> level1 = set.readAll<T>(2, &status);
  EXPECT_EQ(status, 1);
  EXPECT_TRUE(sameSamples(level1, input.reduced(2, 2, 2))) << "subsampling 2";
}

// The set at `description` holds `input`: type, shape, box, every sample at
// level 0 and the 2x2x2 means at subsampling 2.
template <class T>
void expectStored(const std::string& description, const ReferenceVolume<T>& input,
                  const std::vector<float>& box = {0, 1, 0, 2, 0, 3}) {
  SCOPED_TRACE(description);
  StoredSet set(description);
  expectHolds(set, input, box);
}

// Stands in for the host's tiled converter: records every call and answers
// with `result`. Installed for the lifetime of the object, together with the
// formats it makes convertible; both are put back afterwards.
class TiledDouble {
 public:
  struct Call {
    std::vector<std::string> files;
    std::string output;
    float box[6];
    int dims[3];
    int primType;
    bool littleEndian;
    int convertMethod;
    int headerBytes;
    bool doubleToFloat;
    bool isRaw;
    int tileSize;
    int borderSize;
    int samplingType;
    bool compressorNull;
    std::string compressor;
  };

  explicit TiledDouble(int answer, std::vector<std::string> labels = {"Raw Data"}) : formats(std::move(labels)) {
    calls().clear();
    result() = answer;
    UxBrixConverter::setImplementation(record);
    for (const std::string& label : formats) {
      UxFileFormat* format = UxFileFormat::getFileFormatByLabel(label.c_str());
      before.push_back(format && format->ldaConvertible);
      UxFileFormat::setLdaConvertible(label.c_str(), true);
    }
  }
  ~TiledDouble() {
    UxBrixConverter::setImplementation(nullptr);
    for (size_t i = 0; i < formats.size(); ++i) UxFileFormat::setLdaConvertible(formats[i].c_str(), before[i]);
    calls().clear();
  }
  TiledDouble(const TiledDouble&) = delete;
  TiledDouble& operator=(const TiledDouble&) = delete;

  static std::vector<Call>& calls() {
    static std::vector<Call> made;
    return made;
  }
  static int& result() {
    static int answer = 1;
    return answer;
  }

 private:
  static int record(const TbDArray<const char*>& files, const TbFilename& output, const TbBox3f& box,
                    const TbVec3i& dims, const TbPrimType& primType, bool littleEndian, int convertMethod,
                    int headerBytes, bool doubleToFloat, bool isRaw, int tileSize, int borderSize,
                    int samplingType, const char* compressor) {
    Call c;
    for (int i = 0; i < files.size(); ++i) c.files.push_back(files[i] ? files[i] : "(null)");
    c.output = output.getString();
    for (int i = 0; i < 6; ++i) c.box[i] = box[i];
    for (int i = 0; i < 3; ++i) c.dims[i] = dims[i];
    c.primType = primType;
    c.littleEndian = littleEndian;
    c.convertMethod = convertMethod;
    c.headerBytes = headerBytes;
    c.doubleToFloat = doubleToFloat;
    c.isRaw = isRaw;
    c.tileSize = tileSize;
    c.borderSize = borderSize;
    c.samplingType = samplingType;
    c.compressorNull = compressor == nullptr;
    c.compressor = compressor ? compressor : "";
    calls().push_back(c);
    return result();
  }

  std::vector<std::string> formats;
  std::vector<bool> before;
};

// Records the reads of one file made through the file seam of the block store
// and the raw readers, while the object lives (one at a time).
class ReadRecorder {
 public:
  explicit ReadRecorder(const std::string& path);
  ~ReadRecorder();
  ReadRecorder(const ReadRecorder&) = delete;
  ReadRecorder& operator=(const ReadRecorder&) = delete;

  struct Read {
    int64_t offset;
    int64_t bytes;
    bool operator==(const Read& o) const { return offset == o.offset && bytes == o.bytes; }
  };
  std::vector<Read> reads;
};

inline std::ostream& operator<<(std::ostream& out, const ReadRecorder::Read& r) {
  return out << r.bytes << " bytes at " << r.offset;
}

// Every file in the folder, by full path.
std::set<std::string> filesIn(const std::string& folder);

// The lines the console showed, without the progress lines of the work area.
bool isProgressLine(const std::string& line);
std::vector<std::string> withoutProgress(const std::vector<std::string>& lines);

}  // namespace convert_test
