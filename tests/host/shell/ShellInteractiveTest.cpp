// The shell at a terminal: it prompts, prints results and errors, and keeps
// going after an error until the input ends.
#include <gtest/gtest.h>

#include <string>

#include "KorinProcess.h"

namespace {

// The session is marked interactive; the shell prompts (with a continuation
// prompt until a command is complete), prints results and errors, and keeps
// going after an error until the input ends. The terminal echoes the input,
// so the screen holds both sides: the outputs are made so that the echoed
// input cannot contain them.
TEST(ShellInteractive, PromptsAnswersAndSurvivesErrors) {
  // \x04 at the start of a line is the terminal's end of input.
  const ShellRun run = KorinProcess()
                           .atTerminal()
                           .input("set x 6\nexpr {$x * 7}\nerror [string cat oo ps]\nif {1} {\n"
                                  "puts [string toupper in]\n}\nputs [string repeat $tcl_interactive 3]\n\x04")
                           .run({});
  EXPECT_EQ(run.status, 0) << run.out;
  for (const char* shown : {"korin> 42\r\n", "korin> oops\r\n", "korin> > > IN\r\n", "korin> 111\r\n"})
    EXPECT_NE(run.out.find(shown), std::string::npos) << shown << " in " << run.out;
}

}  // namespace
