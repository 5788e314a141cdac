#include "blockstore/SetCheck.h"

#include "host/base/TbFileIO.h"
#include "blockstore/LatticeManager.h"
#include "host/base/TbAssertionHandlerInit.h"

namespace {
TbAssertionHandlerInit assertionHandler;

SetCheck::File fileOf(BlockManager& blocks, int n) {
  const std::string name = blocks.nameOf(n);
  return {name, blocks.fileBytes(n), TbFileIO::current().size(name.c_str())};
}
}  // namespace

bool SetCheck::filesComplete() const {
  for (const File& f : blockFiles)
    if (f.actual < f.expected) return false;
  return validFlagFile.actual == validFlagFile.expected;
}

bool SetCheck::complete() const {
  for (const Level& l : coarseLevels)
    if (l.outOfDate) return false;
  return filesComplete() && neverWrittenLevel0 == 0;
}

SetCheck checkSet(LatticeManager& lattice) {
  SetCheck check;
  BlockManager& blocks = *lattice.blockManager;
  for (int n = 0; n < blocks.numFiles(); ++n) check.blockFiles.push_back(fileOf(blocks, n));
  check.validFlagFile = fileOf(blocks, -1);
  check.level0Blocks = lattice.blocksAtLevel(0);
  check.neverWrittenLevel0 = lattice.blocksNotCurrent(0);
  for (int level = 1; level < lattice.numLevels; ++level)
    check.coarseLevels.push_back({level, lattice.blocksNotCurrent(level), lattice.blocksAtLevel(level)});
  check.intentRecordFound = blocks.intentFound != IntentRecord::ABSENT;
  return check;
}
