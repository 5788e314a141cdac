#include "blockstore/BlockManager.h"

#include <fcntl.h>

#include <algorithm>
#include <cstdio>
#include <cerrno>
#include <cstring>

#include "host/base/TbFileIO.h"
#include "host/base/TbAssertionHandlerInit.h"
#include "host/base/TbString.h"
#include "host/console/UxMessage.h"
#include "host/rawdata/TbRawData.h"

namespace {
TbAssertionHandlerInit assertionHandler;

const int kDefaultMaxFileSize = 1073741824;  // 1 GiB
const int kMaxFiles = 10000;                 // four characters number the files
const char kValidsMagic[8] = {'B', 'L', 'C', 'K', '0', '0', '0', '1'};
const char kNumberMark[] = "####";

TbFileIO& io() { return TbFileIO::current(); }
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
  if (blockSize <= 0 || numBlocks < 0 || maxFileSize < 0 || blockSize > maxFileSize) return false;
  int64_t perFile = maxFileSize / blockSize;
  return (numBlocks + perFile - 1) / perFile <= kMaxFiles;
}

void BlockManager::init(const char* name, int blockSize_, int numBlocks_, int elemSize_,
                        int maxFileSize_, int littleEndian_) {
  maxFileSize = maxFileSize_ ? maxFileSize_ : kDefaultMaxFileSize;
  setName = name;
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
  storedValids.clear();
  storedValids.resize(bitmapBytes(numBlocks));
  unsyncedFile.assign(static_cast<size_t>(numFiles()), 0);
  intent.setPath(nameOf(-2));
}

void BlockManager::setFileNum(int n) {
  char digits[16];
  if (n == -1)
    std::memcpy(digits, "SUPR", 4);
  else if (n == -2)
    std::memcpy(digits, "INTN", 4);
  else
    std::snprintf(digits, sizeof digits, "%04d", n);
  std::memcpy(filename.data() + numPos, digits, 4);
}

std::string BlockManager::nameOf(int n) {
  setFileNum(n);
  return filename.str();
}

int64_t BlockManager::fileBytes(int n) const {
  if (n == -1) return bitmapBytes(numBlocks) + 8;
  int64_t first = static_cast<int64_t>(n) * blocksPerFile();
  int64_t blocks = numBlocks - first < blocksPerFile() ? numBlocks - first : blocksPerFile();
  return blocks * blockSize;
}

BlockManager* BlockManager::create(const char* name, int blockSize, int numBlocks, int elemSize,
                                   int maxFileSize, int littleEndian, int yesToAll) {
  return create(name, blockSize, numBlocks, elemSize, maxFileSize, littleEndian, yesToAll, nullptr);
}

