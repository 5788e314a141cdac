// The description file: what the reader requires, the extra parameters that
// travel with it, and the description of a read-only set.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <memory>

#include "diskdata/UxDiskData.h"
#include "host/mesh/KorinMesh.h"
#include "host/objects/UxObjectPool.h"
#include "support/ConsoleCapture.h"
#include "support/TempDir.h"
#include "support/Unprivileged.h"

namespace {

const float kBox[6] = {0, 1, 0, 2, 0, 3};
const int kDims[3] = {40, 20, 10};

void makeSet(const std::string& description, const char* blockFiles = nullptr) {
  UxDiskData* data = UxDiskData::create(description.c_str(), blockFiles, kDims, 2, TbPrimType::INT16, kBox);
  ASSERT_TRUE(data);
  data->unref();
}

std::unique_ptr<KorinMesh> readMesh(const std::string& path) { return std::unique_ptr<KorinMesh>(KorinMesh::read(path.c_str())); }

// Reads a description the way the host does; the new object, or null.
UxDiskData* open(const std::string& path) {
  auto mesh = readMesh(path);
  if (!mesh) return nullptr;
  UxObjectPool* pool = UxObjectPool::getThePool();
  const unsigned long before = pool->getAdditionCount();
  if (!UxDiskData::readKorinMesh(mesh.get(), path.c_str())) return nullptr;
  return pool->getAdditionCount() == before ? nullptr : static_cast<UxDiskData*>(pool->getNewest());
}

TEST(DescriptionFile, RequiredParametersAndTheirMessages) {
  TempDir dir;
  ConsoleCapture console;
  const std::string name = dir.file("p.km");
  makeSet(name);
  auto mesh = readMesh(name);
  mesh->remove("BoundingBox");
  EXPECT_EQ(UxDiskData::readKorinMesh(mesh.get(), name.c_str()), 0);
  const float five[5] = {0, 1, 0, 1, 0};
  mesh->set("BoundingBox", 5, five);  // fewer than six values
  EXPECT_EQ(UxDiskData::readKorinMesh(mesh.get(), name.c_str()), 0);
  EXPECT_TRUE(console.lines.empty());

  mesh = readMesh(name);
  ::unlink((name + "-SUPR.dat").c_str());
  EXPECT_EQ(UxDiskData::readKorinMesh(mesh.get(), name.c_str()), 0);
  EXPECT_TRUE(console.saw("Error opening " + name + " or one of it's data files"));
}

TEST(DescriptionFile, ExtraParametersTravelAndTheTableWins) {
  TempDir dir;
  const std::string name = dir.file("x.km");
  makeSet(name);
  UxDiskData* data = open(name);
  ASSERT_TRUE(data);
  UxParamBundle extra;
  extra.set("Comment", "scanned on Tuesday", 0);
  extra.set("ContentType", "Something", 0);
  const int wrongDims[3] = {1, 1, 1};
  extra.set("Dims", 3, wrongDims);
  extra.bundle("Acquisition", 1)->set("Voltage", 120);
  ASSERT_EQ(data->saveParameters(extra), 1);
  UxObjectPool::getThePool()->remove(data);

  auto mesh = readMesh(name);
  const char* text = nullptr;
  ASSERT_TRUE(mesh->findString("Comment", text));
  EXPECT_STREQ(text, "scanned on Tuesday");
  ASSERT_TRUE(mesh->findString("ContentType", text));
  EXPECT_STREQ(text, "UxDiskData");
  int dims[3];
  ASSERT_TRUE(mesh->findNum("Dims", 3, dims));
  EXPECT_EQ(dims[0], 40);
  int voltage = 0;
  ASSERT_TRUE(mesh->bundle("Acquisition")->findNum("Voltage", 1, &voltage));
  EXPECT_EQ(voltage, 120);

  data = open(name);  // the unknown parameters come with the object
  ASSERT_TRUE(data);
  ASSERT_TRUE(data->parameters().findString("Comment", text));
  EXPECT_STREQ(text, "scanned on Tuesday");
  UxObjectPool::getThePool()->remove(data);
}

// Block files the user may not write make a read-only set; its description
// can still be rewritten where the description file itself is writeable.
TEST(DescriptionFile, ReadOnlySetStillSavesItsParameters) {
  TempDir dir;
  const std::string folder = dir.file("shared");
  mkdir(folder.c_str(), 0777);
  chmod(folder.c_str(), 0777);
  const std::string name = folder + "/ro.km";
  makeSet(name);
  chmod((name + "-0000.dat").c_str(), 0444);
  chmod((name + "-SUPR.dat").c_str(), 0444);
  chmod(name.c_str(), 0666);
  int result = runUnprivileged([&] {
    UxDiskData* data = open(name);
    if (!data) return 10;
    if (data->isWritable()) return 11;
    UxExternalData::BlockRequest request;
    int16_t sample[2] = {5, 6};  // one sample of two components
    request.data = sample;
    for (int a = 0; a < 3; ++a) request.size[a] = request.bufferSize[a] = 1;
    if (data->putBlock(&request)) return 12;
    UxParamBundle extra;
    extra.set("Note", "read-only", 0);
    if (data->saveParameters(extra) != 1) return 13;
    return 0;
  });
  EXPECT_EQ(result, 0);
  auto mesh = readMesh(name);
  const char* note = nullptr;
  ASSERT_TRUE(mesh && mesh->findString("Note", note));
  EXPECT_STREQ(note, "read-only");
}

}  // namespace
