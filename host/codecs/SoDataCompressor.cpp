#include "host/codecs/SoDataCompressor.h"

#include <Inventor/SoDB.h>

#include <cstdlib>
#include <exception>

namespace {

// Stands in for a null buffer of zero length; never read or written through.
unsigned char emptyBuffer[1];

// Whoever starts the database stops it: Coin frees its global fields only in
// SoDB::finish, and leak checkers would otherwise fail every program using us.
void startDatabase() {
  if (SoDB::isInitialized()) return;
  SoDB::init();
  std::atexit([] { SoDB::finish(); });
}

SoType createAbstractType() {
  startDatabase();
  return SoType::createType(SoType::badType(), SbName("SoDataCompressor"));
}

}  // namespace

SoDataCompressor::~SoDataCompressor() = default;

// A function-local static makes registration happen once, even when several
// threads ask for the type at the same moment.
SoType SoDataCompressor::getClassTypeId() {
  static const SoType type = createAbstractType();
  return type;
}

void SoDataCompressor::initClass() { (void)getClassTypeId(); }

const void* SoDataCompressor::nonNull(const void* data) { return data ? data : emptyBuffer; }

void* SoDataCompressor::nonNull(void* data) { return data ? data : emptyBuffer; }

bool SoDataCompressor::resize(std::vector<unsigned char>& out, size_t bytes) {
  try {
    out.resize(bytes);
    return true;
  } catch (const std::exception&) {
    std::vector<unsigned char>().swap(out);
    return false;
  }
}
