#pragma once
// TbAssertionHandlerInit: makes sure the host's assertion handler is in place.
//
// Every package source file holds one static instance. The first instance to
// be constructed installs the host's handler, which writes the failed
// condition with its file and line to the console and aborts; when the last
// instance goes away the bare handler (standard error, abort) is back. Failures
// are reported through tbAssert(condition, text), which costs one test when
// the condition holds. Nothing here allocates.

class TbAssertionHandlerInit {
 public:
  typedef void (*Handler)(const char* text, const char* file, int line);  // must not return

  TbAssertionHandlerInit();
  ~TbAssertionHandlerInit();
  TbAssertionHandlerInit(const TbAssertionHandlerInit&) = delete;
  TbAssertionHandlerInit& operator=(const TbAssertionHandlerInit&) = delete;

  static Handler currentHandler();
  static int numInstances();
};

// Reports a failed assertion through the current handler; does not return.
[[noreturn]] void tbAssertionFailed(const char* text, const char* file, int line);

#define tbAssert(condition, text) \
  ((condition) ? static_cast<void>(0) : tbAssertionFailed((text), __FILE__, __LINE__))
