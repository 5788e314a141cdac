// KorinMesh volumes: the first plain three-dimensional data section is
// streamed straight from the file into a new disk-data set.
#include <cstring>
#include <memory>

#include "convert/InputList.h"
#include "convert/UxConvertToDiskData.h"
#include "host/mesh/KorinMesh.h"
#include "host/base/TbAssertionHandlerInit.h"
#include "package/Console.h"

namespace {
TbAssertionHandlerInit assertionHandler;

// Reads the header only: the positions of the sections, not their values.
KorinMesh* readHeader(const char* path) {
  KorinMesh::recordFilePosition = true;
  KorinMesh* mesh = KorinMesh::read(path, nullptr);
  KorinMesh::recordFilePosition = false;
  return mesh;
}

// The first section of three dimensions stored as plain values; encoded
// (compressed) sections cannot be streamed from the file and are passed over.
const KorinMesh::DataSection* firstVolume(const KorinMesh& mesh) {
  for (int i = 0; i < mesh.dataSection.size(); ++i) {
    const KorinMesh::DataSection* section = mesh.dataSection[i];
    if (section->location->nDims == 3 && section->encoding == KorinMesh::PLAIN) return section;
  }
  return nullptr;
}

// Words other than the file names: the driver hands the file names on among
// the command's words, and only what is left over is ignored.
bool hasOptions(const InputList& files, int argc, char** argv) {
  for (int i = 0; i < argc; ++i) {
    bool isFile = false;
    for (int f = 0; f < files.size() && !isFile; ++f) isFile = std::strcmp(argv[i], files[f]) == 0;
    if (!isFile) return true;
  }
  return false;
}
}  // namespace

int UxConvertToDiskData::readerKorinMesh2UxDiskData(InputList files, const char* outName, int argc, char** argv) {
  if (files.size() != 1) {
    console().error("need exactly one file", nullptr, nullptr, nullptr, -1, -1);
    return 0;
  }
  if (argc != 0 && hasOptions(files, argc, argv)) console().printf("ignoring options");
  std::unique_ptr<KorinMesh> mesh(readHeader(files[0]));
  if (!mesh) {
    console().printf("Error reading KorinMesh file.");
    return 0;
  }
  const KorinMesh::DataSection* volume = firstVolume(*mesh);
  if (!volume) return 0;
  // Text files hold numbers as text, which cannot be streamed as raw values.
  if (mesh->encoding() == KorinMesh::TEXT) {
    console().printf("Error: %s holds its data as text; only binary KorinMesh files can be converted", files[0]);
    return 0;
  }
  float box[6];
  if (!mesh->findReal("BoundingBox", 6, box)) {
    console().printf("Bounding box missing.");
    return 0;
  }
  const int littleEndian = mesh->encoding() == KorinMesh::BINARY_LITTLE_ENDIAN ? 1 : 0;
  return convertRaw(files, outName, volume->location->dims, volume->nDataVar, littleEndian,
                    volume->filePosition, box, volume->primType);
}
