#include <fcntl.h>
#include <unistd.h>
#include <chrono>
#include "ConvertTestSupport.h"
#include "support/ConsoleCapture.h"
#include "support/TempDir.h"
using namespace convert_test;
TEST(Probe, Big) {
  TempDir dir;
  const int nx = 8192, ny = 16385, nz = 2;
  const int64_t slice = int64_t(nx) * ny * 2;
  std::string input = dir.file("huge.raw");
  int fd = open(input.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
  ftruncate(fd, slice * nz); close(fd);
  UxConvertToDiskData m; Interpreter tcl; ConsoleCapture console;
  auto t0 = std::chrono::steady_clock::now();
  auto r = tcl.convert(m, std::vector<std::string>{"-format", "Raw Data", "-lda", dir.file("out")} + rawWords(nx, ny, nz, "uint16", 1, 0, "little", {input}));
  auto t1 = std::chrono::steady_clock::now();
  std::cerr << "convert " << std::chrono::duration<double>(t1 - t0).count() << "\n";
  system(("ls -las " + dir.path()).c_str());
}
