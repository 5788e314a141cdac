#pragma once
// LdaRawSource: the slabs of a raw volume: one file holding every z slice, or
// one file per slice, each starting after `headerBytes` bytes, samples x
// fastest with their components together, in the given byte order. The six
// host element types are read; double can be narrowed to float.
//
// The raw description the converter receives gives no component count, so it
// is what the file holds: the bytes after the header divided by the bytes of
// one component of the volume (of one slice, for a file per slice), rounded
// down. open answers null, after a console message, when the type is not
// one of the six, the dims are not positive, the number of files is neither 1
// nor the depth, or the first file is missing or too short. read fails with a
// message for a file that cannot be opened or ends early. Files are read with
// pread, a slab (or a slice per file) at a time, or a single file that needs
// no conversion is mapped a slab at a time; nothing is written to them.
#include <memory>
#include <string>
#include <vector>

#include "host/lda/LdaSlabSource.h"

class LdaRawSource : public LdaSlabSource {
 public:
  static std::unique_ptr<LdaRawSource> open(const std::vector<std::string>& files,
                                            const int* dims, TbPrimType primType,
                                            bool littleEndian, int headerBytes,
                                            bool doubleToFloat);
  ~LdaRawSource() override;

  bool read(int first, int count, unsigned char* out) override;
  // One file of the host's byte order and the stored type is mapped, a slab
  // at a time, rather than copied.
  bool mapsSlices() const override;
  const unsigned char* map(int first, int count) override;
  nlohmann::json describe() const override;

 private:
  LdaRawSource() = default;
  bool readBytes(int file, int64_t offset, size_t bytes, unsigned char* out, int slice);
  bool readSlices(int first, int count, unsigned char* out);
  size_t inputSliceBytes() const { return sliceBytes() / primType.size() * inputType.size(); }

  std::vector<std::string> files;
  TbPrimType inputType;
  bool littleEndian = true;
  int64_t headerBytes = 0;
  int openFile = -1;
  int fd = -1;
  std::vector<unsigned char> staging;  // one slice of doubles on their way to float
  void* mapped = nullptr;
  size_t mappedBytes = 0;
};
