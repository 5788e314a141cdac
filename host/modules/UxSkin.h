#pragma once
// UxSkin: how the host presents itself, such as the product name that
// dialogs and messages use. There is one instance for the whole process,
// made on first use and never destroyed; nothing here fails.
#include "host/base/TbString.h"

class UxSkin {
 public:
  static UxSkin* getGlobalInstance();

  TbString productName = "Korin";

 private:
  UxSkin() = default;
};
