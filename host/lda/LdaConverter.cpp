#include "host/lda/LdaConverter.h"

#include <strings.h>

#include <algorithm>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "host/console/UxMessage.h"
#include "host/console/UxWorkArea.h"
#include "host/lda/LdaCodecs.h"
#include "host/lda/LdaConversion.h"
#include "host/lda/LdaFormatSetting.h"
#include "host/lda/LdaImageSource.h"
#include "host/lda/LdaMetadata.h"
#include "host/lda/LdaRawSource.h"
#include "host/lda/LdaReduction.h"
#include "host/lda/LdaStoreFolder.h"

namespace {

const int kMinTileSize = 8;
const int kMaxTileSize = 512;

int pendingRawComponents = 1;

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

struct InputDescription {
  const TbVec3i& dims;
  TbPrimType primType;
  int nDataVar;
  bool littleEndian;
  int convertMethod;
  int headerBytes;
  bool doubleToFloat;
  bool isRaw;
};

std::unique_ptr<LdaSlabSource> openSource(const std::vector<std::string>& files, const TbBox3f& box,
                                          const InputDescription& input, float* sourceBox, bool& mismatch) {
  std::copy(box.values, box.values + 6, sourceBox);
  mismatch = false;
  if (input.isRaw)
    return LdaRawSource::open(files, input.dims.values, input.nDataVar, input.primType, input.littleEndian,
                              input.headerBytes, input.doubleToFloat, mismatch);
  std::unique_ptr<LdaSlabSource> images = LdaImageSource::open(files, input.convertMethod);
  // A single file is described by nobody but itself: its samples span the box.
  if (images && files.size() == 1)
    for (int a = 0; a < 3; ++a) {
      sourceBox[2 * a] = 0.0f;
      sourceBox[2 * a + 1] = static_cast<float>(images->dims[a] - 1);
    }
  return images;
}

// False when the user keeps an existing output ("No", the default in batch runs).
bool mayReplace(const TbFilename& output) {
  if (!output.doesExist()) return true;
  TbString question;
  question.printf("%s already exists. Should it be overwritten?", output.getString());
  return console().warning(question.getString(), "No", "Yes", "Yes to All", -1, -1) != 0;
}

std::string storeName(const TbFilename& output) {
  TbFilename name(output.basename());
  name.removeExtension();
  return name.getString();
}

class ProgressTask {
 public:
  explicit ProgressTask(const TbFilename& output) {
    UxWorkArea::getTheWorkArea()->startWork("Converting %s", output.basename());
  }
  ~ProgressTask() { UxWorkArea::getTheWorkArea()->stopWork(); }
  ProgressTask(const ProgressTask&) = delete;
  ProgressTask& operator=(const ProgressTask&) = delete;
};

LdaOutcome writeStore(LdaSlabSource& source, const LdaStoreSettings& settings, int tileSize, LdaStoreFolder& folder,
                      std::string& why) {
  const LdaLayout layout(source.dims, source.nDataVar, source.primType, tileSize, LdaFormatSetting::version());
  if (!writeLdaMetadata(folder, layout, settings, why)) return LDA_FAILED;
  LdaConversion conversion(layout, settings, folder);
  const LdaOutcome outcome = conversion.run(source, why);
  if (outcome == LDA_CANCELLED) console().printf("Interrupted");
  return outcome;
}

}  // namespace

void setLdaRawComponents(int nDataVar) { pendingRawComponents = nDataVar; }

int convertToLdaStore(const TbDArray<const char*>& files, const TbFilename& output, const TbBox3f& box,
                      const TbVec3i& dims, const TbPrimType& primType, bool littleEndian, int convertMethod,
                      int headerBytes, bool doubleToFloat, bool isRaw, int tileSize, int borderSize,
                      int samplingType, const char* compressor) {
  const InputDescription input{dims,          primType,    pendingRawComponents, littleEndian, convertMethod,
                               headerBytes,   doubleToFloat, isRaw};
  pendingRawComponents = 1;
  LdaCodec codec;
  if (!checkSettings(tileSize, borderSize, samplingType) || !findCodec(compressor, codec)) return LDA_FAILED;
  std::vector<std::string> names;
  for (int i = 0; i < files.size(); ++i)
    if (files[i]) names.push_back(files[i]);
  LdaStoreSettings settings{storeName(output), {}, borderSize, samplingType, codec.get(), nullptr};
  bool mismatch = false;
  std::unique_ptr<LdaSlabSource> source = openSource(names, box, input, settings.box, mismatch);
  if (!source) return mismatch ? LDA_REFUSED : LDA_FAILED;
  settings.source = source->describe();
  if (codec) codec->setElementBytes(source->primType.size());
  if (!mayReplace(output)) return LDA_CANCELLED;

  LdaStoreFolder folder(output.getString());
  std::string why;
  LdaOutcome outcome = LDA_FAILED;
  if (folder.create(why)) {
    ProgressTask progress(output);
    outcome = writeStore(*source, settings, tileSize, folder, why);
    if (outcome == LDA_DONE && !folder.commit(why)) outcome = LDA_FAILED;
  }
  if (outcome == LDA_FAILED && !why.empty())
    console().printf("Error: writing %s failed: %s", output.getString(), why.c_str());
  return outcome;
}
