#include "host/modules/UxSkin.h"

UxSkin* UxSkin::getGlobalInstance() {
  // Never destroyed: packages may still ask for the name while the process ends.
  static UxSkin* const theSkin = new UxSkin();
  return theSkin;
}
