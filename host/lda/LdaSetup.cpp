#include "host/lda/LdaSetup.h"

#include <strings.h>

#include <algorithm>
#include <nlohmann/json.hpp>

#include "host/base/TbFilename.h"
#include "host/console/UxMessage.h"
#include "host/lda/LdaImageSource.h"
#include "host/lda/LdaRawSource.h"
#include "host/lda/LdaReduction.h"

namespace {

const int kMinTileSize = 8;
const int kMaxTileSize = 512;

UxMessage& console() { return *UxMessage::getTheMsg(); }

bool checkSettings(int tileSize, int borderSize, int samplingType) {
  if (tileSize < kMinTileSize || tileSize > kMaxTileSize) {
    console().printf("Error: tile size %d: expected %d to %d", tileSize, kMinTileSize, kMaxTileSize);
    return false;
  }
  if (borderSize < 0) {
    console().printf("Error: border size %d: expected 0 or more", borderSize);
    return false;
  }
  if (samplingType != LDA_SHARP && samplingType != LDA_AVERAGE) {
    console().printf("Error: sampling type %d: expected 0 (Sharp) or 1 (Average)", samplingType);
    return false;
  }
  return true;
}

// False after a message for a name that is not a registered codec.
bool findCodec(const char* name, LdaCodec& codec) {
  if (!name || strcasecmp(name, "none") == 0) return true;
  codec = ldaCodecByName(name);
  if (codec) return true;
  console().printf("Error: unknown compressor \"%s\": expected one of %s, or none", name, ldaCodecNames().c_str());
  return false;
}

std::unique_ptr<LdaSlabSource> openSource(const LdaInputDescription& input, float* sourceBox, bool& mismatch) {
  std::copy(input.box, input.box + 6, sourceBox);
  mismatch = false;
  if (input.isRaw)
    return LdaRawSource::open(input.files, input.dims, input.nDataVar, input.primType, input.littleEndian,
                              input.headerBytes, input.doubleToFloat, mismatch);
  std::unique_ptr<LdaSlabSource> images = LdaImageSource::open(input.files, input.convertMethod);
  // A single file is described by nobody but itself: its samples span the box.
  if (images && input.files.size() == 1)
    for (int a = 0; a < 3; ++a) {
      sourceBox[2 * a] = 0.0f;
      sourceBox[2 * a + 1] = static_cast<float>(images->dims[a] - 1);
    }
  return images;
}

std::string storeName(const std::string& output) {
  TbFilename name(TbFilename(output.c_str()).basename());
  name.removeExtension();
  return name.getString();
}

}  // namespace

LdaOutcome LdaSetup::open(const LdaInputDescription& input, const std::string& output, int tile, int borderSize,
                          int sampling, const char* compressor) {
  if (!checkSettings(tile, borderSize, sampling) || !findCodec(compressor, codec)) return LDA_FAILED;
  tileSize = tile;
  settings = LdaStoreSettings{storeName(output), {}, borderSize, sampling, codec.get(), nullptr};
  bool mismatch = false;
  source = openSource(input, settings.box, mismatch);
  if (!source) return mismatch ? LDA_REFUSED : LDA_FAILED;
  settings.source = source->describe();
  if (codec) codec->setElementBytes(source->primType.size());
  return LDA_DONE;
}

LdaLayout LdaSetup::layout(int omeZarrVersion) const {
  return LdaLayout(source->dims, source->nDataVar, source->primType, tileSize, omeZarrVersion);
}
