#include "host/SoDataCompressors.h"

#include "host/SoDataCompressor.h"
#include "host/SoLz4Compressor.h"
#include "host/SoZlibCompressor.h"
#include "host/SoZstdCompressor.h"

// The type system lists types in the order they were registered, so this
// order, with the most widely readable codec first, is what users see.
void initDataCompressors() {
  SoDataCompressor::initClass();
  SoZlibCompressor::initClass();
  SoZstdCompressor::initClass();
  SoLz4Compressor::initClass();
}
