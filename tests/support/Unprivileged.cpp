#include "support/Unprivileged.h"

#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>

int runUnprivileged(const std::function<int()>& check) {
  std::fflush(nullptr);
  pid_t child = fork();
  if (child < 0) return -1;
  if (child == 0) {
    if (geteuid() == 0 && (setgid(65534) != 0 || setuid(65534) != 0)) _exit(100);
    int result = check();
    std::fflush(nullptr);
    _exit(result);
  }
  int status = 0;
  if (waitpid(child, &status, 0) != child || !WIFEXITED(status)) return -1;
  return WEXITSTATUS(status);
}
