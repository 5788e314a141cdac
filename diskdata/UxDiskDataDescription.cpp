// The description file of a disk-data set: a header-only KorinMesh file naming
// the shape, type and box of the lattice and, where needed, its block files.
#include <cstring>
#include <memory>

#include "diskdata/UxDiskData.h"
#include "host/mesh/KorinMesh.h"
#include "host/base/TbAssertionHandlerInit.h"
#include "host/console/UxMessage.h"
#include "host/mesh/UxParamBundle.h"

namespace {
TbAssertionHandlerInit assertionHandler;

struct Description {
  int dims[3];
  int blocking[3];
  int nDataVar;
  int primType;
  float box[6];
};

bool readDescription(const KorinMesh& mesh, Description& d) {
  return mesh.findNum("Dims", 3, d.dims) && mesh.findNum("Blocking", 3, d.blocking) &&
         mesh.findNum("nDataVar", 1, &d.nDataVar) && mesh.findNum("primType", 1, &d.primType) &&
         mesh.findReal("BoundingBox", 6, d.box);
}

// Every value is checked before the store computes with it; a file that does
// not add up is refused with a message naming it.
bool isUsable(const Description& d, const char* path) {
  switch (LatticeManager::checkShape(d.dims, d.blocking, d.nDataVar, d.primType)) {
    case LatticeManager::SHAPE_OK: return true;
    case LatticeManager::SHAPE_IMPOSSIBLE:
      UxMessage::getTheMsg()->printf("Error: %s does not describe a lattice", path);
      return false;
    case LatticeManager::SHAPE_TOO_LARGE: break;
  }
  UxMessage::getTheMsg()->printf("Error: %s describes blocks or a block count beyond the limits of a disk-data set", path);
  return false;
}

// A set whose full-resolution blocks were not all written (an interrupted
// conversion) must not look complete.
void noticeMissingBlocks(const LatticeManager& lattice, const char* path) {
  const int missing = lattice.blocksNotCurrent(0);
  if (missing > 0)
    UxMessage::getTheMsg()->printf("Notice: %d of %d full-resolution blocks of %s were never written; the set is incomplete",
                                   missing, lattice.blocksAtLevel(0), path);
}
}  // namespace

int UxDiskData::saveDescription(const char* path, const UxParamBundle* extra) {
  KorinMesh mesh;
  if (extra) mesh.copy(*extra);
  mesh.set("ContentType", "UxDiskData", 0);
  if (std::strcmp(path, dataFilePath.getString()) != 0) mesh.set("DataFilePath", dataFilePath.getString(), 0);
  mesh.set("Dims", 3, dims);
  mesh.set("Blocking", 3, latticeManager->blocking);
  mesh.set("nDataVar", nDataVar);
  mesh.set("primType", static_cast<int>(latticeManager->primType));
  mesh.set("BoundingBox", 6, boundingBox);
  if (!mesh.write(path, KorinMesh::BINARY_LITTLE_ENDIAN, nullptr)) return 0;
  parameters().set("Filename", path, 0);
  setLoadCmd(path, 0);
  return 1;
}

int UxDiskData::saveParameters(const UxParamBundle& params) {
  setModified(0);
  return saveDescription(filename.getString(), &params);
}

int UxDiskData::readKorinMesh(KorinMesh* mesh, const char* path) {
  const char* blockFiles = path;
  mesh->findString("DataFilePath", blockFiles);
  Description d;
  if (!readDescription(*mesh, d)) return 0;
  if (!isUsable(d, path)) return 0;
  std::unique_ptr<LatticeManager> lattice(new LatticeManager(d.dims, d.blocking, d.nDataVar, d.primType));
  BlockManager* blocks = BlockManager::open(blockFiles, lattice->blockBytes(), lattice->numBlocks,
                                            lattice->primType.size(), 0, 1);
  if (!blocks) {
    UxMessage::getTheMsg()->printf("Error opening %s or one of it's data files", path);
    if (!BlockManager::lastOpenFailure().empty()) UxMessage::getTheMsg()->printf("%s", BlockManager::lastOpenFailure().c_str());
    return 0;
  }
  lattice->setBlockManager(blocks);
  noticeMissingBlocks(*lattice, path);
  UxDiskData* data = new UxDiskData(lattice->dims, d.nDataVar, d.primType, lattice.get());
  lattice.release();
  std::memcpy(data->boundingBox, d.box, sizeof data->boundingBox);
  data->dataFilePath = blockFiles;
  data->filename = path;
  data->formatName = "Korin DiskData";
  data->parameters().copy(*mesh);
  UxData::registerData(data, path, nullptr);
  return 1;
}
