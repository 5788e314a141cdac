#pragma once
// Makes Tcl's stdout and stderr write through C stdio, the console's own
// route, so that `puts` and console messages come out in the order they were
// made. Call it before the first interpreter is created; it cannot fail.

void routeTclChannelsThroughStdio();
