#pragma once
// Helpers shared by the converter's tests: one fixture with the module, its
// command through a real Tcl interpreter and the console; raw inputs written
// to disk; the stored disk-data set opened again and compared with the input
// at level 0 and at subsampling 2; and a recording stand-in for the host's
// tiled converter.
#include <gtest/gtest.h>
#include <tcl.h>

#include <cstdint>
#include <cstring>
#include <filesystem>
#include <set>
#include <string>
#include <type_traits>
#include <vector>

#include "convert/UxConvertToDiskData.h"
#include "diskdata/UxDiskData.h"
#include "host/base/TbPrimType.h"
#include "support/ConsoleCapture.h"
#include "support/DiskDataOpen.h"
#include "support/ObjectCommandRunner.h"
#include "support/ReferenceVolume.h"
#include "support/TempDir.h"

namespace convert_test {

using Lines = std::vector<std::string>;
using Words = std::vector<std::string>;

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

// `count` of the volume's values from `first` on, as bytes of the given order.
template <class T>
std::string rawBytes(const ReferenceVolume<T>& volume, bool bigEndian, size_t first = 0, size_t count = size_t(-1)) {
  if (count == size_t(-1)) count = volume.values.size() - first;
  std::string bytes(count * sizeof(T), '\0');
  std::memcpy(&bytes[0], volume.values.data() + first, bytes.size());
  for (size_t at = 0; bigEndian && at < bytes.size(); at += sizeof(T))
    for (size_t i = 0; i < sizeof(T) / 2; ++i) std::swap(bytes[at + i], bytes[at + sizeof(T) - 1 - i]);
  return bytes;
}

// The whole volume in one file, after `header` bytes of 0x5A.
template <class T>
void writeRaw(const std::string& path, const ReferenceVolume<T>& volume, int header = 0, bool bigEndian = false) {
  writeWholeFile(path, std::string(static_cast<size_t>(header), '\x5A') + rawBytes(volume, bigEndian));
}

// One file per z slice, each after its header, named base0.raw, base1.raw, ...; the names in order.
template <class T>
Words writeRawSlices(const std::string& base, const ReferenceVolume<T>& volume, int header = 0, bool bigEndian = false) {
  Words names;
  const size_t slice = static_cast<size_t>(volume.nx) * volume.ny * volume.nc;
  for (int z = 0; z < volume.nz; ++z) {
    names.push_back(base + std::to_string(z) + ".raw");
    writeWholeFile(names.back(), std::string(static_cast<size_t>(header), '\x5A') +
                                     rawBytes(volume, bigEndian, z * slice, slice));
  }
  return names;
}

inline Words operator+(Words a, const Words& b) {
  a.insert(a.end(), b.begin(), b.end());
  return a;
}

// The 19 description words of a raw conversion, then the files.
inline Words rawWords(int x, int y, int z, const char* ptype, int nDataVar, int header, const char* endianess,
                      const Words& files, const Words& box = {"0", "1", "0", "2", "0", "3"}) {
  return Words{"-dims", std::to_string(x), std::to_string(y), std::to_string(z), "-ptype", ptype, "-ndatavar",
               std::to_string(nDataVar), "-header", std::to_string(header), "-endianess", endianess, "-bbox"} +
         box + files;
}

// A disk-data set opened again from its description file, the way the host
// reads it; it leaves the object pool with this object.
class StoredSet {
 public:
  explicit StoredSet(const std::string& description) : data(openDiskData(description)) {}
  explicit StoredSet(UxDiskData* inPool) : data(inPool) {}  // one the host already pooled
  ~StoredSet();
  StoredSet(const StoredSet&) = delete;
  StoredSet& operator=(const StoredSet&) = delete;

  explicit operator bool() const { return data != nullptr; }
  std::vector<int> dims() const;
  std::vector<float> box() const;
  int readInto(void* buffer, const int* size, int subsampling);
  // The whole set at the subsampling; samples not delivered read 77.
  template <class T>
  ReferenceVolume<T> read(int subsampling, int* status = nullptr) {
    std::vector<int> size;
    for (int n : dims()) size.push_back((n + subsampling - 1) / subsampling);
    ReferenceVolume<T> box(size[0], size[1], size[2], data->getNDataVar());
    for (T& v : box.values) v = T(77);
    const int done = readInto(box.values.data(), size.data(), subsampling);
    if (status) *status = done;
    return box;
  }

