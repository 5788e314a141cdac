#pragma once
// UxPortMultiMenu: a port of one or more option menus, each with an index
// naming its current entry.
//
// Nothing here fails. An index is kept as given even beyond the menu's
// entries (a package may select an entry it has not labelled); getLabel of an
// entry that does not exist, or of a menu that does not exist, is "" and
// getIndex/getNum of a missing menu are 0. setLabel beyond the entries is
// ignored: setNum decides how many there are. setNum on a menu beyond the last
// adds empty menus up to it; negative menus are ignored.
//
// Tcl words (menu 0): setIndex N and setValue N (the same), getValue (the
// index), getLabel ?N? (the current entry's by default), getLabels.
#include <vector>

#include "host/base/TbString.h"
#include "host/modules/UxPort.h"

class UxPortMultiMenu : public UxPort {
 public:
  UxPortMultiMenu(UxObject* owner, const char* name, int numEntries);

  void setNum(int menu, int numEntries);
  void setNum(int numEntries) { setNum(0, numEntries); }
  int getNum(int menu = 0) const;
  int numMenus() const { return static_cast<int>(menus.size()); }

  void setLabel(int menu, int entry, const char* text);
  void setLabel(int entry, const char* text) { setLabel(0, entry, text); }
  const char* getLabel(int menu, int entry) const;

  void setIndex(int entry) { setIndex(0, entry); }
  void setIndex(int menu, int entry);
  int getIndex(int menu = 0) const;

  int parse(Tcl_Interp* interp, int argc, char** argv) override;

 private:
  struct Menu {
    int index = 0;
    std::vector<TbString> labels;
  };
  bool hasMenu(int menu) const { return menu >= 0 && menu < numMenus(); }

  std::vector<Menu> menus;
};
