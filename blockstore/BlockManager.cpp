#include "blockstore/BlockManager.h"

#include <fcntl.h>

#include <cstdio>
#include <cstring>

#include "blockstore/BlockFileIO.h"
#include "host/base/TbAssertionHandlerInit.h"
#include "host/rawdata/TbRawData.h"
#include "host/base/TbString.h"
#include "host/console/UxMessage.h"

namespace {
TbAssertionHandlerInit assertionHandler;

const int kDefaultMaxFileSize = 1073741824;  // 1 GiB
const int kMaxFiles = 10000;                 // four characters number the files
const char kValidsMagic[8] = {'B', 'L', 'C', 'K', '0', '0', '0', '1'};
const char kNumberMark[] = "####";

BlockFileIO& io() { return BlockFileIO::current(); }
}  // namespace

int arch_little_endian() {
  const int one = 1;
  return *reinterpret_cast<const unsigned char*>(&one) == 1 ? 1 : 0;
}

void swapBytes(void* data, int nBytes, int wordSize) {
  if (wordSize == 2) TbRawData::swapBytesWord2(data, nBytes / 2);
  if (wordSize == 4) TbRawData::swapBytesWord4(data, nBytes / 4);
  if (wordSize == 8) TbRawData::swapBytesWord8(data, nBytes / 8);
}

BlockManager::BlockManager()
    : dataFd(-1), openFileNum(-1), numPos(0), blockSize(0), numBlocks(0), elemSize(1),
      maxFileSize(kDefaultMaxFileSize), littleEndian(1), writable(0), validsFd(-1),
      validsModified(0) {}

BlockManager::~BlockManager() {
  if (dataFd >= 0) io().close(dataFd);
  if (validsFd >= 0) io().close(validsFd);
}

bool BlockManager::isSupportedGeometry(int blockSize, int numBlocks, int maxFileSize) {
  if (maxFileSize == 0) maxFileSize = kDefaultMaxFileSize;
  if (blockSize <= 0 || numBlocks < 0 || blockSize > maxFileSize) return false;
  int64_t perFile = maxFileSize / blockSize;
  return (numBlocks + perFile - 1) / perFile <= kMaxFiles;
}

void BlockManager::init(const char* name, int blockSize_, int numBlocks_, int elemSize_,
                        int maxFileSize_, int littleEndian_) {
  maxFileSize = maxFileSize_ ? maxFileSize_ : kDefaultMaxFileSize;
  filename = name;
  const char* mark = std::strstr(filename.getString(), kNumberMark);
  if (mark) {
    numPos = static_cast<int>(mark - filename.getString());
  } else {
    numPos = filename.getLength() + 1;
    filename += "-####.dat";
  }
  blockSize = blockSize_;
  numBlocks = numBlocks_;
  elemSize = elemSize_;
  littleEndian = littleEndian_;
  dataFd = -1;
  openFileNum = -1;
  writable = 0;
  validsFd = -1;
  validsModified = 0;
  valids.clear();
  valids.resize(bitmapBytes(numBlocks));
}

void BlockManager::setFileNum(int n) {
  char digits[16];
  if (n == -1)
    std::memcpy(digits, "SUPR", 4);
  else
    std::snprintf(digits, sizeof digits, "%04d", n);
  std::memcpy(filename.data() + numPos, digits, 4);
}

// Size of file n of the set; -1 is the valid-flag file.
int64_t BlockManager::fileBytes(int n) const {
  if (n == -1) return bitmapBytes(numBlocks) + 8;
  int64_t first = static_cast<int64_t>(n) * blocksPerFile();
  int64_t blocks = numBlocks - first < blocksPerFile() ? numBlocks - first : blocksPerFile();
  return blocks * blockSize;
}

BlockManager* BlockManager::create(const char* name, int blockSize, int numBlocks, int elemSize,
                                   int maxFileSize, int littleEndian, int yesToAll) {
  if (!isSupportedGeometry(blockSize, numBlocks, maxFileSize)) {
    UxMessage::getTheMsg()->printf("Error: %s needs more than 10000 block files or a block larger than one file", name);
    return nullptr;
  }
  BlockManager* manager = new BlockManager;
  manager->init(name, blockSize, numBlocks, elemSize, maxFileSize, littleEndian);
  if (!manager->sizeFiles(yesToAll)) {
    delete manager;
    return nullptr;
  }
  manager->setFileNum(-1);
  manager->writable = 1;
  manager->validsModified = 1;
  if (!manager->writeValids()) {
    manager->deleteFiles();
    delete manager;
    throw 0;
  }
  return manager;
}

