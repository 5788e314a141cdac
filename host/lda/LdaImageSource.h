#pragma once
// LdaImageSource: the regions of an image stack: one image per file, or, for
// a single file of several pages (a multi-page TIFF), one page per slice. The
// stack's shape and type come from the first image: its width and height,
// 16-bit grey images kept as uint16, everything else as uint8 values of one
// component.
//
// TIFF pages of grey or RGB samples are read a region at a time with libtiff
// (LdaTiffFile), so a page never has to fit in memory; every other image
// (PNG, JPEG, BMP, and TIFF pages of other kinds) is decoded whole by the
// host's image readers, one image at a time.
//
// The channel option picks the value of a colour pixel: 0 the largest of R,
// G and B, 1 the weighted sum (0.3 R + 0.59 G) + 0.11 B truncated, 2 R, 3 G,
// 4 B, 5 alpha (for images that have it). A grey pixel keeps its value under
// options 0 to 4. open answers null, after a console message, when the first
// image cannot be read or the option does not apply to it; read fails with a
// message naming the file for an image that cannot be read or whose size or
// kind of pixels differs from the first one's.
#include <memory>
#include <string>
#include <vector>

#include "host/lda/LdaSlabSource.h"

class LdaTiffFile;

class LdaImageSource : public LdaSlabSource {
 public:
  static std::unique_ptr<LdaImageSource> open(const std::vector<std::string>& files, int channelOption);
  ~LdaImageSource() override;

  bool read(const LdaRegion& region, int first, int count, unsigned char* out) override;
  SplitCost splitCost() const override { return byTiles ? WHOLE_ROWS : WHOLE_IMAGES; }
  size_t stagingPerSample() const override;
  size_t fixedWorkingBytes() const override;
  nlohmann::json describe() const override;

 private:
  // One image's pixels: size, channels and element type as the readers give them.
  struct Shape {
    int width = 0, height = 0, channels = 1;
    TbPrimType type;
  };

  LdaImageSource() = default;
  bool describeFirst();
  bool readSlice(int z, const LdaRegion& region, unsigned char* out);
  LdaTiffFile* directPage(int index, int page);
  bool readDecoded(const std::string& file, int page, const LdaRegion& region, unsigned char* out);
  bool fits(const std::string& file, const Shape& shape) const;
  void pickValues(const unsigned char* pixels, int channelCount, size_t count, unsigned char* out) const;

  std::vector<std::string> files;
  bool pages = false;  // one file, a page per slice
  bool byTiles = false;  // the first page is read a region at a time
  Shape first;
  int channelOption = 2;
  std::unique_ptr<LdaTiffFile> tiff;
  int tiffIndex = -1;
  std::vector<unsigned char> pixels;  // a region of a page with all its channels
};
