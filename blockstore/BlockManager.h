#pragma once
// BlockManager: the block file set of one out-of-core lattice.
//
// A set is numbered block data files of at most maxFileSize bytes holding
// blockSize-byte blocks back to back, with no header, plus one valid-flag file:
// "BLCK0001" followed by numBlocks/8 + 1 bitmap bytes, bit b%8 of byte b/8 (least
// significant first) set when block b is current. Block files hold elements in
// little-endian order when littleEndian is 1, big-endian when 0; data in memory
// is always in the machine's order.
//
// Contract on failure: create and open return null and leave no file of a new
// set behind (create removes what it made); create throws the int 0 only when
// the first bitmap cannot be stored, after removing the set. Every other
// operation returns 1 or 0, prints nothing, and leaves the manager usable; a
// failed putBlock may have written part of the block. The bitmap reaches its
// file only through writeValids; the destructor does not store it.
#include <cstdint>

#include "host/base/TbDArray.h"
#include "host/base/TbFilename.h"
#include "package/PackageExport.h"

class UXDD_API BlockManager {
 public:
  static BlockManager* create(const char* filename, int blockSize, int numBlocks, int elemSize,
                              int maxFileSize, int littleEndian, int yesToAll);
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

  int blocksPerFile() const { return maxFileSize / blockSize; }
  int numFiles() const {
    const int64_t perFile = blocksPerFile();
    return perFile > 0 ? static_cast<int>((numBlocks + perFile - 1) / perFile) : 0;
  }
  bool validFlag(int b) const { return (valids[b >> 3] >> (b & 7)) & 1; }
  void setValidFlag(int b) { valids[b >> 3] |= static_cast<unsigned char>(1u << (b & 7)); }
  void clearValidFlag(int b) {
    valids[b >> 3] &= static_cast<unsigned char>(~(1u << (b & 7)));
    validsModified = 1;
  }
  static int bitmapBytes(int numBlocks) { return numBlocks / 8 + 1; }

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

 private:
  int sizeFiles(int yesToAll);
  int64_t fileBytes(int n) const;
  int writeBlockBytes(void* data);
};

// 1 when the machine stores an int of value 1 with its first byte equal to 1.
UXDD_API int arch_little_endian();
// Reverses the bytes of each of the nBytes / wordSize words at data, for word sizes 2, 4 and 8.
UXDD_API void swapBytes(void* data, int nBytes, int wordSize);
