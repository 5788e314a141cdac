#pragma once
// The host's console, where the package prints what a user must read.
#include "host/console/UxMessage.h"

inline UxMessage& console() { return *UxMessage::getTheMsg(); }
