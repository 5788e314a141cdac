// Format recognition on real files: images written by Qt's own writers, a
// KorinMesh written by the host's writer, and hand-made headers for the
// formats nothing here writes.
#include "host/formats/UxFileFormat.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <QImage>
#include <string>

#include "host/mesh/KorinMesh.h"
#include "support/TempDir.h"

namespace {

std::string withPadding(const std::string& head, size_t size) {
  std::string bytes = head;
  bytes.resize(size, '\x11');
  return bytes;
}

class FileFormatTest : public ::testing::Test {
 protected:
  // A small grey image in Qt's encoding of that format.
  std::string image(const std::string& name, const char* qtFormat) {
    QImage picture(8, 8, QImage::Format_Grayscale8);
    picture.fill(90);
    const std::string path = dir.file(name);
    EXPECT_TRUE(picture.save(QString::fromStdString(path), qtFormat)) << qtFormat;
    return path;
  }
  std::string bytes(const std::string& name, const std::string& content) {
    writeWholeFile(dir.file(name), content);
    return dir.file(name);
  }
  TempDir dir;
};

TEST(FileFormatRegistryTest, KnowsTheHostsLabelsCaseInsensitively) {
  const char* labels[] = {"Raw Data", "KorinMesh", "JPEG", "SGI", "TIFF",
                          "EPS",      "PNG",       "BMP",  "DICOM"};
  ASSERT_EQ(UxFileFormat::numFileFormats(), 9);
  for (int i = 0; i < 9; ++i) {
    EXPECT_STREQ(UxFileFormat::getFileFormat(i)->label, labels[i]);
    EXPECT_EQ(UxFileFormat::getFileFormatByLabel(labels[i]), UxFileFormat::getFileFormat(i));
    // Raw volumes and the images Qt decodes take the tiled path.
    EXPECT_EQ(UxFileFormat::getFileFormat(i)->ldaConvertible,
              std::string("Raw Data JPEG TIFF PNG BMP").find(labels[i]) != std::string::npos)
        << labels[i];
  }
  EXPECT_EQ(UxFileFormat::getFileFormatByLabel("raw data"), UxFileFormat::getFileFormat(0));
  EXPECT_EQ(UxFileFormat::getFileFormatByLabel("korinmesh"), UxFileFormat::getFileFormat(1));
  EXPECT_EQ(UxFileFormat::getFileFormatByLabel("GIF"), nullptr);
  EXPECT_EQ(UxFileFormat::getFileFormatByLabel(nullptr), nullptr);
  EXPECT_EQ(UxFileFormat::getFileFormat(9), nullptr);
}

TEST(FileFormatRegistryTest, TiledConversionCanBeSwitchedOnPerFormat) {
  UxFileFormat::setLdaConvertible("tiff", false);
  EXPECT_FALSE(UxFileFormat::getFileFormatByLabel("TIFF")->ldaConvertible);
  EXPECT_TRUE(UxFileFormat::getFileFormatByLabel("PNG")->ldaConvertible);
  UxFileFormat::setLdaConvertible("no such format", true);  // ignored
  UxFileFormat::setLdaConvertible("TIFF", true);
  EXPECT_TRUE(UxFileFormat::getFileFormatByLabel("TIFF")->ldaConvertible);
}

TEST_F(FileFormatTest, ImagesWrittenByQtAreRecognisedByContent) {
  // Named .dat on purpose: the content must win over the raw-data extension.
  EXPECT_STREQ(UxFileFormat::recognize(image("png.dat", "PNG").c_str()), "PNG");
  EXPECT_STREQ(UxFileFormat::recognize(image("jpeg.dat", "JPEG").c_str()), "JPEG");
  EXPECT_STREQ(UxFileFormat::recognize(image("bmp.dat", "BMP").c_str()), "BMP");
  EXPECT_STREQ(UxFileFormat::recognize(image("tiff.dat", "TIFF").c_str()), "TIFF");
}

TEST_F(FileFormatTest, AKorinMeshWrittenByTheHostIsRecognisedInEveryEncoding) {
  for (int encoding : {KorinMesh::TEXT, KorinMesh::BINARY_LITTLE_ENDIAN,
                       KorinMesh::BINARY_BIG_ENDIAN}) {
    KorinMesh mesh;
    const int dims[3] = {2, 2, 1};
    const unsigned char values[4] = {1, 2, 3, 4};
    mesh.addSection(mesh.addLocation("Lattice", 3, dims), "Data", TbPrimType::UINT8, 1, values);
    const std::string path = dir.file("volume" + std::to_string(encoding) + ".raw");
    ASSERT_EQ(mesh.write(path.c_str(), encoding), 1);
    EXPECT_STREQ(UxFileFormat::recognize(path.c_str()), "KorinMesh") << encoding;
  }
}

TEST_F(FileFormatTest, HeadersOfTheOtherFormatsAreRecognised) {
  EXPECT_STREQ(UxFileFormat::recognize(bytes("a", withPadding("\x01\xDA\x01\x01", 512)).c_str()), "SGI");
  EXPECT_STREQ(UxFileFormat::recognize(bytes("b", "%!PS-Adobe-3.0 EPSF-3.0\n").c_str()), "EPS");
  EXPECT_STREQ(UxFileFormat::recognize(bytes("c", withPadding("\xC5\xD0\xD3\xC6", 64)).c_str()), "EPS");
  EXPECT_STREQ(UxFileFormat::recognize(bytes("d", std::string("MM\0*", 4) + "rest").c_str()), "TIFF");
  EXPECT_STREQ(UxFileFormat::recognize(
                   bytes("e", withPadding(std::string(128, '\0') + "DICM", 300)).c_str()), "DICOM");
}

TEST_F(FileFormatTest, WithoutASignatureTheExtensionDecidesWithoutCase) {
  const std::string plain = withPadding("", 4096);
  for (const char* name : {"v.raw", "v.DAT", "v.bin", "v.Vol"})
    EXPECT_STREQ(UxFileFormat::recognize(bytes(name, plain).c_str()), "Raw Data") << name;
  EXPECT_STREQ(UxFileFormat::recognize(bytes("v.km", plain).c_str()), "KorinMesh");
  EXPECT_STREQ(UxFileFormat::recognize(bytes("v.JPEG", plain).c_str()), "JPEG");
  EXPECT_STREQ(UxFileFormat::recognize(bytes("v.rgb", plain).c_str()), "SGI");
  EXPECT_STREQ(UxFileFormat::recognize(bytes("v.tif", plain).c_str()), "TIFF");
  EXPECT_STREQ(UxFileFormat::recognize(bytes("v.dcm", plain).c_str()), "DICOM");
  EXPECT_EQ(UxFileFormat::recognize(bytes("v.txt", plain).c_str()), nullptr);
  EXPECT_EQ(UxFileFormat::recognize(bytes("noextension", plain).c_str()), nullptr);
}

TEST_F(FileFormatTest, FilesThatCannotBeReadGoByExtensionAlone) {
  EXPECT_STREQ(UxFileFormat::recognize(dir.file("not-yet-written.raw").c_str()), "Raw Data");
  EXPECT_STREQ(UxFileFormat::recognize(dir.file("missing.png").c_str()), "PNG");
  EXPECT_EQ(UxFileFormat::recognize(dir.file("missing").c_str()), nullptr);
  EXPECT_EQ(UxFileFormat::recognize(""), nullptr);
  EXPECT_EQ(UxFileFormat::recognize(nullptr), nullptr);
}

TEST_F(FileFormatTest, ShortOrMisleadingFilesAreNotTakenForSignatures) {
  EXPECT_EQ(UxFileFormat::recognize(bytes("short", std::string(130, '\0') + "DI").c_str()), nullptr);
  EXPECT_EQ(UxFileFormat::recognize(bytes("empty", "").c_str()), nullptr);
  EXPECT_EQ(UxFileFormat::recognize(bytes("korin", "korinme").c_str()), nullptr);
  // A dot in a folder's name is no extension of the file inside it.
  const std::string folder = dir.file("stack.raw");
  ASSERT_EQ(mkdir(folder.c_str(), 0755), 0);
  writeWholeFile(folder + "/slice", "a few plain words");
  EXPECT_EQ(UxFileFormat::recognize((folder + "/slice").c_str()), nullptr);
  EXPECT_TRUE(UxFileFormat::getFileFormatByLabel("Raw Data")->hasExtension("/x/y.RAW"));
  EXPECT_FALSE(UxFileFormat::getFileFormatByLabel("Raw Data")->hasExtension("/x.raw/y"));
}

}  // namespace
