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

#include "ConvertTestSupport.h"
#include "diskdata/UxDiskData.h"
#include "host/codecs/SoDataCompressors.h"
#include "host/formats/UxFileFormat.h"
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
    // Disk data unless a test installs its own tiled converter (TiledDouble).
    for (const char* label : {"Raw Data", "PNG", "TIFF", "JPEG", "BMP"})
      UxFileFormat::setLdaConvertible(label, false);
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

namespace convert_test {

namespace {
bool endsWith(const std::string& text, const std::string& end) {
  return text.size() >= end.size() && text.compare(text.size() - end.size(), end.size(), end) == 0;
}
}  // namespace

// "TEXT ...", "TEXT: 25%" and "TEXT: done", as the work area shows a task.
bool isProgressLine(const std::string& line) {
  if (endsWith(line, " ...") || endsWith(line, ": done")) return true;
  const size_t colon = line.rfind(": ");
  if (colon == std::string::npos || !endsWith(line, "%")) return false;
  const std::string number = line.substr(colon + 2, line.size() - colon - 3);
  return !number.empty() && number.find_first_not_of("0123456789") == std::string::npos;
}

std::vector<std::string> withoutProgress(const std::vector<std::string>& lines) {
  std::vector<std::string> kept;
  for (const std::string& line : lines) {
    if (isProgressLine(line)) continue;
    kept.push_back(line);
  }
  return kept;
}

}  // namespace convert_test