BlockManager* BlockManager::create(const char* name, int blockSize, int numBlocks, int elemSize,
                                   int maxFileSize, int littleEndian, int yesToAll, const char* staleDescription) {
  if (!isSupportedGeometry(blockSize, numBlocks, maxFileSize)) {
    UxMessage::getTheMsg()->printf("Error: %s needs more than 10000 block files or a block larger than one file", name);
    return nullptr;
  }
  BlockManager* manager = new BlockManager;
  manager->init(name, blockSize, numBlocks, elemSize, maxFileSize, littleEndian);
  if (!manager->askOverwrite(yesToAll) || !manager->lockFlags(true)) {
    delete manager;
    return nullptr;
  }
  // The old description goes first: files cut under it would no longer hold its set.
  if (staleDescription && io().size(staleDescription) >= 0 &&
      (io().unlink(staleDescription) != 0 || io().syncFolder(TbFileIO::folderOf(staleDescription).c_str()) != 0)) {
    manager->noteFailure(staleDescription, errno);
    UxMessage::getTheMsg()->printf("Error: can't replace %s", manager->failure().c_str());
    delete manager;
    return nullptr;
  }
  if (!manager->cutFiles()) {
    delete manager;
    return nullptr;
  }
  manager->removeFilesOfAnOlderSet();
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

// Asks before overwriting (unless yesToAll). 0 when the user says "No":
// nothing touched.
int BlockManager::askOverwrite(int yesToAll) {
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
  return 1;
}

// Takes the set's writer lock on its valid-flag file (made when `create`).
// 0 when another writer holds it: a new set is refused with a message, an
// existing one is opened read-only with a notice.
int BlockManager::lockFlags(bool create) {
  const std::string flags = nameOf(-1);
  const bool existed = io().size(flags.c_str()) >= 0;
  validsFd = openChecked(flags.c_str(), O_RDWR | (create ? O_CREAT : 0));
  if (validsFd < 0) {
    if (create) UxMessage::getTheMsg()->printf("Error: can't create %s", lastFailure.c_str());
    return create ? 0 : 1;  // an existing set opens read-only; its flags are read again below
  }
  if (io().lock(validsFd) == 0) return 1;
  io().close(validsFd);
  validsFd = -1;
  if (create && !existed) io().unlink(flags.c_str());
  UxMessage::getTheMsg()->printf(create ? "Error: %s is being written by another writer; it was left alone"
                                        : "Notice: %s is being written by another writer; it is opened read-only",
                                 setName.c_str());
  return 0;
}

// Gives every file of the set its length, empty of any older content. 0 when a
// file cannot be made (every file of the set removed).
int BlockManager::cutFiles() {
  const int files = numFiles();
  for (int n = -1; n < files; ++n) {
    setFileNum(n);
    const int fd = io().open(filename.getString(), O_WRONLY | O_CREAT | O_TRUNC, 0666);
    const bool sized = fd >= 0 && io().truncate(fd, fileBytes(n)) == 0;
    if (!sized) noteFailure(filename.str(), errno);
    if (fd >= 0) io().close(fd);
    if (sized) continue;
    UxMessage::getTheMsg()->printf("Error: can't create %s", lastFailure.c_str());
    if (fd >= 0) io().unlink(filename.getString());
    deleteFiles();
    return 0;
  }
  return 1;
}

void BlockManager::noteFailure(const std::string& file, int error) {
  noteFailure(file, std::strerror(error ? error : EIO));
}

void BlockManager::noteFailure(const std::string& file, const char* reason) { lastFailure = file + ": " + reason; }

// A pipe, a device or a folder is refused without being waited on.
int BlockManager::openChecked(const char* path, int flags) {
  const int fd = io().open(path, flags | O_NONBLOCK, 0666);
  if (fd < 0) {
    noteFailure(path, errno);
    return -1;
  }
  TbFileInfo info;
  if (io().fstat(fd, &info) == 0 && info.kind == TbFileInfo::REGULAR) return fd;
  io().close(fd);
  noteFailure(path, "not a regular file");
  return -1;
}

// Block data files numbered past this set's and the intent record belong to an
// older set of the same name; left alone they would be read as part of it.
void BlockManager::removeFilesOfAnOlderSet() {
  for (int n = numFiles(); n < kMaxFiles; ++n) {
    const std::string name = nameOf(n);
    if (io().size(name.c_str()) < 0) break;
    io().unlink(name.c_str());
  }
  if (io().size(intent.name().c_str()) >= 0) io().unlink(intent.name().c_str());
}

BlockManager* BlockManager::open(const char* name, int blockSize, int numBlocks, int elemSize,
                                 int maxFileSize, int littleEndian) {
  openFailure().clear();
  if (!isSupportedGeometry(blockSize, numBlocks, maxFileSize)) return nullptr;
  BlockManager* manager = new BlockManager;
  manager->init(name, blockSize, numBlocks, elemSize, maxFileSize, littleEndian);
  bool allWriteable = true;
  for (int n = 0; n < manager->numFiles(); ++n) {
    manager->setFileNum(n);
    if (!manager->filename.isWriteable()) allWriteable = false;
    if (!manager->filename.isReadable()) {
      UxMessage::getTheMsg()->printf("Error: can't read %s", manager->filename.getString());
      return refuseOpen(manager);
    }
  }
  manager->setFileNum(-1);
  if (!manager->filename.isWriteable()) allWriteable = false;
  manager->writable = allWriteable ? 1 : 0;
  if (!manager->checkFileLengths()) {
    return refuseOpen(manager);
  }
  if (manager->writable && !manager->lockFlags(false)) manager->writable = 0;
  if (!manager->readValids()) {
    if (manager->validsMagicWrong)
      UxMessage::getTheMsg()->printf("Error: %s is not the valid-flag file of this set", manager->nameOf(-1).c_str());
    return refuseOpen(manager);
  }
  manager->intentFound = manager->intent.load(manager->intentEntries, numBlocks);
  if (manager->intentFound == IntentRecord::NOT_A_FILE) {
    UxMessage::getTheMsg()->printf("Error: %s is not a regular file", manager->intent.name().c_str());
    return refuseOpen(manager);
  }
  return manager;
}

// Keeps why open refused, for the caller's message, and lets the manager go.
BlockManager* BlockManager::refuseOpen(BlockManager* manager) {
  openFailure() = manager->lastFailure;
  delete manager;
  return nullptr;
}

std::string& BlockManager::openFailure() {
  static std::string failure;
  return failure;
}

const std::string& BlockManager::lastOpenFailure() { return openFailure(); }

// Block data files shorter than their blocks, or a valid-flag file of another
// length, belong to no set of this shape.
bool BlockManager::checkFileLengths() {
  for (int n = 0; n < numFiles(); ++n) {
    const std::string name = nameOf(n);
    if (io().size(name.c_str()) < fileBytes(n)) {
      UxMessage::getTheMsg()->printf("Error: %s is shorter than the set needs", name.c_str());
      return false;
    }
  }
  const std::string flags = nameOf(-1);
  const int64_t length = io().size(flags.c_str());
  if (length >= 0 && length != fileBytes(-1)) {
    UxMessage::getTheMsg()->printf("Error: %s is not the valid-flag file of this set", flags.c_str());
    return false;
  }
  return true;
}

int BlockManager::openFile(int n) {
  if (dataFd >= 0) {
    if (openFileNum == n) return 1;
    io().close(dataFd);
    dataFd = -1;
    openFileNum = -1;
  }
  setFileNum(n);
  dataFd = openChecked(filename.getString(), writable ? O_RDWR : O_RDONLY);
  if (dataFd < 0) return 0;
  openFileNum = n;
  return 1;
}

int BlockManager::openValids() {
  if (validsFd >= 0) return 1;
  setFileNum(-1);
  validsFd = openChecked(filename.getString(), writable ? O_RDWR : O_RDONLY);
  return validsFd >= 0 ? 1 : 0;
}

int BlockManager::readValids() {
  validsMagicWrong = false;
  if (!openValids()) return 0;
  const int bytes = bitmapBytes(numBlocks);
  char magic[8];
  std::vector<unsigned char> bitmap(static_cast<size_t>(bytes));
  iovec parts[2] = {{magic, 8}, {bitmap.data(), static_cast<size_t>(bytes)}};
  if (io().preadv(validsFd, parts, 2, 0) != 8 + bytes) {
    noteFailure(nameOf(-1), errno);
    return 0;
  }
  if (std::memcmp(magic, kValidsMagic, 8) != 0) {
    validsMagicWrong = true;
    return 0;
  }
  std::memcpy(valids.dataPtr(), bitmap.data(), static_cast<size_t>(bytes));
  std::memcpy(storedValids.dataPtr(), bitmap.data(), static_cast<size_t>(bytes));
  validsModified = 0;
  return 1;
}

// A flag set in memory but not on disk stands for block data that must be
// durable before the flag is.
bool BlockManager::setsNewFlags() const {
  for (int i = 0; i < valids.size(); ++i)
    if (valids[i] & ~storedValids[i]) return true;
  return false;
}

int BlockManager::syncWrittenFiles() {
  const int files = static_cast<int>(unsyncedFile.size());
  for (int pass = 0; pass < 2; ++pass) {  // the open file first, so it stays the open one
    for (int f = 0; f < files; ++f) {
      if (!unsyncedFile[f] || (pass == 0) != (f == openFileNum)) continue;
      if (!openFile(f)) return 0;
      if (io().sync(dataFd) != 0) {
        noteFailure(nameOf(f), errno);
        return 0;
      }
      unsyncedFile[f] = 0;
    }
  }
  return 1;
}

// After a store that may or may not have reached the disk, a reopen could
// trust either the old flags or the new ones.
void BlockManager::keepStoredFlagsAndNew() {
  for (int i = 0; i < valids.size(); ++i) storedValids[i] |= valids[i];
}

int BlockManager::writeValids() {
  if (!writable) return 0;
  if (!validsModified) return 1;
  const bool newFlags = setsNewFlags();
  if (newFlags && !syncWrittenFiles()) return 0;
  if (!openValids()) return 0;
  const int bytes = bitmapBytes(numBlocks);
  iovec parts[2] = {{const_cast<char*>(kValidsMagic), 8}, {valids.dataPtr(), static_cast<size_t>(bytes)}};
  errno = 0;
  const bool stored = io().pwritev(validsFd, parts, 2, 0) == 8 + bytes;
  // The record may go only once the flags that replace it are durable; new
  // flags are durable before writeValids says they are stored.
  if (!stored || ((newFlags || intent.present()) && io().sync(validsFd) != 0)) {
    noteFailure(nameOf(-1), errno ? errno : ENOSPC);
    keepStoredFlagsAndNew();
    return 0;
  }
  intent.remove();
  std::memcpy(storedValids.dataPtr(), valids.dataPtr(), static_cast<size_t>(bytes));
  validsModified = 0;
  return 1;
}

int BlockManager::recordIntent(const IntentEntry& entry) { return intent.append(entry); }

int BlockManager::putBlock(void* data, int b) { return putBlocks(data, b, 1); }

int BlockManager::getBlock(void* data, int b) { return getBlocks(data, b, 1); }

int BlockManager::putBlocks(void* data, int first, int count) {
  if (!writable) return 0;
  return transferRun(data, first, count, true);
}

int BlockManager::getBlocks(void* data, int first, int count) { return transferRun(data, first, count, false); }

// Flags exactly the blocks of a written part that fully landed; the others
// may hold part of their new bytes, so they are not current.
void BlockManager::noteLanded(int first, int count, int landed) {
  for (int b = first; b < first + count; ++b) {
    if (b < first + landed)
      setValidFlag(b);
    else
      clearValidFlag(b);
  }
  validsModified = 1;
}

// One positioned call per block data file the run touches. Elements are
// swapped to the files' byte order around a write and after a read.
int BlockManager::transferRun(void* data, int first, int count, bool writing) {
  if (first < 0 || count < 0 || static_cast<int64_t>(first) + count > numBlocks) return 0;
  const bool swap = littleEndian != arch_little_endian();
  auto* bytes = static_cast<unsigned char*>(data);
  for (int b = first; b < first + count;) {
    const int f = b / blocksPerFile();
    const int inFile = std::min(first + count - b, (f + 1) * blocksPerFile() - b);
    const int64_t n = static_cast<int64_t>(inFile) * blockSize;
    if (!openFile(f)) return 0;
    if (writing) {
      if (swap) swapBytes(bytes, static_cast<int>(n), elemSize);
      errno = 0;
      const int64_t put = io().pwrite(dataFd, bytes, n, offsetOf(b));
      const int error = errno ? errno : ENOSPC;  // a short write without a reason: the disk is full
      if (swap) swapBytes(bytes, static_cast<int>(n), elemSize);
      unsyncedFile[f] = 1;
      noteLanded(b, inFile, put > 0 ? static_cast<int>(put / blockSize) : 0);
      if (put != n) {
        noteFailure(nameOf(f), error);
        return 0;
      }
      // Writeback begins now, so the sync before the flags finds little left.
      io().startWriteback(dataFd, offsetOf(b), n);
    } else {
      errno = 0;
      if (io().pread(dataFd, bytes, n, offsetOf(b)) != n) {
        noteFailure(nameOf(f), errno ? errno : EIO);
        return 0;
      }
      if (swap) swapBytes(bytes, static_cast<int>(n), elemSize);
    }
    bytes += n;
    b += inFile;
  }
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
  intent.remove();
}
