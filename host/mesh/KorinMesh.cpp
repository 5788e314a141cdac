#include "host/mesh/KorinMesh.h"

#include <fcntl.h>
#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <cstring>
#include <new>

#include "host/mesh/KorinMeshReader.h"
#include "host/mesh/KorinMeshWriter.h"
#include "host/base/TbMemory.h"

bool KorinMesh::recordFilePosition = false;

KorinMesh::KorinMesh() = default;

KorinMesh::~KorinMesh() {
  for (int i = 0; i < dataSection.size(); ++i) {
    tbfree(dataSection[i]->data);
    delete dataSection[i];
  }
  for (int i = 0; i < location.size(); ++i) delete location[i];
}

KorinMesh::Location* KorinMesh::addLocation(const char* name, int nDims, const int* dims) {
  if (!name || nDims < 1 || nDims > 3 || !dims || findLocation(name)) return nullptr;
  int64_t points = 1;
  for (int d = 0; d < nDims; ++d)
    if (dims[d] < 1 || __builtin_mul_overflow(points, static_cast<int64_t>(dims[d]), &points))
      return nullptr;
  auto* made = new (std::nothrow) Location{name, nDims, {1, 1, 1}};
  if (!made) return nullptr;
  for (int d = 0; d < nDims; ++d) made->dims[d] = dims[d];
  if (!location.append(made)) {
    delete made;
    return nullptr;
  }
  return made;
}

KorinMesh::Location* KorinMesh::findLocation(const char* name) const {
  for (int i = 0; i < location.size(); ++i)
    if (name && location[i]->name == name) return location[i];
  return nullptr;
}

bool KorinMesh::ownsLocation(const Location* where) const {
  for (int i = 0; i < location.size(); ++i)
    if (location[i] == where) return true;
  return false;
}

namespace {

// Whether elements * components * element size is addressable.
bool fitsInMemory(int64_t elements, int nDataVar, int elementSize) {
  int64_t bytes = 0;
  return !__builtin_mul_overflow(elements, static_cast<int64_t>(nDataVar) * elementSize, &bytes) &&
         static_cast<uint64_t>(bytes) <= SIZE_MAX;
}

}  // namespace

KorinMesh::DataSection* KorinMesh::declareSection(Location* where, const char* name,
                                                  TbPrimType primType, int nDataVar,
                                                  int encoding) {
  if (!ownsLocation(where) || !name || !primType.isValid() || nDataVar < 1) return nullptr;
  if (encoding != PLAIN && encoding != ZLIB) return nullptr;
  if (!fitsInMemory(where->numElements(), nDataVar, primType.size())) return nullptr;
  auto* made = new (std::nothrow)
      DataSection{where, name, primType, nDataVar, encoding, -1, 0, nullptr};
  if (!made) return nullptr;
  if (!dataSection.append(made)) {
    delete made;
    return nullptr;
  }
  return made;
}

KorinMesh::DataSection* KorinMesh::addSection(Location* where, const char* name,
                                              TbPrimType primType, int nDataVar,
                                              const void* values, int encoding) {
  DataSection* made = declareSection(where, name, primType, nDataVar, encoding);
  if (!made) return nullptr;
  size_t bytes = static_cast<size_t>(made->dataBytes());
  made->data = tbmalloc(bytes ? bytes : 1);
  if (!made->data) {
    dataSection.remove(dataSection.size() - 1);
    delete made;
    return nullptr;
  }
  if (values)
    std::memcpy(made->data, values, bytes);
  else
    std::memset(made->data, 0, bytes);
  return made;
}

int KorinMesh::contentType(TbString& type) const {
  const char* text = nullptr;
  if (!findString("ContentType", text)) return 0;
  type = text;
  return 1;
}

namespace {

// A name beside the target that no other writer (thread or process) picks.
TbString temporaryNameFor(const char* path) {
  static std::atomic<unsigned> serial{0};
  TbString name;
  name.printf("%s.part-%ld-%u", path, static_cast<long>(getpid()), serial++);
  return name;
}

FILE* createExclusive(const TbString& name) {
  int fd = ::open(name.getString(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
  if (fd < 0) return nullptr;
  FILE* file = fdopen(fd, "wb");
  if (!file) ::close(fd);
  return file;
}

// Writes the whole content and closes; false if any step failed.
bool writeAndClose(const KorinMesh& mesh, FILE* file, int encoding, const char* comment) {
  KorinMeshWriter writer(mesh, file, encoding);
  bool ok = writer.write(comment);
  ok = std::fflush(file) == 0 && ok;
  ok = fsync(fileno(file)) == 0 && ok;
  return std::fclose(file) == 0 && ok;
}

}  // namespace

int KorinMesh::write(const char* path, int encoding, const char* comment) {
  if (!path || !*path || !KorinMeshWriter::canWrite(*this, encoding)) return 0;
  TbString partial = temporaryNameFor(path);
  FILE* file = createExclusive(partial);
  if (!file) return 0;
  if (!writeAndClose(*this, file, encoding, comment) ||
      std::rename(partial.getString(), path) != 0) {
    ::unlink(partial.getString());
    return 0;
  }
  fileEncoding = encoding;
  return 1;
}

KorinMesh* KorinMesh::read(const char* path, TbProgressInterface* progress) {
  if (!path) return nullptr;
  FILE* file = std::fopen(path, "rb");
  if (!file) return nullptr;
  KorinMeshReader reader(file, progress);
  KorinMesh* mesh = reader.read(path, recordFilePosition);
  std::fclose(file);
  return mesh;
}
