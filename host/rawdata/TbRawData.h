#pragma once
// TbRawData: the host's operations on raw sample buffers.
//
// Byte swapping works in place. downSample3DN reduces a volume of nx*ny*nz
// samples (x fastest, nDataVar interleaved components per sample) by integer
// factors: every output component is the arithmetic mean of the fx*fy*fz input
// samples it covers. Integer types are averaged exactly and rounded to the
// nearest integer, ties to even, so levels built one from another do not drift;
// float and double average in double precision. Trailing samples that do not
// fill a whole factor are dropped. It returns 0 for an unknown type or a
// factor below 1, and 1 otherwise; it never allocates.
#include "host/base/TbPrimType.h"
#include "host/base/TbProgressInterface.h"

class TbRawData {
 public:
  static void swapBytesWord2(void* data, unsigned long count);
  static void swapBytesWord4(void* data, unsigned long count);
  static void swapBytesWord8(void* data, unsigned long count);
  // Reverses the bytes of count values of the pointer's type.
  static void swapBytes(TbTypedPointer data, unsigned long count);

  static int downSample3DN(void* destination, TbTypedPointer source, unsigned long nx,
                           unsigned long ny, unsigned long nz, int fx, int fy, int fz,
                           int nDataVar, TbProgressInterface* progress);
};
