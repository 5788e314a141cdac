#pragma once
// LdaStoreFolder: where a new lda store is written until it is complete.
//
// The store is written into a temporary folder beside the output (its name
// followed by ".writing-PID") and moved into place by commit, which replaces
// an existing output (folder or file) whole: the two are exchanged in one
// step where the file system allows it, and the old one is removed after.
// A failure or a cancel therefore never leaves a half store under the
// output's name, nor touches an existing one. Until commit the destructor
// removes the temporary folder with everything in it. create and commit
// answer false with `why` set (the path and the system's reason).
#include <string>

class LdaStoreFolder {
 public:
  explicit LdaStoreFolder(std::string output);
  ~LdaStoreFolder();
  LdaStoreFolder(const LdaStoreFolder&) = delete;
  LdaStoreFolder& operator=(const LdaStoreFolder&) = delete;

  bool create(std::string& why);
  const std::string& path() const { return temporary; }
  bool commit(std::string& why);

 private:
  const std::string output;
  const std::string temporary;
  bool created = false;
};

// Makes the folder `key` below `root` unless it exists; false with `why` set
// (the key and the system's reason).
bool makeStoreSubfolder(const std::string& root, const std::string& key, std::string& why);
// Removes a file, or a folder with everything in it; true when nothing is left.
bool removeStoreTree(const std::string& path);
