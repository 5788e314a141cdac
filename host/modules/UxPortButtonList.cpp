#include "host/modules/UxPortButtonList.h"

#include "host/objects/UxCmdInfo.h"

namespace {

bool parseButton(Tcl_Interp* interp, const char* command, const char* word, int* button) {
  return parseIntWord(interp, command, "button", word, button) != 0;
}

int hitCommand(UxPortButtonList& port, Tcl_Interp* interp, int, char** argv) {
  int button = 0;
  if (!parseButton(interp, "hit", argv[2], &button)) return TCL_ERROR;
  if (button < 0 || button >= port.getNum()) {
    Tcl_VaSetResult(interp, "hit: bad button \"%s\": expected 0..%d", argv[2], port.getNum() - 1);
    return TCL_ERROR;
  }
  port.hit(button);
  return TCL_OK;
}

int wasHitCommand(UxPortButtonList& port, Tcl_Interp* interp, int, char** argv) {
  int button = 0;
  if (!parseButton(interp, "wasHit", argv[2], &button)) return TCL_ERROR;
  Tcl_SetObjResult(interp, Tcl_NewBooleanObj(port.wasHit(button)));
  return TCL_OK;
}

int getLabelCommand(UxPortButtonList& port, Tcl_Interp* interp, int argc, char** argv) {
  int button = 0;
  if (argc > 2 && !parseButton(interp, "getLabel", argv[2], &button)) return TCL_ERROR;
  Tcl_SetObjResult(interp, Tcl_NewStringObj(port.getLabel(button), -1));
  return TCL_OK;
}

const UxCommandEntry<UxPortButtonList> kButtonCommands[] = {
    {"hit", 1, 1, "N", hitCommand},
    {"wasHit", 1, 1, "N", wasHitCommand},
    {"getLabel", 0, 1, "?N?", getLabelCommand},
};

}  // namespace

UxPortButtonList::UxPortButtonList(UxObject* owner, const char* name, int numButtons)
    : UxPort(owner, name), buttons(numButtons > 0 ? numButtons : 0) {}

void UxPortButtonList::setLabel(int button, const char* text) {
  if (hasButton(button)) buttons[button].label = text;
}

const char* UxPortButtonList::getLabel(int button) const {
  return hasButton(button) ? buttons[button].label.getString() : "";
}

void UxPortButtonList::hit(int button) {
  if (!hasButton(button)) return;
  buttons[button].hit = true;
  touch();
}

bool UxPortButtonList::wasHit(int button) const { return hasButton(button) && buttons[button].hit; }

void UxPortButtonList::computed() {
  for (Button& button : buttons) button.hit = false;
  UxPort::computed();
}

int UxPortButtonList::parse(Tcl_Interp* interp, int argc, char** argv) {
  const int handled = dispatchCommand(kButtonCommands, *this, interp, argc, argv);
  if (handled >= 0) return handled;
  return UxPort::parse(interp, argc, argv);
}

UxPortDoIt::UxPortDoIt(UxObject* owner, const char* name, int numButtons)
    : UxPortButtonList(owner, name, numButtons) {
  setLabel(0, "Apply");
}
