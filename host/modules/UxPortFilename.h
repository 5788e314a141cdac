#pragma once
// UxPortFilename: a port holding one file name, or several in MULTI_FILE mode.
//
// The port holds names, the first being its current one, and what
// UxFileFormat::recognize made of them, refreshed whenever names are set:
// getFormatLabel(i) is always the label of getFilename(i), and the labels stop
// before the first file that is not recognised. So there are as many labels
// as names when every file was recognised, fewer otherwise, and none when the
// first file was not.
//
// The mode guides the file dialog only: names are taken as given, whether or
// not the files exist. Nothing here fails except Tcl words, which set a
// message: setValue NAME ... (any number in MULTI_FILE mode, exactly one
// otherwise; "" clears), getValue (a list), getFormats (a list), browse (asks
// through UxFileDialog, which a batch run answers from its "file" queue).
#include "host/base/TbDArray.h"
#include "host/base/TbString.h"
#include "host/modules/UxPort.h"

class UxPortFilename : public UxPort {
 public:
  enum Mode { ANY_FILE = 0, EXISTING_FILE = 1, MULTI_FILE = 2 };

  UxPortFilename(UxObject* owner, const char* name, Mode mode);

  Mode getMode() const { return mode; }

  // A file type offered by the dialog; kept in the order registered.
  void registerFileType(const char* label, const char* extension, int flags = 0);
  void clearFileTypes();
  int numFileTypes() const { return typeLabels.size(); }
  const char* fileTypeLabel(int index) const;
  const char* fileTypeExtension(int index) const;

  // Replaces all names with this one; null or "" clears them. The second
  // argument is a format hint in the full host; here the files speak for
  // themselves, so it is not used.
  void setFilename(const char* name, const char* hint = nullptr);
  // Replaces all names (only the first one unless in MULTI_FILE mode).
  void setFilenames(const char* const* names, int count);
  // "" when there is no name at that index.
  const char* getFilename(int index = 0) const;
  int getNum() const { return filenames.size(); }
  // "" when there is no label at that index.
  const char* getFormatLabel(int index = 0) const;
  int getNumFormatLabels() const { return formatLabels.size(); }

  int parse(Tcl_Interp* interp, int argc, char** argv) override;

  // Posts the file dialog (open, or open several in MULTI_FILE mode) and takes
  // its names; 1 when names were taken, 0 when the dialog was cancelled.
  int browse();

 private:
  void recognizeFormats();

  TbDArray<TbString> filenames;
  TbDArray<TbString> formatLabels;
  Mode mode;
  TbDArray<TbString> typeLabels;
  TbDArray<TbString> typeExtensions;
};
