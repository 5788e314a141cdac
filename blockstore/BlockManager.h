#pragma once
// BlockManager: the block file set of one out-of-core lattice.
//
// A set is numbered block data files of at most maxFileSize bytes holding
// blockSize-byte blocks back to back, with no header, plus one valid-flag file:
// "BLCK0001" followed by numBlocks/8 + 1 bitmap bytes, bit b%8 of byte b/8 (least
// significant first) set when block b is current. Block files hold elements in
// little-endian order when littleEndian is 1, big-endian when 0; data in memory
// is always in the machine's order. Beside the set may lie its intent record
// (IntentRecord.h), named with "INTN" where the file number goes.
//
// Contract on failure: create and open return null and leave no file of a new
// set behind (create removes what it made); create throws the int 0 only when
// the first bitmap cannot be stored, after removing the set. open refuses, with
// a console message naming the file, a valid-flag file of the wrong length or
// magic and block data files shorter than the set needs. Every other operation
// returns 1 or 0, prints nothing, and leaves the manager usable. A block whose
// write failed or fell short is never flagged current, and its flag is cleared
// if it was set. The bitmap reaches its file only through writeValids, which
// first makes durable the block data behind every flag it newly sets, and
// removes the intent record once the flags it stores are durable.
//
// create of a set whose files exist (the user agreed to overwrite) gives every
// file its new length with no old content left, and removes higher-numbered
// block data files and the intent record of an older set of the same name.
// Given the description of the set it replaces (`staleDescription`), create
// removes it, durably, before the first old file is cut, so a failure part way
// never leaves the old description over files that no longer hold its set.
//
// One writer at a time: a manager that writes holds an exclusive advisory
// lock of the valid-flag file (TbFileIO::lock) until it goes away. create
// refuses a set another writer holds — in this process or another — with a
// console message naming it, before anything is touched; open of such a set
// opens it read-only, with a notice. Readers take no lock.
//
// failure() names the file and the system's reason of the last call that
// failed ("/d/x.km-0000.dat: No space left on device"), for messages; a file
// that is not a regular file (a pipe, a device, a folder) is refused without
// being waited on.
#include <cstdint>
#include <string>
#include <vector>

#include "blockstore/IntentRecord.h"
#include "host/base/TbDArray.h"
#include "host/base/TbFilename.h"
#include "package/PackageExport.h"

class UXDD_API BlockManager {
 public:
  static BlockManager* create(const char* filename, int blockSize, int numBlocks, int elemSize,
                              int maxFileSize, int littleEndian, int yesToAll);
  static BlockManager* create(const char* filename, int blockSize, int numBlocks, int elemSize,
                              int maxFileSize, int littleEndian, int yesToAll, const char* staleDescription);
  static BlockManager* open(const char* filename, int blockSize, int numBlocks, int elemSize,
                            int maxFileSize, int littleEndian);

  BlockManager();
  ~BlockManager();
  BlockManager(const BlockManager&) = delete;
  BlockManager& operator=(const BlockManager&) = delete;

  void init(const char* filename, int blockSize, int numBlocks, int elemSize, int maxFileSize,
            int littleEndian);
  // Turns filename into the name of block data file n, or of the valid-flag file for n = -1.
  void setFileNum(int n);
  int openFile(int n);
  int openValids();
  int readValids();
  int writeValids();
  int putBlock(void* data, int blockNo);
  int getBlock(void* data, int blockNo);
  void deleteFiles();

  // Runs of `count` consecutive blocks from `first` on, with one positioned
  // call per block data file they touch. putBlocks flags exactly the blocks
  // that fully landed (data is byte-swapped in place and back where needed).
  int putBlocks(void* data, int first, int count);
  int getBlocks(void* data, int first, int count);

  int blocksPerFile() const { return maxFileSize / blockSize; }
  int numFiles() const {
    const int64_t perFile = blocksPerFile();
    return perFile > 0 ? static_cast<int>((numBlocks + perFile - 1) / perFile) : 0;
  }
  // Bytes block data file n must hold (-1: the valid-flag file).
  int64_t fileBytes(int n) const;
  // Name of block data file n, of the valid-flag file (-1) or of the intent record (-2).
  std::string nameOf(int n);

  bool validFlag(int b) const { return (valids[b >> 3] >> (b & 7)) & 1; }
  void setValidFlag(int b) { valids[b >> 3] |= static_cast<unsigned char>(1u << (b & 7)); }
  void clearValidFlag(int b) {
    valids[b >> 3] &= static_cast<unsigned char>(~(1u << (b & 7)));
    validsModified = 1;
  }
  static int bitmapBytes(int numBlocks) { return numBlocks / 8 + 1; }

  // Whether a reopen could take block b for current: its flag is set in the
  // valid-flag file on disk and no intent record names it.
  bool flaggedOnDisk(int b) const { return (storedValids[b >> 3] >> (b & 7)) & 1; }
  void forgetFlagOnDisk(int b) { storedValids[b >> 3] &= static_cast<unsigned char>(~(1u << (b & 7))); }
  // Records, durably, that the coarse blocks over these level-0 block ranges
  // are out of date; the caller then forgets their flags on disk.
  int recordIntent(const IntentEntry& entry);
  IntentRecord& intentRecord() { return intent; }

  const std::string& failure() const { return lastFailure; }
  // The system's reason the last open returned null, as failure() says it;
  // empty when there was none (a refusal prints its own message).
  static const std::string& lastOpenFailure();

  // Sets whose numbers cannot name distinct files, or whose block does not fit a file.
  static bool isSupportedGeometry(int blockSize, int numBlocks, int maxFileSize);

  int dataFd;
  int openFileNum;
  TbFilename filename;
  int numPos;
  int blockSize;
  int numBlocks;
  int elemSize;
  int maxFileSize;
  int littleEndian;
  int writable;
  int validsFd;
  TbDArray<unsigned char> valids;
  int validsModified;

  // What open found of an intent record; the lattice applies it.
  IntentRecord::Content intentFound = IntentRecord::ABSENT;
  std::vector<IntentEntry> intentEntries;

 private:
  static BlockManager* refuseOpen(BlockManager* manager);
  static std::string& openFailure();
  int askOverwrite(int yesToAll);
  int lockFlags(bool create);
  int cutFiles();
  int openChecked(const char* path, int flags);
  void noteFailure(const std::string& file, int error);
  void noteFailure(const std::string& file, const char* reason);
  void removeFilesOfAnOlderSet();
  bool checkFileLengths();
  int64_t offsetOf(int b) const { return static_cast<int64_t>(b % blocksPerFile()) * blockSize; }
  int transferRun(void* data, int first, int count, bool writing);
  void noteLanded(int first, int count, int landed);
  int syncWrittenFiles();
  bool setsNewFlags() const;
  void keepStoredFlagsAndNew();

  TbDArray<unsigned char> storedValids;
  std::vector<unsigned char> unsyncedFile;  // per block data file: written since its last sync
  IntentRecord intent;
  bool validsMagicWrong = false;
  std::string setName;  // as given, for messages
  std::string lastFailure;
};

// 1 when the machine stores an int of value 1 with its first byte equal to 1.
UXDD_API int arch_little_endian();
// Reverses the bytes of each of the nBytes / wordSize words at data, for word sizes 2, 4 and 8.
UXDD_API void swapBytes(void* data, int nBytes, int wordSize);
