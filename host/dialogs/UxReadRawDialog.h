#pragma once
// UxReadRawDialog: asks how to read raw data files: dimensions, element type,
// components per element, header bytes, byte order and bounding box.
//
// A batch run never waits: exec takes the oldest "raw" answer queued in
// UxBatchAnswers. Its words are options in any order, each optional:
//   -dims X Y Z  -ptype TYPE  -ndatavar N  -header BYTES
//   -endianess little|big  -bbox XMIN XMAX YMIN YMAX ZMIN ZMAX
// or the single word cancel. With none queued the dialog counts as cancelled.
// An answer it cannot read (an unknown option, a missing or bad value) is
// reported on the console and also counts as cancelled. Only when the shell
// is interactive and standard input is a terminal does it ask on the
// terminal, in the same words. The console says what was asked and which
// answer was taken. After every exec the getters give the answer's values,
// or the defaults (dims 0 0 0, uint8, 1 component, no header, little-endian,
// box 0 1 0 1 0 1) for what it left out or when it was cancelled.
#include <string>
#include <vector>

#include "host/base/TbPrimType.h"

class UxReadRawDialog {
 public:
  enum { Rejected = 0, Accepted = 1 };

  // The argument is the full host's window flags; this host opens no window.
  explicit UxReadRawDialog(int flags = 0);

  void setNumFiles(int count) { numFiles = count; }
  void setFilesize(long long bytes) { fileSize = bytes; }

  int exec();

  TbPrimType getPrimType() const { return settings.primType; }
  int getNDataVar() const { return settings.nDataVar; }
  void getDims(int* dims) const;
  int getHeaderBytes() const { return settings.headerBytes; }
  void getMinMax(float* box) const;
  bool isBigEndian() const { return settings.bigEndian; }

  // What an answer sets; the defaults are the dialog's.
  struct Settings {
    TbPrimType primType = TbPrimType::UINT8;
    int nDataVar = 1;
    int dims[3] = {0, 0, 0};
    int headerBytes = 0;
    bool bigEndian = false;
    float box[6] = {0, 1, 0, 1, 0, 1};
  };

 private:
  int answerFrom(const std::vector<std::string>& words, const char* source);
  bool askTerminal(std::vector<std::string>& words);
  std::string describeSettings() const;

  int numFiles = 0;
  long long fileSize = 0;
  Settings settings;
};
