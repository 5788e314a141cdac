#pragma once
// Host tests include the console capture by this short name; the one capture
// shared by all test folders lives in tests/support.
#include "support/ConsoleCapture.h"
