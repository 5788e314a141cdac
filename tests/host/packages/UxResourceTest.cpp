#include "host/packages/UxResource.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/ConsoleCapture.h"
#include "host/mesh/KorinMesh.h"
#include "host/objects/UxObjectPool.h"
#include "tests/host/shell/fixture/MemoryVolume.h"
#include "support/TempDir.h"

namespace {

struct ReaderLog {
  std::string path;
  int dims[3] = {0, 0, 0};
  int calls = 0;
};
ReaderLog readerLog;

int readVolume(KorinMesh* mesh, const char* path) {
  ++readerLog.calls;
  readerLog.path = path;
  if (!mesh->findNum("Dims", 3, readerLog.dims)) return 0;
  UxData::registerData(new MemoryVolume(readerLog.dims, 1, TbPrimType::UINT8), path, nullptr);
  return 1;
}

int refuse(KorinMesh*, const char*) { return 0; }

int acceptWithoutObject(KorinMesh*, const char*) { return 1; }

class ResourceTest : public ::testing::Test {
 protected:
  void SetUp() override {
    readerLog = ReaderLog();
    UxResource::registerReader("ResourceTestVolume", readVolume);
  }
  void TearDown() override {
    UxResource::registerReader("ResourceTestVolume", nullptr);
    UxObjectPool::getThePool()->removeAll();
  }
  std::string writeHeader(const char* name, const char* contentType) {
    KorinMesh mesh;
    if (contentType) mesh.set("ContentType", contentType);
    const int dims[3] = {5, 6, 7};
    mesh.set("Dims", 3, dims);
    const std::string path = dir.file(name);
    EXPECT_NE(mesh.write(path.c_str()), 0);
    return path;
  }
  TempDir dir;
  ConsoleCapture console;
};

TEST_F(ResourceTest, TheRegisteredReaderMakesThePooledObject) {
  const std::string path = writeHeader("head.km", "ResourceTestVolume");
  UxData* loaded = UxResource::loadData(path.c_str(), false);
  ASSERT_NE(loaded, nullptr);
  EXPECT_EQ(readerLog.path, path);
  EXPECT_EQ(readerLog.dims[2], 7) << "the reader saw the file's parameters";
  EXPECT_EQ(UxObjectPool::getThePool()->find("head.km"), loaded);
  EXPECT_STREQ(loaded->getLoadCmd(), path.c_str());
  EXPECT_TRUE(console.lines.empty());
}

TEST_F(ResourceTest, LoadingTwiceGivesTwoObjectsWithDistinctNames) {
  const std::string path = writeHeader("head.km", "ResourceTestVolume");
  UxData* first = UxResource::loadData(path.c_str(), false);
  UxData* second = UxResource::loadData(path.c_str(), false);
  ASSERT_NE(second, nullptr);
  EXPECT_NE(first, second);
  EXPECT_STREQ(second->getLabel(), "head2.km");
}

TEST_F(ResourceTest, FailuresAreExplainedOnTheConsole) {
  const std::string unknown = writeHeader("odd.km", "SomethingElse");
  const std::string untyped = writeHeader("plain.km", nullptr);
  const std::string missing = dir.file("absent.km");
  EXPECT_EQ(UxResource::loadData(unknown.c_str(), false), nullptr);
  EXPECT_EQ(UxResource::loadData(untyped.c_str(), false), nullptr);
  EXPECT_EQ(UxResource::loadData(missing.c_str(), false), nullptr);
  EXPECT_EQ(console.lines, (std::vector<std::string>{
                               "load: no reader for content type \"SomethingElse\"",
                               "load: no reader for content type \"\"",
                               "load: cannot read " + missing}));
}

TEST_F(ResourceTest, AReaderThatFailsOrMakesNothingGivesNull) {
  const std::string path = writeHeader("head.km", "ResourceTestVolume");
  UxResource::registerReader("ResourceTestVolume", refuse);
  EXPECT_EQ(UxResource::loadData(path.c_str(), false), nullptr);
  UxResource::registerReader("ResourceTestVolume", acceptWithoutObject);
  EXPECT_EQ(UxResource::loadData(path.c_str(), false), nullptr);
  EXPECT_EQ(console.lines, (std::vector<std::string>{
                               "load: the reader for \"ResourceTestVolume\" could not read " + path,
                               "load: the reader made no data object from " + path}));
  EXPECT_EQ(readerLog.calls, 0) << "a later registration replaces the earlier reader";
}

TEST_F(ResourceTest, QuietLoadsSayNothing) {
  const std::string missing = dir.file("absent.km");
  EXPECT_EQ(UxResource::loadData(missing.c_str(), true), nullptr);
  EXPECT_TRUE(console.lines.empty());
}

TEST_F(ResourceTest, ANullReaderRemovesTheRegistration) {
  EXPECT_EQ(UxResource::findReader("ResourceTestVolume"), readVolume);
  UxResource::registerReader("ResourceTestVolume", nullptr);
  EXPECT_EQ(UxResource::findReader("ResourceTestVolume"), nullptr);
  EXPECT_EQ(UxResource::findReader(nullptr), nullptr);
}

}  // namespace
