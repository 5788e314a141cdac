#include "host/packages/UxResource.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/ConsoleCapture.h"
#include "host/mesh/KorinMesh.h"
#include "support/TempDir.h"

namespace {

// Calls of a reader that must not be reached.
int readerCalls = 0;

int countCall(KorinMesh*, const char*) {
  ++readerCalls;
  return 1;
}

int refuse(KorinMesh*, const char*) { return 0; }

int acceptWithoutObject(KorinMesh*, const char*) { return 1; }

class ResourceTest : public ::testing::Test {
 protected:
  void TearDown() override { UxResource::registerReader("ResourceTestVolume", nullptr); }
  std::string writeHeader(const char* name, const char* contentType) {
    KorinMesh mesh;
    if (contentType) mesh.set("ContentType", contentType);
    const std::string path = dir.file(name);
    EXPECT_NE(mesh.write(path.c_str()), 0);
    return path;
  }
  TempDir dir;
  ConsoleCapture console;
};

// Failures are explained on the console, unless the load is quiet; a later
// registration replaces the earlier reader.
TEST_F(ResourceTest, FailuresAreExplainedOnTheConsole) {
  const std::string head = writeHeader("head.km", "ResourceTestVolume"), missing = dir.file("absent.km");
  const struct {
    std::string path;
    UxDataReader reader;
    bool quiet;
    std::string message;
  } cases[] = {{writeHeader("odd.km", "SomethingElse"), countCall, false, "load: no reader for content type \"SomethingElse\""},
               {writeHeader("plain.km", nullptr), countCall, false, "load: no reader for content type \"\""},
               {missing, countCall, false, "load: cannot read " + missing},
               {missing, countCall, true, ""},
               {head, refuse, false, "load: the reader for \"ResourceTestVolume\" could not read " + head},
               {head, acceptWithoutObject, false, "load: the reader made no data object from " + head}};
  for (const auto& c : cases) {
    console.lines.clear();
    UxResource::registerReader("ResourceTestVolume", c.reader);
    EXPECT_EQ(UxResource::loadData(c.path.c_str(), c.quiet), nullptr);
    EXPECT_EQ(console.lines, c.message.empty() ? std::vector<std::string>{} : std::vector<std::string>{c.message});
  }
  EXPECT_EQ(readerCalls, 0);
}

}  // namespace
