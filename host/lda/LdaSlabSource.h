#pragma once
// LdaSlabSource: where the samples of a tiled conversion come from, slab by
// slab: raw files (LdaRawSource) or image files (LdaImageSource).
//
// A source knows the volume's shape and the element type the store keeps;
// read fills `count` consecutive z slices from `first` on, x fastest, the
// nDataVar components of a sample together, in the host's byte order. A
// failed read has printed its reason on the console and answers false; the
// buffer then holds unspecified bytes.
#include <nlohmann/json_fwd.hpp>

#include "host/base/TbPrimType.h"

class LdaSlabSource {
 public:
  virtual ~LdaSlabSource() = default;

  virtual bool read(int first, int count, unsigned char* out) = 0;
  // Sources that can hand out their slices in place (a file mapped into
  // memory) say so; map then gives `count` slices from `first` on, valid
  // until the next call of map or the source's end, or null after a console
  // message.
  virtual bool mapsSlices() const { return false; }
  virtual const unsigned char* map(int /*first*/, int /*count*/) { return nullptr; }
  // What the store records of the input (files, shape, type, ...).
  virtual nlohmann::json describe() const = 0;

  size_t sliceBytes() const {
    return static_cast<size_t>(dims[0]) * dims[1] * nDataVar * primType.size();
  }

  int dims[3] = {0, 0, 0};
  int nDataVar = 1;
  TbPrimType primType;
};
