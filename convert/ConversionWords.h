#pragma once
// The words of the converter's command convertToDiskData:
//   MODULE convertToDiskData -format LABEL -lda OUTPUT [options] WORDS...
// Options follow the output name and are recognised only in the order
// -tilesize, -bordersize, -compressor, -s; the first word that is not the next
// option ends them. The words after them are the input list and the words
// handed to the readers.
#include <string>
#include <vector>

#include "convert/InputList.h"
#include "host/base/TbString.h"

// What the words said; what they leave open the ports fill in.
struct ConversionSettings {
  TbString format;
  std::string outName;
  bool outNameGiven = false;
  int tileSize = 0;
  int borderSize = 0;
  int samplingType = -1;
  const char* compressor = nullptr;
  bool compressorNamed = false;
  std::vector<char*> words;  // the command's words; options are taken out of it
  int argc = 0;              // words handed to the readers
  char** argv = nullptr;
};

// Reads the words into `settings` and copies the input words into `inputs`;
// 1 to go on, 0 for a refused command (message printed).
int readCommandWords(ConversionSettings& settings, int argc, char** argv, InputList& inputs);
