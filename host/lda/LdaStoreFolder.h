#pragma once
// LdaStoreFolder: where a new lda store is written until it is complete, and
// how it replaces the output so that a power cut at any moment leaves either
// the old output whole or the new store whole.
//
// The store is written into a temporary folder beside the output (its name
// followed by ".writing-PID"); makeFolder makes the folders below it and
// remembers them. commit makes the new tree durable (every folder synced: the
// caller has synced every file in it), then puts it at the output's name in
// one step (exchanged with an existing output where the file system allows,
// else the old output is first renamed aside), syncs the parent folder, and
// only then removes the old output. A failure or a cancel never leaves a half
// store under the output's name, nor touches an existing one. Until commit
// the destructor removes the temporary folder with everything in it; create
// removes what a dead earlier run left beside the output. Every file call
// goes through the file seam. create, makeFolder and commit answer false
// with `why` set (the path and the system's reason).
//
// A conversion spread over processes (LdaJob) names the folder itself, makes
// it in one process and writes and commits it in others: `keep` leaves the
// folder to the caller when the object goes away, and `adoptTree` takes up
// the folders other processes made, so that commit syncs them too.
#include <set>
#include <string>

class LdaStoreFolder {
 public:
  explicit LdaStoreFolder(std::string output);
  LdaStoreFolder(std::string output, std::string folder);
  ~LdaStoreFolder();
  LdaStoreFolder(const LdaStoreFolder&) = delete;
  LdaStoreFolder& operator=(const LdaStoreFolder&) = delete;

  bool create(std::string& why);
  const std::string& path() const { return temporary; }
  // Makes `key` (and the folders leading to it) below the temporary folder
  // unless it was made already.
  bool makeFolder(const std::string& key, std::string& why);
  bool commit(std::string& why);
  void keep() { created = false; }
  bool adoptTree(std::string& why);

 private:
  void removeLeftovers() const;
  bool adopt(const std::string& key, std::string& why);
  bool syncFolders(std::string& why) const;
  bool putInPlace(std::string& why);

  const std::string output;
  const std::string temporary;
  std::set<std::string> folders;  // made below the temporary folder
  bool created = false;
};

// Removes a file, or a folder with everything in it, through the file seam;
// true when nothing is left.
bool removeStoreTree(const std::string& path);
