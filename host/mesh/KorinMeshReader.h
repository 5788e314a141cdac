#pragma once
// KorinMeshReader: builds a KorinMesh from an open file.
//
// read() returns a new mesh, or null for anything it does not understand or
// cannot find in full: a foreign first line, an unknown version, statement,
// type or key, a section on an undeclared location, a bundle left open, data
// markers out of order, data shorter than declared, numbers out of range for
// their type, an encoded section that does not decode to the declared size.
// With recordOnly it loads no data but still checks that every section's
// bytes are present and records where they are. Bundles nest at most
// kMostNestedBundles deep, and a compressed section may declare at most what
// its stored bytes can inflate to, so a crafted file is refused before any
// deep recursion or large allocation.
#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "host/mesh/KorinMesh.h"

struct z_stream_s;

class KorinMeshReader {
 public:
  static const size_t kMostNestedBundles = 64;

  // fileSize: the bytes of the (regular) file behind `file`.
  KorinMeshReader(FILE* file, int64_t fileSize, TbProgressInterface* progress);
  KorinMesh* read(const char* path, bool recordOnly);

 private:
  using DataSection = KorinMesh::DataSection;

  bool readContent();
  bool readFirstLine();
  bool readHeader();
  bool readStatement(const std::vector<std::string>& tokens);
  bool readParameter(const std::vector<std::string>& tokens);
  bool readLocation(const std::vector<std::string>& tokens);
  bool readSection(const std::vector<std::string>& tokens);
  bool readAllData();
  bool readMarker(int index);
  bool readSectionData(DataSection& section);
  bool readRaw(DataSection& section, int64_t start);
  bool readZlib(DataSection& section, int64_t start);
  bool inflateFromFile(z_stream_s& stream, int64_t compressedBytes, int64_t total);
  bool readText(DataSection& section, int64_t start);
  bool isPresent(int64_t start, int64_t bytes) const;
  bool skipStored(int64_t start, int64_t bytes);
  void toMachineOrder(DataSection& section);
  bool readLine(std::string& line, size_t limit);
  bool nextWord(std::string& word);
  void showProgress();

  FILE* file;
  TbProgressInterface* progress;
  int64_t fileSize = 0;
  bool recordOnly = false;
  std::unique_ptr<KorinMesh> mesh;
  std::vector<UxParamBundle*> openBundles;  // innermost last; the mesh first
  std::vector<std::string> firstMarker;     // the data line that ended the header
};
