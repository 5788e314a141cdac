#include "host/codecs/SoDataCompressors.h"

#include "host/codecs/SoBloscCompressor.h"
#include "host/codecs/SoDataCompressor.h"
#include "host/codecs/SoLz4Compressor.h"
#include "host/codecs/SoZlibCompressor.h"
#include "host/codecs/SoZstdCompressor.h"

// The type system lists types in the order they were registered, so this
// order, with the most widely readable codec first, is what users see.
void initDataCompressors() {
  SoDataCompressor::initClass();
  SoZlibCompressor::initClass();
  SoZstdCompressor::initClass();
  SoLz4Compressor::initClass();
  SoBloscCompressor::initClass();
}
