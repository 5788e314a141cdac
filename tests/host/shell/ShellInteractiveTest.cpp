// The shell at a terminal: it prompts, prints results and errors, and keeps
// going after an error until the input ends.
#include <gtest/gtest.h>

#include <pty.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <string>

#include "KorinProcess.h"

namespace {

struct TerminalRun {
  int status = -1;
  std::string screen;
};

// Types the whole input at once and reads the screen until the shell exits.
// The terminal echoes the input, so the screen holds both sides.
TerminalRun runAtTerminal(const std::string& typed) {
  TerminalRun result;
  int terminal = -1;
  const pid_t child = forkpty(&terminal, nullptr, nullptr, nullptr);
  if (child < 0) return result;
  if (child == 0) {
    setenv("KORIN_PACKAGE_PATH", "", 1);
    unsetenv("DISPLAY");
    const std::string korin = KorinProcess::executable();
    execl(korin.c_str(), korin.c_str(), static_cast<char*>(nullptr));
    _exit(127);
  }
  if (write(terminal, typed.data(), typed.size()) < 0) return result;
  char buffer[4096];
  for (;;) {
    const ssize_t got = read(terminal, buffer, sizeof buffer);
    if (got > 0) {
      result.screen.append(buffer, static_cast<size_t>(got));
    } else if (got < 0 && errno == EINTR) {
      continue;
    } else {
      break;  // EIO once the shell has gone
    }
  }
  close(terminal);
  int waitStatus = 0;
  waitpid(child, &waitStatus, 0);
  result.status = WIFEXITED(waitStatus) ? WEXITSTATUS(waitStatus) : 128 + WTERMSIG(waitStatus);
  return result;
}

// The session is marked interactive; the shell prompts (with a continuation
// prompt until a command is complete), prints results and errors, and keeps
// going after an error until the input ends.
TEST(ShellInteractive, PromptsAnswersAndSurvivesErrors) {
  // \x04 at the start of a line is the terminal's end of input.
  // Outputs are made so that the echoed input cannot contain them.
  const TerminalRun run = runAtTerminal(
      "set x 6\nexpr {$x * 7}\nerror [string cat oo ps]\nif {1} {\nputs [string toupper in]\n}\n"
      "puts [string repeat $tcl_interactive 3]\n\x04");
  EXPECT_EQ(run.status, 0) << run.screen;
  for (const char* shown : {"korin> ", "42\r\n", "oops\r\n", "> IN\r\n", "111\r\n"})
    EXPECT_NE(run.screen.find(shown), std::string::npos) << shown << " in " << run.screen;
}

}  // namespace
