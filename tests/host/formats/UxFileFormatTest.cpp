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
  // A small KorinMesh in the host's encoding of that kind.
  std::string mesh(const std::string& name, int encoding) {
    KorinMesh mesh;
    const int dims[3] = {2, 2, 1};
    const unsigned char values[4] = {1, 2, 3, 4};
    mesh.addSection(mesh.addLocation("Lattice", 3, dims), "Data", TbPrimType::UINT8, 1, values);
    EXPECT_EQ(mesh.write(dir.file(name).c_str(), encoding), 1);
    return dir.file(name);
  }
  TempDir dir;
};

// Labels are found whatever their case; raw volumes and the images Qt decodes
// take the tiled path.
TEST(FileFormatRegistryTest, LabelsAndTheTiledPath) {
  for (const char* label : {"raw data", "KorinMesh", "jpeg", "SGI", "Tiff", "EPS", "png", "BMP", "DICOM"}) {
    const UxFileFormat* format = UxFileFormat::getFileFormatByLabel(label);
    ASSERT_NE(format, nullptr) << label;
    EXPECT_EQ(format->ldaConvertible, std::string("raw data jpeg Tiff png BMP").find(label) != std::string::npos)
        << label;
  }
  EXPECT_EQ(UxFileFormat::getFileFormatByLabel("GIF"), nullptr);
}

// The content decides where it holds a signature (the names end in .dat on
// purpose: the content must win over the raw-data extension); otherwise the
// extension, without case; a file that cannot be read goes by its extension
// alone; short or misleading content is no signature, and a dot in a folder's
// name is no extension of the file inside it.
TEST_F(FileFormatTest, ContentDecidesThenTheExtension) {
  const std::string plain = withPadding("", 4096);
  ASSERT_EQ(mkdir(dir.file("stack.raw").c_str(), 0755), 0);
  const struct { std::string path; const char* label; } cases[] = {
      {image("png.dat", "PNG"), "PNG"}, {image("jpeg.dat", "JPEG"), "JPEG"}, {image("bmp.dat", "BMP"), "BMP"},
      {image("tiff.dat", "TIFF"), "TIFF"}, {mesh("text.dat", KorinMesh::TEXT), "KorinMesh"},
      {mesh("little.dat", KorinMesh::BINARY_LITTLE_ENDIAN), "KorinMesh"},
      {mesh("big.dat", KorinMesh::BINARY_BIG_ENDIAN), "KorinMesh"},
      {bytes("a", withPadding("\x01\xDA\x01\x01", 512)), "SGI"}, {bytes("b", "%!PS-Adobe-3.0 EPSF-3.0\n"), "EPS"},
      {bytes("c", withPadding("\xC5\xD0\xD3\xC6", 64)), "EPS"}, {bytes("d", std::string("MM\0*", 4) + "rest"), "TIFF"},
      {bytes("e", withPadding(std::string(128, '\0') + "DICM", 300)), "DICOM"},
      {bytes("v.raw", plain), "Raw Data"}, {bytes("v.DAT", plain), "Raw Data"}, {bytes("v.bin", plain), "Raw Data"},
      {bytes("v.Vol", plain), "Raw Data"}, {bytes("v.km", plain), "KorinMesh"}, {bytes("v.JPEG", plain), "JPEG"},
      {bytes("v.rgb", plain), "SGI"}, {bytes("v.tif", plain), "TIFF"}, {bytes("v.dcm", plain), "DICOM"},
      {bytes("v.txt", plain), nullptr}, {bytes("noextension", plain), nullptr},
      {dir.file("not-yet-written.raw"), "Raw Data"}, {dir.file("missing.png"), "PNG"}, {dir.file("missing"), nullptr},
      {"", nullptr}, {bytes("short", std::string(130, '\0') + "DI"), nullptr}, {bytes("empty", ""), nullptr},
      {bytes("korin", "korinme"), nullptr}, {bytes("stack.raw/slice", "a few plain words"), nullptr}};
  for (const auto& c : cases) EXPECT_STREQ(UxFileFormat::recognize(c.path.c_str()), c.label) << c.path;
  EXPECT_EQ(UxFileFormat::recognize(nullptr), nullptr);
}

}  // namespace
