#pragma once
// UxPortButtonList: a port of push buttons. A press (hit) lasts until the
// module has computed: wasHit answers true until then, and the module's fire
// clears it. Pressing also marks the port as having a new value.
//
// Nothing here fails: hit on a button that does not exist is ignored, its
// label is "" and it was never hit. Tcl words: hit N (a button that does not
// exist fails), wasHit N, getLabel ?N? (button 0 by default).
#include <vector>

#include "host/base/TbString.h"
#include "host/modules/UxPort.h"

class UxPortButtonList : public UxPort {
 public:
  UxPortButtonList(UxObject* owner, const char* name, int numButtons);

  int getNum() const { return static_cast<int>(buttons.size()); }
  void setLabel(int button, const char* text);
  const char* getLabel(int button) const;

  void hit(int button);
  bool wasHit(int button) const;

  int parse(Tcl_Interp* interp, int argc, char** argv) override;
  void computed() override;

 private:
  struct Button {
    TbString label;
    bool hit = false;
  };
  bool hasButton(int button) const { return button >= 0 && button < getNum(); }

  std::vector<Button> buttons;
};

// The host's "apply" button of a module: one button labelled "Apply".
class UxPortDoIt : public UxPortButtonList {
 public:
  UxPortDoIt(UxObject* owner, const char* name, int numButtons = 1);
};
