#pragma once
// Opens a disk-data set the way the host's `load` does: the description file
// read as a KorinMesh and handed to the package's reader, which registers the
// new object. The object, or null; remove it from the pool when done.
// besideOnly: block files named elsewhere by the description are not used.
#include <memory>
#include <string>

#include "diskdata/UxDiskData.h"
#include "host/mesh/KorinMesh.h"
#include "host/objects/UxObjectPool.h"

inline UxDiskData* openDiskData(const std::string& path, bool besideOnly = false) {
  std::unique_ptr<KorinMesh> mesh(KorinMesh::read(path.c_str()));
  if (mesh && besideOnly) mesh->remove("DataFilePath");
  UxObjectPool* pool = UxObjectPool::getThePool();
  const unsigned long before = pool->getAdditionCount();
  if (!mesh || !UxDiskData::readKorinMesh(mesh.get(), path.c_str()) || pool->getAdditionCount() == before)
    return nullptr;
  return static_cast<UxDiskData*>(pool->getNewest());
}
