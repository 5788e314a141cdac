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
  EXPECT_EQ(UxResource::findReader("ResourceTestVolume"), readVolume);
  UxResource::registerReader("ResourceTestVolume", nullptr);  // a null reader removes the registration
  EXPECT_EQ(UxResource::findReader("ResourceTestVolume"), nullptr);
  EXPECT_EQ(UxResource::findReader(nullptr), nullptr);
}

// Failures are explained on the console, unless the load is quiet; a later
// registration replaces the earlier reader.
TEST_F(ResourceTest, FailuresAreExplainedOnTheConsole) {
  const std::string head = writeHeader("head.km", "ResourceTestVolume"), missing = dir.file("absent.km");
  const struct {
    std::string path;
    UxDataReader reader;
    bool quiet;
    std::string message;
  } cases[] = {{writeHeader("odd.km", "SomethingElse"), readVolume, false, "load: no reader for content type \"SomethingElse\""},
               {writeHeader("plain.km", nullptr), readVolume, false, "load: no reader for content type \"\""},
               {missing, readVolume, false, "load: cannot read " + missing},
               {missing, readVolume, true, ""},
               {head, refuse, false, "load: the reader for \"ResourceTestVolume\" could not read " + head},
               {head, acceptWithoutObject, false, "load: the reader made no data object from " + head}};
  for (const auto& c : cases) {
    console.lines.clear();
    UxResource::registerReader("ResourceTestVolume", c.reader);
    EXPECT_EQ(UxResource::loadData(c.path.c_str(), c.quiet), nullptr);
    EXPECT_EQ(console.lines, c.message.empty() ? std::vector<std::string>{} : std::vector<std::string>{c.message});
  }
  EXPECT_EQ(readerLog.calls, 0);
}

}  // namespace
