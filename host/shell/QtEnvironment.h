#pragma once
// Prepares the environment before the shell makes its Qt application object,
// so that a run without a display neither aborts nor litters the log:
// QT_QPA_PLATFORM=offscreen when neither DISPLAY nor WAYLAND_DISPLAY is set,
// XDG_RUNTIME_DIR pointing at a private (0700) folder when unset, and
// QT_LOGGING_RULES silencing Qt's default warnings when unset. Values the
// user set are kept. Failing to make the folder leaves the variable unset.

void prepareQtEnvironment();
