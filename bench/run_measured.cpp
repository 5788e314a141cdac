// Runs a command and prints its wall time and peak resident memory, for the
// benchmark scripts (no dependency on an external time program):
//   run_measured COMMAND [ARGS...]   ->   "seconds=S peak_mib=M status=C" on stderr
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>

int main(int argc, char** argv) {
  if (argc < 2) {
    std::fprintf(stderr, "usage: run_measured COMMAND [ARGS...]\n");
    return 2;
  }
  const auto start = std::chrono::steady_clock::now();
  pid_t child = fork();
  if (child == 0) {
    execvp(argv[1], argv + 1);
    std::perror(argv[1]);
    _exit(127);
  }
  int status = 0;
  struct rusage usage {};
  wait4(child, &status, 0, &usage);
  const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  const int code = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  std::fprintf(stderr, "seconds=%.3f peak_mib=%ld status=%d\n", seconds, usage.ru_maxrss / 1024, code);
  return code;
}
