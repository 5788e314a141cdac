#pragma once
// LdaImageSource: the slabs of an image stack read through the host's image
// readers: one image per file, or, for a single file of several pages (a
// multi-page TIFF), one page per slice. The stack's shape and type come from
// the files themselves: width and height of the first image, 16-bit grey
// images kept as uint16, everything else as uint8 values of one component.
//
// The channel option picks the value of a colour pixel: 0 the largest of R,
// G and B, 1 the weighted sum (0.3 R + 0.59 G) + 0.11 B truncated, 2 R, 3 G,
// 4 B, 5 alpha (for images that have it). A grey pixel keeps its value under
// options 0 to 4. open answers null, after a console message, when the first
// image cannot be read or the option does not apply to it; read fails with a
// message for an image that cannot be read or whose size or sample type
// differs from the first one's.
#include <memory>
#include <string>
#include <vector>

#include "host/lda/LdaSlabSource.h"

class LdaImageSource : public LdaSlabSource {
 public:
  static std::unique_ptr<LdaImageSource> open(const std::vector<std::string>& files,
                                              int channelOption);

  bool read(int first, int count, unsigned char* out) override;
  nlohmann::json describe() const override;

 private:
  LdaImageSource() = default;
  bool readSlice(int z, unsigned char* out);

  std::vector<std::string> files;
  bool pages = false;  // one file, a page per slice
  int channels = 1;
  int channelOption = 2;
};
