// Stores crafted to break a reader: each is refused with a reason naming what
// is wrong, at opening or at reading its chunks; none crashes, hangs on a
// pipe, or allocates by a number it was given.
#include "host/lda/LdaStore.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <functional>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "host/codecs/SoDataCompressors.h"
#include "host/lda/LdaCodecs.h"
#include "support/TempDir.h"

namespace {

using nlohmann::json;

// A valid store: uint16, z 4 x y 6 x x 5, chunks 2 x 3 x 5, not compressed.
struct Crafted {
  json attributes = {{"multiscales",
                      {{{"version", "0.4"},
                        {"axes", {{{"name", "z"}, {"type", "space"}}, {{"name", "y"}, {"type", "space"}},
                                  {{"name", "x"}, {"type", "space"}}}},
                        {"datasets", {{{"path", "0"},
                                       {"coordinateTransformations", {{{"type", "scale"}, {"scale", {1, 1, 1}}}}}}}}}}}};
  json array = {{"zarr_format", 2}, {"shape", {4, 6, 5}}, {"chunks", {2, 3, 5}}, {"dtype", "<u2"},
                {"compressor", nullptr}, {"fill_value", 0}, {"order", "C"}, {"filters", nullptr},
                {"dimension_separator", "/"}};
  std::function<void(const std::string&)> files;  // changes made to the written store
};

struct Case {
  const char* name;
  std::function<void(Crafted&)> craft;
  const char* reason;
  bool atOpening;
};

void mkfifoAt(const std::string& path) {
  std::filesystem::remove(path);
  ASSERT_EQ(::mkfifo(path.c_str(), 0644), 0);
}

std::string nested(int depth) { return std::string(depth, '[') + std::string(depth, ']'); }

const Case kCases[] = {
    {"path is a number", [](Crafted& c) { c.attributes["multiscales"][0]["datasets"][0]["path"] = 0; },
     "dataset path 0 does not name a folder inside the store", true},
    {"path leaves the store", [](Crafted& c) { c.attributes["multiscales"][0]["datasets"][0]["path"] = "../0"; },
     "does not name a folder inside the store", true},
    {"absolute path", [](Crafted& c) { c.attributes["multiscales"][0]["datasets"][0]["path"] = "/etc"; },
     "does not name a folder inside the store", true},
    {"axis type is a number", [](Crafted& c) { c.attributes["multiscales"][0]["axes"][0]["type"] = 5; },
     "has a type that is not a string", true},
    {"transformation type is a number",
     [](Crafted& c) { c.attributes["multiscales"][0]["datasets"][0]["coordinateTransformations"][0]["type"] = 1; },
     "a coordinate transformation is not a scale", true},
    {"negative scale",
     [](Crafted& c) {
       c.attributes["multiscales"][0]["datasets"][0]["coordinateTransformations"][0]["scale"] = {1, -1, 1};
     },
     "a coordinate transformation is not a scale (positive)", true},
    {"translation beyond a float",
     [](Crafted& c) {
       c.attributes["multiscales"][0]["coordinateTransformations"] = {
           {{"type", "translation"}, {"translation", {1e300, 0, 0}}}};
     },
     "beyond the numbers a bounding box holds", true},
    {"nested 200000 deep",
     [](Crafted& c) { c.files = [](const std::string& s) { writeWholeFile(s + "/.zattrs", "{\"a\":" + nested(200000) + "}"); }; },
     ".zattrs is nested deeper than 64 levels", true},
    {"attributes are a pipe", [](Crafted& c) { c.files = [](const std::string& s) { mkfifoAt(s + "/.zattrs"); }; },
     ".zattrs is not a regular file", true},
    {"attributes are a folder",
     [](Crafted& c) {
       c.files = [](const std::string& s) {
         std::filesystem::remove(s + "/.zattrs");
         std::filesystem::create_directory(s + "/.zattrs");
       };
     },
     ".zattrs is not a regular file", true},
    {"attributes too large",
     [](Crafted& c) { c.files = [](const std::string& s) { std::filesystem::resize_file(s + "/.zattrs", 17 << 20); }; },
     ".zattrs is larger than", true},
    {"attributes not JSON", [](Crafted& c) { c.files = [](const std::string& s) { writeWholeFile(s + "/.zattrs", "{\"a\": "); }; },
     ".zattrs is not valid JSON", true},
    {"attributes an array", [](Crafted& c) { c.attributes = json::array({1}); }, ".zattrs is not a JSON object", true},
    {"no multiscales", [](Crafted& c) { c.attributes = {{"multiscales", json::array()}}; },
     ".zattrs holds no multiscales entry", true},
    {"one axis",
     [](Crafted& c) {
       c.attributes["multiscales"][0]["axes"].erase(0);
       c.attributes["multiscales"][0]["axes"].erase(0);
     },
     "axes are not 2 to 5", true},
    {"axes that do not match the array", [](Crafted& c) { c.attributes["multiscales"][0]["axes"].erase(0); },
     "a coordinate transformation is not a scale (positive) or translation of 2 numbers", true},
    {"too many datasets",
     [](Crafted& c) {
       json& list = c.attributes["multiscales"][0]["datasets"];
       while (list.size() < 40) list.push_back(list[0]);
     },
     "more than 32", true},
    {"array missing", [](Crafted& c) { c.files = [](const std::string& s) { std::filesystem::remove(s + "/0/.zarray"); }; },
     "it has no 0/.zarray", true},
    {"array version 3", [](Crafted& c) { c.array["zarr_format"] = 3; }, "not a Zarr version 2 array", true},
    {"negative shape", [](Crafted& c) { c.array["shape"] = {4, -6, 5}; }, "its shape or chunks are not 3 counts", true},
    {"shape as text", [](Crafted& c) { c.array["shape"] = "4,6,5"; }, "its shape or chunks are not 3 counts", true},
    {"zero chunks", [](Crafted& c) { c.array["chunks"] = {2, 0, 5}; }, "its shape or chunks are not 3 counts", true},
    {"huge chunks", [](Crafted& c) { c.array["chunks"] = {100000, 100000, 100000}; },
     "its chunks are larger than the 512 MiB", true},
    {"empty axis", [](Crafted& c) { c.array["shape"] = {4, 0, 5}; }, "an axis holds no samples", true},
    {"64-bit integers", [](Crafted& c) { c.array["dtype"] = "<i8"; }, "dtype \"<i8\" is not supported", true},
    {"dtype a number", [](Crafted& c) { c.array["dtype"] = 5; }, "dtype 5 is not supported", true},
    {"Fortran order", [](Crafted& c) { c.array["order"] = "F"; }, "only C order is supported", true},
    {"filters", [](Crafted& c) { c.array["filters"] = {{{"id", "delta"}}}; }, "filters are not supported", true},
    {"codec id a number", [](Crafted& c) { c.array["compressor"] = {{"id", 5}}; }, "names no codec", true},
    {"unknown codec", [](Crafted& c) { c.array["compressor"] = {{"id", "snappy"}}; },
     "compressor \"snappy\" is not supported", true},
    {"separator", [](Crafted& c) { c.array["dimension_separator"] = "-"; }, "dimension_separator must be", true},
    {"fill beyond the type", [](Crafted& c) { c.array["fill_value"] = 70000; }, "fill_value 70000 does not fit", true},
    {"NaN fill for integers", [](Crafted& c) { c.array["fill_value"] = "NaN"; }, "fill_value \"NaN\" does not fit", true},
    {"too many channels",
     [](Crafted& c) {
       c.attributes["multiscales"][0]["axes"].insert(c.attributes["multiscales"][0]["axes"].begin(),
                                                     json::object({{"name", "c"}, {"type", "channel"}}));
       c.attributes["multiscales"][0]["datasets"][0]["coordinateTransformations"][0]["scale"] = {1, 1, 1, 1};
       c.array["shape"] = {100000, 4, 6, 5};
       c.array["chunks"] = {1, 2, 3, 5};
     },
     "channels (1 to 4096 are read)", true},
    {"a time series",
     [](Crafted& c) {
       c.attributes["multiscales"][0]["axes"].insert(c.attributes["multiscales"][0]["axes"].begin(),
                                                     json::object({{"name", "t"}, {"type", "time"}}));
       c.attributes["multiscales"][0]["datasets"][0]["coordinateTransformations"][0]["scale"] = {1, 1, 1, 1};
       c.array["shape"] = {2, 4, 6, 5};
       c.array["chunks"] = {1, 2, 3, 5};
     },
     "time series are not supported", true},
    {"chunk is a pipe", [](Crafted& c) { c.files = [](const std::string& s) { mkfifoAt(s + "/0/1/0/0"); }; },
     "0/1/0/0 is not a regular file", false},
    {"chunk of the wrong size",
     [](Crafted& c) { c.files = [](const std::string& s) { writeWholeFile(s + "/0/0/1/0", std::string(61, 'x')); }; },
     "0/0/1/0 is larger than 60 bytes", false},
    {"compressed chunk decoding past its size",
     [](Crafted& c) {
       c.array["compressor"] = {{"id", "zlib"}, {"level", 1}};
       c.files = [](const std::string& s) {  // a zlib stream of 61 bytes where the chunk holds 60
         std::vector<unsigned char> stream;
         ldaCodecByName("zlib")->compress(std::string(61, 'x').data(), 61, stream);
         writeWholeFile(s + "/0/0/0/0", std::string(stream.begin(), stream.end()));
       };
     },
     "0/0/0/0 cannot be decoded", false},
    {"chunk larger than any stream",
     [](Crafted& c) {
       c.array["compressor"] = {{"id", "zstd"}, {"level", 3}};
       c.files = [](const std::string& s) { std::filesystem::resize_file(s + "/0/0/0/0", 1 << 20); };
     },
     "0/0/0/0 is larger than", false},
};

bool readWhole(const LdaStore& store, std::vector<unsigned char>& box, std::string& why) {
  box.resize(4 * 6 * 5 * 2);
  const int origin[3] = {0, 0, 0}, size[3] = {5, 6, 4};
  return store.readBox(0, origin, size, box.data(), why);
}

class LdaStoreReading : public ::testing::TestWithParam<Case> {
 protected:
  void SetUp() override { initDataCompressors(); }

