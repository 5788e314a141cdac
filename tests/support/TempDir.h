#pragma once
// A fresh folder under $TMPDIR (or /tmp) for one test, removed with its contents
// when the object goes away. Tests write real files here.
#include <string>

class TempDir {
 public:
  TempDir();
  // Under `base` when it is a folder (such as /dev/shm, for tests that make
  // and remove thousands of files), else as above.
  explicit TempDir(const char* base);
  ~TempDir();
  TempDir(const TempDir&) = delete;
  TempDir& operator=(const TempDir&) = delete;

  const std::string& path() const { return dir; }
  std::string file(const std::string& name) const { return dir + "/" + name; }

 private:
  std::string dir;
};

// Whole content of a file ("" when it cannot be read).
std::string readWholeFile(const std::string& path);
void writeWholeFile(const std::string& path, const std::string& bytes);
bool fileExists(const std::string& path);
long long sizeOfFile(const std::string& path);
