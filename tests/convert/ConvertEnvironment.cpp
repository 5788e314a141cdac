// What the whole converter test program shares: one offscreen application (the
// double-to-float question is Qt's own message box), the host's watcher that
// answers such boxes, the codecs the compression menu lists, and the reader
// the package registers for its description files.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <QApplication>
#include <cstdlib>
#include <filesystem>
#include <string>

#include "diskdata/UxDiskData.h"
#include "host/codecs/SoDataCompressors.h"
#include "host/dialogs/UxQuestionAnswerer.h"
#include "host/packages/UxResource.h"
#include "host/console/UxWorkArea.h"

namespace {

class ConvertEnvironment : public ::testing::Environment {
 public:
  void SetUp() override {
    setenv("QT_QPA_PLATFORM", "offscreen", 1);
    setenv("QT_LOGGING_RULES", "default.warning=false", 1);
    const char* base = std::getenv("TMPDIR");
    std::string pattern = std::string(base && *base ? base : "/tmp") + "/uxdd-convert-runtime-XXXXXX";
    if (char* made = mkdtemp(&pattern[0])) {
      chmod(made, 0700);
      runtimeDir = made;
      setenv("XDG_RUNTIME_DIR", made, 1);
    }
    static int argc = 1;
    static char name[] = "test_convert";
    static char* argv[] = {name, nullptr};
    application = new QApplication(argc, argv);
    UxQuestionAnswerer::install();
    initDataCompressors();
    // As the package's resource file does when the host loads it.
    UxResource::registerReader("UxDiskData", &UxDiskData::readKorinMesh);
    // Progress as console lines whether or not the run has a terminal.
    UxWorkArea::getTheWorkArea()->setDisplay(UxWorkArea::PLAIN);
  }
  void TearDown() override {
    UxResource::registerReader("UxDiskData", nullptr);
    delete application;
    application = nullptr;
    std::error_code ignored;
    if (!runtimeDir.empty()) std::filesystem::remove_all(runtimeDir, ignored);
  }

 private:
  QApplication* application = nullptr;
  std::string runtimeDir;
};

::testing::Environment* const environment = ::testing::AddGlobalTestEnvironment(new ConvertEnvironment);

}  // namespace
