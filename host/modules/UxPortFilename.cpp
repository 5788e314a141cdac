#include "host/modules/UxPortFilename.h"

#include "host/objects/UxCmdInfo.h"
#include "host/dialogs/UxFileDialog.h"
#include "host/formats/UxFileFormat.h"

namespace {

// The port's names, or their format labels, as a Tcl list.
Tcl_Obj* listOf(const UxPortFilename& port, const char* (UxPortFilename::*item)(int) const, int count) {
  Tcl_Obj* list = Tcl_NewListObj(0, nullptr);
  for (int i = 0; i < count; ++i)
    Tcl_ListObjAppendElement(nullptr, list, Tcl_NewStringObj((port.*item)(i), -1));
  return list;
}

int setValueCommand(UxPortFilename& port, Tcl_Interp* interp, int argc, char** argv) {
  const bool multi = port.getMode() == UxPortFilename::MULTI_FILE;
  if (!multi && argc != 3) return usageError(interp, "setValue", "NAME");
  port.setFilenames(argv + 2, argc - 2);
  port.touch();
  return TCL_OK;
}

int getValueCommand(UxPortFilename& port, Tcl_Interp* interp, int, char**) {
  Tcl_SetObjResult(interp, listOf(port, &UxPortFilename::getFilename, port.getNum()));
  return TCL_OK;
}

int getFormatsCommand(UxPortFilename& port, Tcl_Interp* interp, int, char**) {
  Tcl_SetObjResult(interp, listOf(port, &UxPortFilename::getFormatLabel, port.getNumFormatLabels()));
  return TCL_OK;
}

int browseCommand(UxPortFilename& port, Tcl_Interp* interp, int, char**) {
  Tcl_SetObjResult(interp, Tcl_NewIntObj(port.browse()));
  return TCL_OK;
}

const UxCommandEntry<UxPortFilename> kFilenameCommands[] = {
    {"setValue", 0, 1 << 30, "?NAME ...?", setValueCommand},
    {"getValue", 0, 0, "", getValueCommand},
    {"getFormats", 0, 0, "", getFormatsCommand},
    {"browse", 0, 0, "", browseCommand},
};

}  // namespace

UxPortFilename::UxPortFilename(UxObject* owner, const char* name, Mode portMode)
    : UxPort(owner, name), mode(portMode) {}

void UxPortFilename::registerFileType(const char* label, const char* extension, int) {
  typeLabels.append(TbString(label));
  typeExtensions.append(TbString(extension));
}

void UxPortFilename::clearFileTypes() {
  typeLabels.clear();
  typeExtensions.clear();
}

const char* UxPortFilename::fileTypeLabel(int index) const {
  return index >= 0 && index < typeLabels.size() ? typeLabels[index].getString() : "";
}

const char* UxPortFilename::fileTypeExtension(int index) const {
  return index >= 0 && index < typeExtensions.size() ? typeExtensions[index].getString() : "";
}

void UxPortFilename::setFilename(const char* name, const char*) { setFilenames(&name, 1); }

void UxPortFilename::setFilenames(const char* const* names, int count) {
  filenames.clear();
  if (mode != MULTI_FILE && count > 1) count = 1;
  for (int i = 0; i < count; ++i)
    if (names[i] && *names[i]) filenames.append(TbString(names[i]));
  recognizeFormats();
}

const char* UxPortFilename::getFilename(int index) const {
  return index >= 0 && index < filenames.size() ? filenames[index].getString() : "";
}

const char* UxPortFilename::getFormatLabel(int index) const {
  return index >= 0 && index < formatLabels.size() ? formatLabels[index].getString() : "";
}

void UxPortFilename::recognizeFormats() {
  formatLabels.clear();
  for (int i = 0; i < filenames.size(); ++i) {
    const char* label = UxFileFormat::recognize(filenames[i].getString());
    if (!label) return;
    formatLabels.append(TbString(label));
  }
}

int UxPortFilename::browse() {
  UxFileDialog dialog;
  dialog.setDialogUsage(mode == MULTI_FILE ? UxFileDialog::OPEN_FILES : UxFileDialog::OPEN_FILE);
  dialog.setTitle(getName());
  if (!dialog.postAndWait()) return 0;
  TbDArray<const char*> names;
  for (int i = 0; i < dialog.getNumFileNames(); ++i) names.append(dialog.getFileName(i));
  setFilenames(names.dataPtr(), names.size());
  touch();
  return 1;
}

int UxPortFilename::parse(Tcl_Interp* interp, int argc, char** argv) {
  const int handled = dispatchCommand(kFilenameCommands, *this, interp, argc, argv);
  if (handled >= 0) return handled;
  return UxPort::parse(interp, argc, argv);
}
