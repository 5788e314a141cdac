#pragma once
// LdaRawSource: the regions of a raw volume: one file holding every z slice,
// or one file per slice, each starting after `headerBytes` bytes, samples x
// fastest with their `nDataVar` components together, in the given byte
// order. The six host element types are read; double can be narrowed to
// float.
//
// open checks the description against the files before anything is written:
// it answers null, after a console message, when the type is not one of the
// six, a count is not positive, the number of files is neither 1 nor the
// depth, or a file is missing, is not a regular file, or does not hold
// exactly the header and the samples described (the message gives the size
// expected and the size found). read fails with a message for a file that
// cannot be opened or ends early. Files are read through the file seam with
// positioned reads: one per slice when the region spans whole rows (one per
// region of slices for a single file read whole), one per row otherwise; a
// single file of the host's byte order and the stored type is mapped whole
// slices at a time instead. Nothing is written to them.
#include <memory>
#include <string>
#include <vector>

#include "host/lda/LdaSlabSource.h"

class LdaRawSource : public LdaSlabSource {
 public:
  // `mismatch` tells a refusal because the files do not hold what is described.
  static std::unique_ptr<LdaRawSource> open(const std::vector<std::string>& files, const int* dims,
                                            int nDataVar, TbPrimType primType, bool littleEndian,
                                            int headerBytes, bool doubleToFloat, bool& mismatch);
  ~LdaRawSource() override;

  bool read(const LdaRegion& region, int first, int count, unsigned char* out) override;
  size_t stagingPerSample() const override;
  bool mapsSlices() const override;
  const unsigned char* map(int first, int count) override;
  nlohmann::json describe() const override;

 private:
  LdaRawSource() = default;
  bool checkSizes(bool& mismatch) const;
  bool useFile(int file);
  bool readBytes(int64_t offset, int64_t bytes, unsigned char* out, int slice);
  bool readInputRegion(const LdaRegion& region, int first, int count, unsigned char* out);
  size_t inputSampleBytes() const { return static_cast<size_t>(nDataVar) * inputType.size(); }

  std::vector<std::string> files;
  TbPrimType inputType;
  bool littleEndian = true;
  int64_t headerBytes = 0;
  int openFile = -1;
  int fd = -1;
  std::vector<unsigned char> staging;  // doubles on their way to float
  const void* mapped = nullptr;
  int64_t mappedBytes = 0;
};
