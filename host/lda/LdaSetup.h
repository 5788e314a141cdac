#pragma once
// LdaSetup: what a tiled conversion starts from, checked before anything is
// written: its settings (tile size 8 to 512, border size 0 or more, sampling
// 0 Sharp or 1 Average), its codec (a registered one, or none) and its input
// source (raw files, LdaRawSource, or images, LdaImageSource). Shared by the
// host's converter and the jobs of a conversion spread over processes.
//
// open answers LDA_DONE when all is ready, LDA_FAILED after a console message
// (a bad setting, an unknown compressor with the list of names, unreadable
// input), or LDA_REFUSED when raw files do not hold what is described.
#include <memory>
#include <string>
#include <vector>

#include "host/base/TbPrimType.h"
#include "host/lda/LdaCodecs.h"
#include "host/lda/LdaConversion.h"
#include "host/lda/LdaLayout.h"
#include "host/lda/LdaMetadata.h"
#include "host/lda/LdaSlabSource.h"

struct LdaInputDescription {
  std::vector<std::string> files;
  float box[6] = {0, 1, 0, 1, 0, 1};  // a single image file takes the box of its samples instead
  int dims[3] = {0, 0, 0};
  TbPrimType primType;
  int nDataVar = 1;
  bool littleEndian = true;
  int convertMethod = 2;  // the channel option of images
  int headerBytes = 0;
  bool doubleToFloat = false;
  bool isRaw = true;
};

struct LdaSetup {
  LdaOutcome open(const LdaInputDescription& input, const std::string& output, int tileSize, int borderSize,
                  int sampling, const char* compressor);
  LdaLayout layout(int omeZarrVersion) const;

  LdaCodec codec;
  LdaStoreSettings settings{};
  std::unique_ptr<LdaSlabSource> source;
  int tileSize = 0;
};
