#include "host/base/TbAssertionHandlerInit.h"

#include <cstdio>
#include <cstdlib>

#include "host/console/UxMessage.h"

namespace {

// Before any package file has set things up, the console may not be usable yet.
[[noreturn]] void bareHandler(const char* text, const char* file, int line) {
  std::fprintf(stderr, "assertion failed: %s (%s:%d)\n", text, file, line);
  std::abort();
}

[[noreturn]] void hostHandler(const char* text, const char* file, int line) {
  UxMessage::getTheMsg()->printf("assertion failed: %s (%s:%d)", text, file, line);
  std::abort();
}

int instances = 0;
TbAssertionHandlerInit::Handler handler = bareHandler;

}  // namespace

TbAssertionHandlerInit::TbAssertionHandlerInit() {
  if (instances++ == 0) handler = hostHandler;
}

TbAssertionHandlerInit::~TbAssertionHandlerInit() {
  if (--instances == 0) handler = bareHandler;
}

TbAssertionHandlerInit::Handler TbAssertionHandlerInit::currentHandler() { return handler; }

int TbAssertionHandlerInit::numInstances() { return instances; }

void tbAssertionFailed(const char* text, const char* file, int line) {
  handler(text ? text : "", file ? file : "?", line);
  std::abort();  // a handler that returns anyway must not let the caller go on
}
