#include "host/mesh/KorinMesh.h"

#include <fcntl.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <new>

#include "host/mesh/KorinMeshReader.h"
#include "host/mesh/KorinMeshWriter.h"
#include "host/base/TbFileIO.h"
#include "host/base/TbFileStream.h"
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

TbFileIO& io() { return TbFileIO::current(); }

// A name beside the target that no other writer (thread or process) picks.
TbString temporaryNameFor(const char* path) {
  static std::atomic<unsigned> serial{0};
  TbString name;
  name.printf("%s.part-%ld-%u", path, static_cast<long>(getpid()), serial++);
  return name;
}

// Keeps the reason of the first step that failed.
struct Steps {
  bool ok = true;
  int error = 0;
  void take(bool done) {
    if (!done && ok) error = errno;
    ok = ok && done;
  }
};

// Writes the whole content into fd, makes it durable and closes it; false
// (errno set) if any step failed.
bool writeDurably(const KorinMesh& mesh, int fd, int encoding, const char* comment) {
  FILE* file = TbFileStream::open(fd, "wb");
  if (!file) return false;
  Steps steps;
  KorinMeshWriter writer(mesh, file, encoding);
  steps.take(writer.write(comment));
  steps.take(std::fflush(file) == 0);
  steps.take(io().sync(fd) == 0);
  steps.take(std::fclose(file) == 0);
  errno = steps.error;
  return steps.ok;
}

// A regular file's size, or -1 (errno set) for anything else: a pipe or a
// device would block the reader or never end.
int64_t regularFileSize(const TbFileInfo& info) {
  if (info.kind == TbFileInfo::REGULAR) return info.size;
  errno = info.kind == TbFileInfo::FOLDER ? EISDIR : EINVAL;
  return -1;
}

}  // namespace

int KorinMesh::write(const char* path, int encoding, const char* comment) {
  if (!path || !*path || !KorinMeshWriter::canWrite(*this, encoding)) {
    errno = EINVAL;
    return 0;
  }
  TbString partial = temporaryNameFor(path);
  const int fd = io().open(partial.getString(), O_WRONLY | O_CREAT | O_EXCL, 0666);
  if (fd < 0) return 0;
  if (!writeDurably(*this, fd, encoding, comment) || io().rename(partial.getString(), path) != 0 ||
      io().syncFolder(TbFileIO::folderOf(path).c_str()) != 0) {
    const int error = errno;
    io().unlink(partial.getString());
    errno = error;
    return 0;
  }
  fileEncoding = encoding;
  return 1;
}

KorinMesh* KorinMesh::read(const char* path, TbProgressInterface* progress) {
  errno = EINVAL;
  TbFileInfo info;
  if (!path || io().stat(path, &info) != 0 || regularFileSize(info) < 0) return nullptr;
  // Not waiting for a writer, should a pipe take the file's place meanwhile.
  const int fd = io().open(path, O_RDONLY | O_NONBLOCK, 0);
  if (fd < 0) return nullptr;
  int64_t size = -1;
  if (io().fstat(fd, &info) != 0 || (size = regularFileSize(info)) < 0) {
    const int error = errno;
    io().close(fd);
    errno = error;
    return nullptr;
  }
  FILE* file = TbFileStream::open(fd, "rb");
  if (!file) return nullptr;
  errno = 0;
  KorinMeshReader reader(file, size, progress);
  KorinMesh* mesh = reader.read(path, recordFilePosition);
  const int error = errno;
  std::fclose(file);
  errno = error;
  return mesh;
}
