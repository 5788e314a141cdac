#include "host/shell/StdioChannels.h"

#include <tcl.h>

#include <cerrno>
#include <cstdio>

namespace {

int closeStream(ClientData, Tcl_Interp*) { return 0; }

int readNothing(ClientData, char*, int, int* errorCode) {
  *errorCode = EINVAL;
  return -1;
}

int writeToStream(ClientData stream, const char* bytes, int count, int* errorCode) {
  const size_t written = std::fwrite(bytes, 1, static_cast<size_t>(count), static_cast<FILE*>(stream));
  if (written == static_cast<size_t>(count)) return count;
  *errorCode = errno ? errno : EIO;
  return -1;
}

void watchNothing(ClientData, int) {}

int noHandle(ClientData, int, ClientData*) { return TCL_ERROR; }

Tcl_ChannelType stdioChannelType = {
    const_cast<char*>("korinstdio"),
    TCL_CHANNEL_VERSION_5,
    closeStream,
    readNothing,
    writeToStream,
    nullptr,  // seek
    nullptr,  // set option
    nullptr,  // get option
    watchNothing,
    noHandle,
    nullptr,  // close2
    nullptr,  // block mode
    nullptr,  // flush
    nullptr,  // handler
    nullptr,  // wide seek
    nullptr,  // thread action
    nullptr,  // truncate
};

void replaceStandardChannel(const char* name, FILE* stream, int which) {
  Tcl_Channel channel = Tcl_CreateChannel(&stdioChannelType, name, stream, TCL_WRITABLE);
  // C stdio buffers already; a second buffer here would reorder the output.
  Tcl_SetChannelOption(nullptr, channel, "-buffering", "none");
  Tcl_SetStdChannel(channel, which);
}

}  // namespace

void routeTclChannelsThroughStdio() {
  replaceStandardChannel("stdout", stdout, TCL_STDOUT);
  replaceStandardChannel("stderr", stderr, TCL_STDERR);
}
