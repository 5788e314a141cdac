#include "diskdata/UxDiskData.h"

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "host/base/TbAssertionHandlerInit.h"
#include "host/base/TbString.h"
#include "host/types/TbTypeInfo.h"
#include "host/dialogs/UxFileDialog.h"
#include "host/console/UxMessage.h"
#include "host/mesh/UxParamBundle.h"
#include "host/console/UxWorkArea.h"

namespace {
TbAssertionHandlerInit assertionHandler;


// Misuse of a block request is reported the host's way: plain stdout, no newline.
void reportMisuse(const char* text) {
  std::fputs(text, stdout);
  std::fflush(stdout);
}

// Subsampling factor to level; -1 when it is not a power of two.
int levelOfSubsampling(int factor) {
  int level = 0;
  while ((factor >> level) > 1) ++level;
  return (1 << level) == factor ? level : -1;
}

// The answers are "No" (0), "Yes" (1), "Yes to All" (2); -1 when nothing had to be asked.
int askOverwrite(const TbFilename& name) {
  if (!name.doesExist()) return -1;
  TbString question;
  question.printf("%s already exists. Should it be overwritten?", name.getString());
  return UxMessage::getTheMsg()->warning(question.getString(), "No", "Yes", "Yes to All", -1, -1);
}

// The name the user picks in the host's file dialog; empty when cancelled.
TbFilename askDescriptionName() {
  UxFileDialog dialog;
  dialog.setDialogUsage(UxFileDialog::SAVE_FILE);
  dialog.setTitle("Create Large Disk Data");
  if (!dialog.postAndWait()) return TbFilename();
  return TbFilename(dialog.getFileName(0));
}

// Opens a new block file set, catching the one failure reported by exception.
// An older description being replaced is removed before its block files are cut.
BlockManager* createBlockFiles(const char* name, const LatticeManager& lattice, int yesToAll,
                               const char* staleDescription) {
  try {
    return BlockManager::create(name, lattice.blockBytes(), lattice.numBlocks, lattice.primType.size(),
                                0, 1, yesToAll, staleDescription);
  } catch (int) {
    UxMessage::getTheMsg()->printf("Error: can't write the valid flags of %s", name);
    return nullptr;
  }
}


// Created by the library's static initialisation, so the type exists once loaded.
TbTypeInfo* const diskDataType = UxDiskData::getClassTypeId();
}  // namespace

const int UxDiskData::kBlocking[3] = {32, 16, 4};
const float UxDiskData::kDefaultBox[6] = {-1, 1, -1, 1, -1, 1};

UxDiskData::UxDiskData(const int* dims, int nDataVar, TbPrimType primType, LatticeManager* lattice)
    : UxExternalData(dims, nDataVar, primType), latticeManager(lattice) {
  std::memcpy(boundingBox, kDefaultBox, sizeof boundingBox);
  parameters().bundle("UxExternalData", 1)->set("Blocking", 3, latticeManager->blocking);
}

UxDiskData::~UxDiskData() {
  BlockManager* blocks = latticeManager->blockManager;
  if (blocks && blocks->writable && blocks->validsModified) blocks->writeValids();
  delete latticeManager;
}

TbTypeInfo* UxDiskData::getClassTypeId() {
  static TbTypeInfo type("UxDiskData", nullptr, UxExternalData::getClassTypeId());
  return &type;
}

void UxDiskData::initClass() { getClassTypeId(); }

TbTypeInfo* UxDiskData::getTypeId() const { return getClassTypeId(); }

void UxDiskData::getBoundingBox(float* box) const { std::memcpy(box, boundingBox, sizeof boundingBox); }

int UxDiskData::isWritable() { return latticeManager->blockManager->writable ? 1 : 0; }

bool UxDiskData::canSaveParameters() const { return true; }

void UxDiskData::clear() { latticeManager->clear(); }

int UxDiskData::putBlock(const BlockRequest* request) {
  for (int a = 0; a < 3; ++a) {
    if (request->subsampling[a] != 1) {
      reportMisuse("no subsampling allowed");
      return 0;
    }
  }
  return latticeManager->putBlock(request->data, request->origin, request->size,
                                  request->bufferOrigin, request->bufferSize);
}

int UxDiskData::getBlock(const BlockRequest* request) {
  int levels[3];
  for (int a = 0; a < 3; ++a) {
    levels[a] = levelOfSubsampling(request->subsampling[a]);
    if (levels[a] < 0) {
      reportMisuse("only 2^n subsampling allowed");
      return 0;
    }
  }
  return latticeManager->getBlock(request->data, request->origin, request->size,
                                  request->bufferOrigin, request->bufferSize, levels);
}

void UxDiskData::updateAllLevels() { latticeManager->updateAllLevels(UxWorkArea::getTheWorkArea()); }

void UxDiskData::updateLevelsOver(int slices) {
  latticeManager->updateLevelsOver(slices, UxWorkArea::getTheWorkArea());
}

UxDiskData* UxDiskData::create(const char* filename, const char* dataFilePath, const int* dims,
                               int nDataVar, TbPrimType primType, const float* bbox) {
  if (nDataVar <= 0) {
    reportMisuse("UxDiskData::create ():nDataVar <= 0");
    return nullptr;
  }
  if (LatticeManager::checkShape(dims, kBlocking, nDataVar, primType) != LatticeManager::SHAPE_OK) {
    UxMessage::getTheMsg()->printf("Error: can't create disk data of %d x %d x %d samples of type %d",
                                   dims[0], dims[1], dims[2], static_cast<int>(primType));
    return nullptr;
  }
  TbFilename description = filename ? TbFilename(filename) : askDescriptionName();
  if (description.isEmpty()) return nullptr;
  TbFilename blockFiles = dataFilePath ? TbFilename(dataFilePath) : description;
  const int answer = askOverwrite(description);
  if (answer == 0) return nullptr;

  LatticeManager* lattice = new LatticeManager(dims, kBlocking, nDataVar, primType);
  BlockManager* blocks = createBlockFiles(blockFiles.getString(), *lattice, answer == 2,
                                         answer > 0 ? description.getString() : nullptr);
  if (!blocks) {
    delete lattice;
    return nullptr;
  }
  lattice->setBlockManager(blocks);
  UxDiskData* data = new UxDiskData(lattice->dims, nDataVar, primType, lattice);
  std::memcpy(data->boundingBox, bbox, sizeof data->boundingBox);
  data->dataFilePath = blockFiles;
  data->filename = description;
  if (!data->saveDescription(description.getString(), nullptr)) {
    const int reason = errno ? errno : EIO;
    UxMessage::getTheMsg()->printf("failed to save %s", description.getString());
    UxMessage::getTheMsg()->printf("%s: %s", description.getString(), std::strerror(reason));
    blocks->deleteFiles();
    delete data;
    return nullptr;
  }
  data->setLabel(description.basename());
  data->setModified(0);
  return data;
}