// Asks before overwriting (unless yesToAll), then gives every file of the set its
// size by writing its last byte. 0 when the user says "No" (nothing touched) or a
// file cannot be made (every file of the set removed).
int BlockManager::sizeFiles(int yesToAll) {
  const int files = numFiles();
  for (int n = -1; n < files && !yesToAll; ++n) {
    setFileNum(n);
    if (!filename.doesExist()) continue;
    TbString question;
    question.printf("%s does exist. Should I overwrite it", filename.getString());
    int answer = UxMessage::getTheMsg()->warning(question.getString(), "No", "Yes", "Yes to All", -1, -1);
    if (answer == 0) return 0;
    if (answer == 2) break;
  }
  for (int n = -1; n < files; ++n) {
    setFileNum(n);
    int fd = io().open(filename.getString(), O_WRONLY | O_CREAT, 0666);
    if (fd < 0) {
      deleteFiles();
      return 0;
    }
    const char zero = 0;
    bool sized = io().seek(fd, fileBytes(n) - 1) >= 0 && io().write(fd, &zero, 1) == 1;
    io().close(fd);
    if (!sized) {
      io().unlink(filename.getString());
      deleteFiles();
      return 0;
    }
  }
  return 1;
}

BlockManager* BlockManager::open(const char* name, int blockSize, int numBlocks, int elemSize,
                                 int maxFileSize, int littleEndian) {
  if (!isSupportedGeometry(blockSize, numBlocks, maxFileSize)) return nullptr;
  BlockManager* manager = new BlockManager;
  manager->init(name, blockSize, numBlocks, elemSize, maxFileSize, littleEndian);
  bool allWriteable = true;
  for (int n = 0; n < manager->numFiles(); ++n) {
    manager->setFileNum(n);
    if (!manager->filename.isWriteable()) allWriteable = false;
    if (!manager->filename.isReadable()) {
      UxMessage::getTheMsg()->printf("Error: can't read %s", manager->filename.getString());
      delete manager;
      return nullptr;
    }
  }
  manager->setFileNum(-1);
  if (!manager->filename.isWriteable()) allWriteable = false;
  manager->writable = allWriteable ? 1 : 0;
  if (!manager->readValids()) {
    delete manager;
    return nullptr;
  }
  return manager;
}

int BlockManager::openFile(int n) {
  if (dataFd >= 0) {
    if (openFileNum == n) return 1;
    io().close(dataFd);
    dataFd = -1;
    openFileNum = -1;
  }
  setFileNum(n);
  dataFd = io().open(filename.getString(), writable ? O_RDWR : O_RDONLY, 0);
  if (dataFd < 0) return 0;
  openFileNum = n;
  return 1;
}

int BlockManager::openValids() {
  if (validsFd >= 0) return 1;
  setFileNum(-1);
  validsFd = io().open(filename.getString(), writable ? O_RDWR : O_RDONLY, 0);
  return validsFd >= 0 ? 1 : 0;
}

int BlockManager::readValids() {
  if (!openValids()) return 0;
  if (io().seek(validsFd, 8) < 0) return 0;
  const int64_t bytes = bitmapBytes(numBlocks);
  if (io().read(validsFd, valids.dataPtr(), bytes) != bytes) return 0;
  validsModified = 0;
  return 1;
}

int BlockManager::writeValids() {
  if (!writable) return 0;
  if (!validsModified) return 1;
  if (!openValids() || io().seek(validsFd, 0) < 0) return 0;
  const int64_t bytes = bitmapBytes(numBlocks);
  if (io().write(validsFd, kValidsMagic, 8) != 8) return 0;
  if (io().write(validsFd, valids.dataPtr(), bytes) != bytes) return 0;
  validsModified = 0;
  return 1;
}

int BlockManager::putBlock(void* data, int b) {
  if (!writable || b < 0 || b >= numBlocks) return 0;
  const int f = b / blocksPerFile();
  if (!openFile(f)) return 0;
  if (io().seek(dataFd, static_cast<int64_t>(b - f * blocksPerFile()) * blockSize) < 0) return 0;
  int written = writeBlockBytes(data);
  setValidFlag(b);
  validsModified = 1;
  return written;
}

// Writes one block at the current position in the files' byte order, leaving
// the caller's buffer as it was.
int BlockManager::writeBlockBytes(void* data) {
  const bool swap = littleEndian != arch_little_endian();
  if (swap) swapBytes(data, blockSize, elemSize);
  int64_t put = io().write(dataFd, data, blockSize);
  if (swap) swapBytes(data, blockSize, elemSize);
  return put == blockSize ? 1 : 0;
}

int BlockManager::getBlock(void* data, int b) {
  if (b < 0 || b >= numBlocks) return 0;
  const int f = b / blocksPerFile();
  if (!openFile(f)) return 0;
  if (io().seek(dataFd, static_cast<int64_t>(b - f * blocksPerFile()) * blockSize) < 0) return 0;
  if (io().read(dataFd, data, blockSize) != blockSize) return 0;
  if (littleEndian != arch_little_endian()) swapBytes(data, blockSize, elemSize);
  return 1;
}

void BlockManager::deleteFiles() {
  if (dataFd >= 0) {
    io().close(dataFd);
    dataFd = -1;
    openFileNum = -1;
  }
  for (int n = 0; n < numFiles(); ++n) {
    setFileNum(n);
    io().unlink(filename.getString());
  }
  setFileNum(-1);
  io().unlink(filename.getString());
}
