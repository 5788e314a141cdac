#include "ConvertTestSupport.h"

#include <sys/stat.h>
#include <unistd.h>

#include <QApplication>
#include <cstdlib>
#include <filesystem>
#include <sstream>

#include "host/codecs/SoDataCompressors.h"
#include "host/console/UxWorkArea.h"
#include "host/dialogs/UxQuestionAnswerer.h"
#include "host/formats/UxBrixConverter.h"
#include "host/formats/UxFileFormat.h"
#include "host/objects/UxObjectPool.h"
#include "host/packages/UxResource.h"

namespace convert_test {

namespace {

// What the whole converter test program shares: one offscreen application (the
// double-to-float question is Qt's own message box), the host's watcher that
// answers such boxes, the codecs the compression menu lists, and the reader
// the package registers for its description files.
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

StoredSet::~StoredSet() {
  if (data) UxObjectPool::getThePool()->remove(data);
}

std::vector<int> StoredSet::dims() const {
  int d[3] = {-1, -1, -1};
  data->getDims(d);
  return {d[0], d[1], d[2]};
}

std::vector<float> StoredSet::box() const {
  float b[6];
  data->getBoundingBox(b);
  return std::vector<float>(b, b + 6);
}

int StoredSet::readInto(void* buffer, const int* size, int subsampling) {
  UxExternalData::BlockRequest request;
  request.data = buffer;
  for (int a = 0; a < 3; ++a) {
    request.origin[a] = request.bufferOrigin[a] = 0;
    request.size[a] = request.bufferSize[a] = size[a];
    request.subsampling[a] = subsampling;
  }
  return data->getBlock(&request);
}

TiledFormats::TiledFormats(const Words& labels, bool convertible) : labels(labels) {
  for (const std::string& label : labels) {
    UxFileFormat* format = UxFileFormat::getFileFormatByLabel(label.c_str());
    before.push_back(format && format->ldaConvertible);
    UxFileFormat::setLdaConvertible(label.c_str(), convertible);
  }
}

TiledFormats::~TiledFormats() {
  for (size_t i = 0; i < labels.size(); ++i) UxFileFormat::setLdaConvertible(labels[i].c_str(), before[i]);
}

namespace {

int tiledAnswer = 1;

int record(const TbDArray<const char*>& files, const TbFilename& output, const TbBox3f& box, const TbVec3i& dims,
           const TbPrimType& primType, bool littleEndian, int convertMethod, int headerBytes, bool doubleToFloat,
           bool isRaw, int tileSize, int borderSize, int samplingType, const char* compressor) {
  TiledDouble::Call call;
  for (int i = 0; i < files.size(); ++i) call.files.push_back(files[i] ? files[i] : "(null)");
  call.output = output.getString();
  std::ostringstream description;
  description << "box";
  for (int i = 0; i < 6; ++i) description << ' ' << box[i];
  description << " dims " << dims[0] << ' ' << dims[1] << ' ' << dims[2] << " type " << primType.name()
              << (littleEndian ? " little" : " big") << " method " << convertMethod << " header " << headerBytes
              << (doubleToFloat ? " toFloat" : "") << (isRaw ? " raw" : " images");
  call.description = description.str();
  call.options = "tile " + std::to_string(tileSize) + " border " + std::to_string(borderSize) + " sampling " +
                 std::to_string(samplingType) + " compressor " + (compressor ? compressor : "(null)");
  TiledDouble::calls().push_back(call);
  return tiledAnswer;
}

}  // namespace

TiledDouble::TiledDouble(int answer, const Words& labels) : formats(labels, true) {
  calls().clear();
  tiledAnswer = answer;
  UxBrixConverter::setImplementation(record);
}

TiledDouble::~TiledDouble() {
  UxBrixConverter::setImplementation(nullptr);
  calls().clear();
}

std::vector<TiledDouble::Call>& TiledDouble::calls() {
  static std::vector<Call> made;
  return made;
}

}  // namespace convert_test
