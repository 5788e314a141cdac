#include "host/packages/UxResource.h"

#include <cerrno>
#include <cstring>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "host/mesh/KorinMesh.h"
#include "host/objects/UxData.h"
#include "host/console/UxMessage.h"
#include "host/lda/UxLdaData.h"
#include "host/objects/UxObjectPool.h"

namespace {

std::vector<std::pair<std::string, UxDataReader>>& readers() {
  static std::vector<std::pair<std::string, UxDataReader>> registered;
  return registered;
}

// Why KorinMesh::read refused a file, as the end of a message: nothing for
// a missing file or content it does not accept, else the system's reason.
std::string reasonOfRead(int error) {
  if (error == 0 || error == ENOENT) return "";
  return std::string(": ") + (error == EINVAL ? "not a regular file" : std::strerror(error));
}

UxData* failLoad(bool quiet, const std::string& text) {
  if (!quiet) UxMessage::getTheMsg()->printf("%s", text.c_str());
  return nullptr;
}

}  // namespace

void UxResource::registerReader(const char* contentType, UxDataReader reader) {
  if (!contentType) return;
  auto& registered = readers();
  for (auto it = registered.begin(); it != registered.end(); ++it) {
    if (it->first != contentType) continue;
    if (reader)
      it->second = reader;
    else
      registered.erase(it);
    return;
  }
  if (reader) registered.emplace_back(contentType, reader);
}

UxDataReader UxResource::findReader(const char* contentType) {
  if (!contentType) return nullptr;
  for (const auto& entry : readers())
    if (entry.first == contentType) return entry.second;
  return nullptr;
}

UxData* UxResource::loadData(const char* filename, bool quiet) {
  const std::string path = filename ? filename : "";
  if (UxLdaData::isStoreFolder(path.c_str())) return UxLdaData::load(path.c_str(), quiet);
  std::unique_ptr<KorinMesh> mesh(KorinMesh::read(path.c_str()));
  if (!mesh) return failLoad(quiet, "load: cannot read " + path + reasonOfRead(errno));
  TbString contentType;
  mesh->contentType(contentType);
  UxDataReader reader = findReader(contentType.getString());
  if (!reader)
    return failLoad(quiet, std::string("load: no reader for content type \"") +
                               contentType.getString() + "\"");

  UxObjectPool* pool = UxObjectPool::getThePool();
  const unsigned long before = pool->getAdditionCount();
  const int made = reader(mesh.get(), path.c_str());
  mesh.reset();
  if (!made) return failLoad(quiet, "load: the reader for \"" + std::string(contentType.getString()) +
                                        "\" could not read " + path);
  UxObject* newest = pool->getAdditionCount() != before ? pool->getNewest() : nullptr;
  if (!newest || !newest->isOfType(UxData::getClassTypeId()))
    return failLoad(quiet, "load: the reader made no data object from " + path);
  return static_cast<UxData*>(newest);
}