  UxDiskData* data = nullptr;
};

// The set holds `input`: type, shape, box, every sample at level 0 and the
// 2x2x2 means at subsampling 2.
template <class T>
void expectHolds(StoredSet& set, const ReferenceVolume<T>& input, const std::vector<float>& box = {0, 1, 0, 2, 0, 3}) {
  ASSERT_TRUE(set) << "no disk data";
  EXPECT_EQ(set.data->getPrimType(), primTypeOf<T>());
  EXPECT_EQ(set.data->getNDataVar(), input.nc);
  ASSERT_EQ(set.dims(), (std::vector<int>{input.nx, input.ny, input.nz}));
  EXPECT_EQ(set.box(), box);
  int status = 0;
  EXPECT_TRUE(sameSamples(set.read<T>(1, &status), input)) << "level 0";
  EXPECT_EQ(status, 1);
  EXPECT_TRUE(sameSamples(set.read<T>(2, &status), input.reduced(2, 2, 2))) << "subsampling 2";
  EXPECT_EQ(status, 1);
}

template <class T>
void expectStored(const std::string& description, const ReferenceVolume<T>& input,
                  const std::vector<float>& box = {0, 1, 0, 2, 0, 3}) {
  SCOPED_TRACE(description);
  StoredSet set(description);
  expectHolds(set, input, box);
}

// Sets whether the host's tiled converter takes the formats of these labels,
// for the lifetime of the object; the earlier settings come back afterwards.
class TiledFormats {
 public:
  TiledFormats(const Words& labels, bool convertible);
  ~TiledFormats();
  TiledFormats(const TiledFormats&) = delete;
  TiledFormats& operator=(const TiledFormats&) = delete;

 private:
  Words labels;
  std::vector<bool> before;
};

// Stands in for the host's tiled converter: records every call and answers
// with `answer`, for the lifetime of the object, making the formats of
// `labels` convertible meanwhile.
class TiledDouble {
 public:
  struct Call {
    Words files;
    std::string output;
    std::string description;  // "box B1 .. B6 dims X Y Z type T little|big method M header H [toFloat] raw|images"
    std::string options;      // "tile T border B sampling S compressor NAME|(null)"
  };
  explicit TiledDouble(int answer, const Words& labels = {"Raw Data"});
  ~TiledDouble();
  TiledDouble(const TiledDouble&) = delete;
  TiledDouble& operator=(const TiledDouble&) = delete;

  static std::vector<Call>& calls();

 private:
  TiledFormats formats;
};

struct CommandResult {
  int code;
  std::string result;
};

// A converter module in a temporary folder, its command run as the shell
// would (argv[0] the module's name), and the console.
class ConvertTest : public ::testing::Test {
 protected:
  CommandResult run(const Words& words) {
    const int code = tcl.run(module, Words{"converter"} + words);
    return {code, tcl.result()};
  }
  // The module's convertToDiskData command with these words after it.
  CommandResult convert(const Words& words) { return run(Words{"convertToDiskData"} + words); }
  // A conversion from the ports, as the module's button runs it: the files as
  // the inputs, `out` in the folder as the output, `answer` queued for `dialog`.
  int convertFromPorts(const Words& files, const std::string& out = "vol", int dialog = UxBatchAnswers::RAW,
                       const Words& answer = {}) {
    std::vector<const char*> names;
    for (const std::string& name : files) names.push_back(name.c_str());
    module.inputs.setFilenames(names.data(), static_cast<int>(names.size()));
    module.output.setFilename(dir.file(out).c_str());
    if (!answer.empty()) UxBatchAnswers::push(dialog, answer);
    return module.convertToDiskData(0, nullptr);
  }
  // The files in the folder that are not among `inputs`.
  std::set<std::string> madeFiles(const Words& inputs = {}) const {
    std::set<std::string> made;
    for (const auto& entry : std::filesystem::directory_iterator(dir.path())) made.insert(entry.path().string());
    for (const std::string& input : inputs) made.erase(input);
    return made;
  }

  // Only the formats a test's TiledDouble names go to the tiled converter;
  // every other conversion here makes disk data.
  TiledFormats diskDataPath{{"Raw Data", "PNG", "TIFF", "JPEG", "BMP"}, false};
  TempDir dir;
  UxConvertToDiskData module;
  ObjectCommandRunner tcl;
  ConsoleCapture console;
};

}  // namespace convert_test