  std::string write(const Crafted& crafted) {
    const std::string store = dir.file("s.zarr");
    std::filesystem::create_directories(store + "/0");
    writeWholeFile(store + "/.zgroup", "{\"zarr_format\": 2}");
    writeWholeFile(store + "/.zattrs", crafted.attributes.dump());
    writeWholeFile(store + "/0/.zarray", crafted.array.dump());
    for (int z = 0; z < 2; ++z)
      for (int y = 0; y < 2; ++y) {
        std::filesystem::create_directories(store + "/0/" + std::to_string(z) + "/" + std::to_string(y));
        writeWholeFile(store + "/0/" + std::to_string(z) + "/" + std::to_string(y) + "/0", std::string(60, '\x01'));
      }
    if (crafted.files) crafted.files(store);
    return store;
  }

  TempDir dir;
};

TEST_P(LdaStoreReading, IsRefusedWithTheReason) {
  const Case& c = GetParam();
  Crafted crafted;
  c.craft(crafted);
  std::string why;
  std::unique_ptr<LdaStore> store = LdaStore::open(write(crafted), why);
  if (c.atOpening) {
    EXPECT_EQ(store, nullptr);
    EXPECT_NE(why.find(c.reason), std::string::npos) << why;
    return;
  }
  ASSERT_NE(store, nullptr) << why;
  std::vector<unsigned char> box;
  EXPECT_FALSE(readWhole(*store, box, why));
  EXPECT_NE(why.find(c.reason), std::string::npos) << why;
}

TEST_F(LdaStoreReading, TheUncraftedStoreReadsBack) {
  std::string why;
  std::unique_ptr<LdaStore> store = LdaStore::open(write(Crafted()), why);
  ASSERT_NE(store, nullptr) << why;
  std::vector<unsigned char> box;
  ASSERT_TRUE(readWhole(*store, box, why)) << why;
  EXPECT_EQ(box, std::vector<unsigned char>(box.size(), 1));
}

INSTANTIATE_TEST_SUITE_P(Crafted, LdaStoreReading, ::testing::ValuesIn(kCases),
                         [](const ::testing::TestParamInfo<Case>& info) {
                           std::string name;
                           for (const char* c = info.param.name; *c; ++c) name += std::isalnum(*c) ? *c : '_';
                           return name;
                         });

}  // namespace
