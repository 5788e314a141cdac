#pragma once
// KorinMeshWriter: puts a KorinMesh into an open file, header then data.
//
// write() returns false as soon as the file refuses bytes, a buffer cannot be
// had, or compression fails; what is in the file then is incomplete, which is
// why KorinMesh::write hands it a temporary file. canWrite tells beforehand
// whether the encoding is known and every section has data to write.
// In a text file every section is written as plain values (marker 0).
#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "host/mesh/KorinMesh.h"

struct z_stream_s;

class KorinMeshWriter {
 public:
  KorinMeshWriter(const KorinMesh& mesh, FILE* file, int encoding);
  ~KorinMeshWriter();
  KorinMeshWriter(const KorinMeshWriter&) = delete;
  KorinMeshWriter& operator=(const KorinMeshWriter&) = delete;

  static bool canWrite(const KorinMesh& mesh, int encoding);
  bool write(const char* comment);

 private:
  using DataSection = KorinMesh::DataSection;

  void writeHeader(const char* comment);
  void writeComment(const char* comment);
  void writeBundle(const UxParamBundle& bundle, const std::string& indent);
  void writeParameter(const UxParamBundle& bundle, int index, const std::string& indent);
  void writeLocation(const KorinMesh::Location& where);
  void writeSectionStatement(int index);
  bool writeData(int index);
  bool writeText(const DataSection& section);
  bool writeRaw(const DataSection& section);
  bool writeZlib(const DataSection& section, int64_t& written);
  bool deflateInto(z_stream_s& stream, int flush, int64_t& written);
  bool patchStoredBytes();
  const unsigned char* fileOrderChunk(const DataSection& section, int64_t offset, size_t bytes);
  int markerOf(const DataSection& section) const;
  bool put(const std::string& text);
  bool put(const void* bytes, size_t count);

  const KorinMesh& mesh;
  FILE* file;
  int encoding;
  bool swapNeeded;
  unsigned char* chunk = nullptr;
  std::vector<int64_t> bytesField;   // where each section's stored size goes, or -1
  std::vector<int64_t> storedBytes;  // what goes there
};
