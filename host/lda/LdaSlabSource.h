#pragma once
// LdaSlabSource: where the samples of a tiled conversion come from, a region
// of slices at a time: raw files (LdaRawSource), image files
// (LdaImageSource), or a level already stored in the store being written
// (LdaStoredLevelSource).
//
// A source knows the volume's shape and the element type the store keeps;
// read fills `count` consecutive z slices from `first` on of the region (a
// rectangle of each slice), x fastest, the nDataVar components of a sample
// together, in the host's byte order. A failed read has printed its reason
// on the console and answers false; the buffer then holds unspecified bytes.
// splitCost and the working bytes tell the planner what cutting the volume
// into columns costs this source, in time and memory (see LdaColumnPlan.h).
#include <nlohmann/json_fwd.hpp>

#include <cstddef>

#include "host/base/TbPrimType.h"

// A rectangle of a slice: x0, y0 and its width and height, in samples.
struct LdaRegion {
  int x0, y0, width, height;
  size_t samples() const { return static_cast<size_t>(width) * height; }
};

class LdaSlabSource {
 public:
  // What reading the volume more than once costs, relative to a raw file.
  enum SplitCost {
    ROWS_ANYWHERE,   // any rectangle is read as cheaply as whole rows (raw files)
    WHOLE_ROWS,      // rows are decoded whole: splitting x repeats the work
    WHOLE_IMAGES,    // images are decoded whole: every extra column or band repeats it
  };

  virtual ~LdaSlabSource() = default;

  virtual bool read(const LdaRegion& region, int first, int count, unsigned char* out) = 0;
  // A source that can hand out whole slices in place (a file mapped into
  // memory) says so: map then gives `count` whole slices from `first` on,
  // valid until the next map or the source's end, or null after a console
  // message. It saves the copy and the buffer that read needs.
  virtual bool mapsSlices() const { return false; }
  virtual const unsigned char* map(int /*first*/, int /*count*/) { return nullptr; }
  virtual SplitCost splitCost() const { return ROWS_ANYWHERE; }
  // True for a source that decodes whole chunks of slices: it reads a slab in
  // one call, not a slice at a time.
  virtual bool readsWholeSlabs() const { return false; }
  // Memory the source holds while reading, beside the caller's buffer: bytes
  // for each sample of the region it reads, and bytes whatever the region.
  virtual size_t stagingPerSample() const { return 0; }
  virtual size_t fixedWorkingBytes() const { return 0; }
  // What the store records of the input (files, shape, type, ...).
  virtual nlohmann::json describe() const = 0;

  size_t sampleBytes() const { return static_cast<size_t>(nDataVar) * primType.size(); }

  int dims[3] = {0, 0, 0};
  int nDataVar = 1;
  TbPrimType primType;
};
