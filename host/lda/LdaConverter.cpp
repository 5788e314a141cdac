#include "host/lda/LdaConverter.h"

#include <algorithm>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "host/console/UxMessage.h"
#include "host/console/UxWorkArea.h"
#include "host/lda/LdaConversion.h"
#include "host/lda/LdaFormatSetting.h"
#include "host/lda/LdaMetadata.h"
#include "host/lda/LdaSetup.h"
#include "host/lda/LdaStoreFolder.h"

namespace {

int pendingRawComponents = 1;

UxMessage& console() { return *UxMessage::getTheMsg(); }

// False when the user keeps an existing output ("No", the default in batch runs).
bool mayReplace(const TbFilename& output) {
  if (!output.doesExist()) return true;
  TbString question;
  question.printf("%s already exists. Should it be overwritten?", output.getString());
  return console().warning(question.getString(), "No", "Yes", "Yes to All", -1, -1) != 0;
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

LdaOutcome writeStore(LdaSetup& setup, LdaStoreFolder& folder, std::string& why) {
  const LdaLayout layout = setup.layout(LdaFormatSetting::version());
  if (!writeLdaMetadata(folder, layout, setup.settings, why)) return LDA_FAILED;
  LdaConversion conversion(layout, setup.settings, folder);
  const LdaOutcome outcome = conversion.run(*setup.source, why);
  if (outcome == LDA_CANCELLED) console().printf("Interrupted");
  return outcome;
}

}  // namespace

void setLdaRawComponents(int nDataVar) { pendingRawComponents = nDataVar; }

int convertToLdaStore(const TbDArray<const char*>& files, const TbFilename& output, const TbBox3f& box,
                      const TbVec3i& dims, const TbPrimType& primType, bool littleEndian, int convertMethod,
                      int headerBytes, bool doubleToFloat, bool isRaw, int tileSize, int borderSize,
                      int samplingType, const char* compressor) {
  LdaInputDescription input;
  for (int i = 0; i < files.size(); ++i)
    if (files[i]) input.files.push_back(files[i]);
  std::copy(box.values, box.values + 6, input.box);
  std::copy(dims.values, dims.values + 3, input.dims);
  input.primType = primType;
  input.nDataVar = pendingRawComponents;
  input.littleEndian = littleEndian;
  input.convertMethod = convertMethod;
  input.headerBytes = headerBytes;
  input.doubleToFloat = doubleToFloat;
  input.isRaw = isRaw;
  pendingRawComponents = 1;
  LdaSetup setup;
  const LdaOutcome ready = setup.open(input, output.getString(), tileSize, borderSize, samplingType, compressor);
  if (ready != LDA_DONE) return ready;
  if (!mayReplace(output)) return LDA_CANCELLED;

  LdaStoreFolder folder(output.getString());
  std::string why;
  LdaOutcome outcome = LDA_FAILED;
  if (folder.create(why)) {
    ProgressTask progress(output);
    outcome = writeStore(setup, folder, why);
    if (outcome == LDA_DONE && !folder.commit(why)) outcome = LDA_FAILED;
  }
  if (outcome == LDA_FAILED && !why.empty())
    console().printf("Error: writing %s failed: %s", output.getString(), why.c_str());
  return outcome;
}
