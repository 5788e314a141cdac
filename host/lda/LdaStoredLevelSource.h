#pragma once
// LdaStoredLevelSource: the regions of a level already stored in an lda
// store, read back through the store's reader so that coarser levels can be
// built from it. Chunks not written (all fill value) read as the fill value.
// open answers null with `why` set when the store cannot be read; read fails
// with a console message naming the chunk that cannot be read or decoded.
#include <memory>
#include <string>

#include "host/lda/LdaSlabSource.h"

class LdaStore;

class LdaStoredLevelSource : public LdaSlabSource {
 public:
  static std::unique_ptr<LdaStoredLevelSource> open(const std::string& folder, int level, std::string& why);
  ~LdaStoredLevelSource() override;

  bool read(const LdaRegion& region, int first, int count, unsigned char* out) override;
  size_t fixedWorkingBytes() const override;
  bool readsWholeSlabs() const override { return true; }
  nlohmann::json describe() const override;

 private:
  LdaStoredLevelSource() = default;
  std::unique_ptr<LdaStore> store;
  int level = 0;
};
