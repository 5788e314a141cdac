#pragma once
// SetCheck: what a block file set holds, as a user checking a set wants to
// know it: the files with their expected and actual lengths, the full-resolution
// blocks never written, the coarse blocks out of date per level, and whether an
// intent record of an interrupted session was found when the set was opened.
// Reads only file lengths and the flags in memory; never fails, prints nothing.
#include <cstdint>
#include <string>
#include <vector>

#include "package/PackageExport.h"

class LatticeManager;

struct SetCheck {
  struct File {
    std::string name;
    int64_t expected;
    int64_t actual;  // -1 when the file is missing
  };
  struct Level {
    int level;
    int outOfDate;
    int blocks;
  };
  std::vector<File> blockFiles;
  File validFlagFile;
  int neverWrittenLevel0 = 0;
  int level0Blocks = 0;
  std::vector<Level> coarseLevels;  // levels 1 .. numLevels-1
  bool intentRecordFound = false;

  bool filesComplete() const;
  // Every file as long as it should be, every full-resolution block written
  // and every coarse block current.
  bool complete() const;
};

UXDD_API SetCheck checkSet(LatticeManager& lattice);
