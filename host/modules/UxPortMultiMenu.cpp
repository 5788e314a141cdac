#include "host/modules/UxPortMultiMenu.h"

#include "host/objects/UxCmdInfo.h"

namespace {

int setIndexCommand(UxPortMultiMenu& port, Tcl_Interp* interp, int, char** argv) {
  int index = 0;
  if (!parseIntWord(interp, argv[1], "index", argv[2], &index)) return TCL_ERROR;
  if (index < 0) {
    Tcl_VaSetResult(interp, "%s: bad index \"%s\": expected 0 or more", argv[1], argv[2]);
    return TCL_ERROR;
  }
  port.setIndex(index);
  port.touch();
  return TCL_OK;
}

int getValueCommand(UxPortMultiMenu& port, Tcl_Interp* interp, int, char**) {
  Tcl_SetObjResult(interp, Tcl_NewIntObj(port.getIndex(0)));
  return TCL_OK;
}

int getLabelCommand(UxPortMultiMenu& port, Tcl_Interp* interp, int argc, char** argv) {
  int entry = port.getIndex(0);
  if (argc > 2 && !parseIntWord(interp, "getLabel", "entry", argv[2], &entry)) return TCL_ERROR;
  Tcl_SetObjResult(interp, Tcl_NewStringObj(port.getLabel(0, entry), -1));
  return TCL_OK;
}

int getLabelsCommand(UxPortMultiMenu& port, Tcl_Interp* interp, int, char**) {
  Tcl_Obj* labels = Tcl_NewListObj(0, nullptr);
  for (int i = 0; i < port.getNum(0); ++i)
    Tcl_ListObjAppendElement(nullptr, labels, Tcl_NewStringObj(port.getLabel(0, i), -1));
  Tcl_SetObjResult(interp, labels);
  return TCL_OK;
}

const UxCommandEntry<UxPortMultiMenu> kMenuCommands[] = {
    {"setIndex", 1, 1, "N", setIndexCommand},
    {"setValue", 1, 1, "N", setIndexCommand},
    {"getValue", 0, 0, "", getValueCommand},
    {"getLabel", 0, 1, "?N?", getLabelCommand},
    {"getLabels", 0, 0, "", getLabelsCommand},
};

}  // namespace

UxPortMultiMenu::UxPortMultiMenu(UxObject* owner, const char* name, int numEntries)
    : UxPort(owner, name) {
  setNum(0, numEntries);
}

void UxPortMultiMenu::setNum(int menu, int numEntries) {
  if (menu < 0) return;
  if (menu >= numMenus()) menus.resize(menu + 1);
  menus[menu].labels.resize(numEntries > 0 ? numEntries : 0);
}

int UxPortMultiMenu::getNum(int menu) const {
  return hasMenu(menu) ? static_cast<int>(menus[menu].labels.size()) : 0;
}

void UxPortMultiMenu::setLabel(int menu, int entry, const char* text) {
  if (!hasMenu(menu) || entry < 0 || entry >= getNum(menu)) return;
  menus[menu].labels[entry] = text;
}

const char* UxPortMultiMenu::getLabel(int menu, int entry) const {
  if (!hasMenu(menu) || entry < 0 || entry >= getNum(menu)) return "";
  return menus[menu].labels[entry].getString();
}

void UxPortMultiMenu::setIndex(int menu, int entry) {
  if (hasMenu(menu)) menus[menu].index = entry;
}

int UxPortMultiMenu::getIndex(int menu) const { return hasMenu(menu) ? menus[menu].index : 0; }

int UxPortMultiMenu::parse(Tcl_Interp* interp, int argc, char** argv) {
  const int handled = dispatchCommand(kMenuCommands, *this, interp, argc, argv);
  if (handled >= 0) return handled;
  return UxPort::parse(interp, argc, argv);
}
