#include "host/mesh/KorinMeshWriter.h"

#include <zlib.h>

#include <algorithm>
#include <cinttypes>
#include <cstring>

#include "host/mesh/KorinMeshSyntax.h"
#include "host/base/TbCPUInfo.h"
#include "host/base/TbMemory.h"
#include "host/rawdata/TbRawData.h"

namespace {

// A multiple of every element size, so a chunk never splits a value.
const size_t CHUNK_BYTES = size_t(4) << 20;
// Wide enough for any int64 byte count; the digits are filled in once known.
const int BYTES_FIELD_WIDTH = 20;

std::string textOfValue(const void* values, TbPrimType type, int64_t i) {
  char text[40];
  switch (type) {
    case TbPrimType::UINT8: std::snprintf(text, sizeof text, "%u", static_cast<const uint8_t*>(values)[i]); break;
    case TbPrimType::INT16: std::snprintf(text, sizeof text, "%d", static_cast<const int16_t*>(values)[i]); break;
    case TbPrimType::UINT16: std::snprintf(text, sizeof text, "%u", static_cast<const uint16_t*>(values)[i]); break;
    case TbPrimType::INT32: std::snprintf(text, sizeof text, "%" PRId32, static_cast<const int32_t*>(values)[i]); break;
    case TbPrimType::FLOAT: return KorinMeshSyntax::realText(static_cast<const float*>(values)[i], true);
    default: return KorinMeshSyntax::realText(static_cast<const double*>(values)[i]);
  }
  return text;
}

}  // namespace

KorinMeshWriter::KorinMeshWriter(const KorinMesh& mesh, FILE* file, int encoding)
    : mesh(mesh), file(file), encoding(encoding),
      swapNeeded(encoding != KorinMesh::TEXT &&
                 (encoding == KorinMesh::BINARY_LITTLE_ENDIAN) != TbCPUInfo::isLittleEndian()) {}

KorinMeshWriter::~KorinMeshWriter() { tbfree(chunk); }

bool KorinMeshWriter::canWrite(const KorinMesh& mesh, int encoding) {
  if (!KorinMeshSyntax::encodingWords(encoding)) return false;
  for (int i = 0; i < mesh.dataSection.size(); ++i)
    if (!mesh.dataSection[i]->data) return false;
  return true;
}

bool KorinMeshWriter::write(const char* comment) {
  writeHeader(comment);
  for (int i = 0; i < mesh.dataSection.size(); ++i)
    if (!writeData(i)) return false;
  return patchStoredBytes() && !std::ferror(file);
}

bool KorinMeshWriter::put(const std::string& text) { return put(text.data(), text.size()); }

bool KorinMeshWriter::put(const void* bytes, size_t count) {
  return std::fwrite(bytes, 1, count, file) == count;
}

void KorinMeshWriter::writeHeader(const char* comment) {
  put(std::string(KorinMeshSyntax::FORMAT_WORD) + " " + std::to_string(KorinMeshSyntax::VERSION) +
      " " + KorinMeshSyntax::encodingWords(encoding) + "\n");
  writeComment(comment);
  if (mesh.size() > 0) put("\n");
  writeBundle(mesh, "");
  if (mesh.location.size() > 0) put("\n");
  for (int i = 0; i < mesh.location.size(); ++i) writeLocation(*mesh.location[i]);
  for (int i = 0; i < mesh.dataSection.size(); ++i) writeSectionStatement(i);
}

void KorinMeshWriter::writeComment(const char* comment) {
  if (!comment) return;
  const char* line = comment;
  while (true) {
    const char* end = std::strchr(line, '\n');
    size_t length = end ? static_cast<size_t>(end - line) : std::strlen(line);
    put("# " + std::string(line, length) + "\n");
    if (!end || !end[1]) return;
    line = end + 1;
  }
}

void KorinMeshWriter::writeBundle(const UxParamBundle& bundle, const std::string& indent) {
  for (int i = 0; i < bundle.size(); ++i) {
    if (bundle.entryKind(i) != UxParamBundle::BUNDLE) {
      writeParameter(bundle, i, indent);
      continue;
    }
    put(indent + "bundle " + KorinMeshSyntax::nameToken(bundle.entryName(i)) + "\n");
    writeBundle(*bundle.entryBundle(i), indent + "  ");
    put(indent + "end\n");
  }
}

void KorinMeshWriter::writeParameter(const UxParamBundle& bundle, int index,
                                     const std::string& indent) {
  std::string name = KorinMeshSyntax::nameToken(bundle.entryName(index));
  std::string line;
  switch (bundle.entryKind(index)) {
    case UxParamBundle::STRING:
      line = "string " + name + " " + KorinMeshSyntax::quoted(bundle.entryString(index));
      break;
    case UxParamBundle::INTS:
      line = "ints " + name;
      for (int k = 0; k < bundle.entryCount(index); ++k)
        line += " " + std::to_string(bundle.entryInts(index)[k]);
      break;
    default:
      line = "reals " + name;
      for (int k = 0; k < bundle.entryCount(index); ++k)
        line += " " + KorinMeshSyntax::realText(bundle.entryReals(index)[k], bundle.entryRealsFromFloats(index));
      break;
  }
  put(indent + line + "\n");
}

void KorinMeshWriter::writeLocation(const KorinMesh::Location& where) {
  std::string line = "location " + KorinMeshSyntax::nameToken(where.name.str());
  for (int d = 0; d < where.nDims; ++d) line += " " + std::to_string(where.dims[d]);
  put(line + "\n");
}

int KorinMeshWriter::markerOf(const DataSection& section) const {
  return encoding == KorinMesh::TEXT ? KorinMesh::PLAIN : section.encoding;
}

void KorinMeshWriter::writeSectionStatement(int index) {
  const DataSection& section = *mesh.dataSection[index];
  if (index == 0) put("\n");
  put("section " + KorinMeshSyntax::nameToken(section.name.str()) + " on " +
      KorinMeshSyntax::nameToken(section.location->name.str()) + " type " +
      section.primType.name() + " components " + std::to_string(section.nDataVar) +
      " encoding " + std::to_string(markerOf(section)));
  bytesField.push_back(-1);
  storedBytes.push_back(0);
  if (markerOf(section) != KorinMesh::PLAIN) {
    put(" bytes ");
    bytesField.back() = ftello(file);
    put(std::string(BYTES_FIELD_WIDTH, ' '));
  }
  put("\n");
}

bool KorinMeshWriter::writeData(int index) {
  const DataSection& section = *mesh.dataSection[index];
  if (!put("\ndata " + KorinMeshSyntax::nameToken(section.name.str()) + "\n")) return false;
  bool ok = encoding == KorinMesh::TEXT ? writeText(section)
            : markerOf(section) == KorinMesh::ZLIB ? writeZlib(section, storedBytes[index])
                                                   : writeRaw(section);
  return ok && put("\n");
}

bool KorinMeshWriter::writeText(const DataSection& section) {
  int64_t perLine = static_cast<int64_t>(section.location->dims[0]) * section.nDataVar;
  int64_t count = section.numValues();
  std::string line;
  for (int64_t i = 0; i < count; ++i) {
    line += textOfValue(section.data, section.primType, i);
    bool lineEnds = (i + 1) % perLine == 0 || i + 1 == count;
    line += lineEnds ? (i + 1 == count ? "" : "\n") : " ";
    if (lineEnds && !put(line)) return false;
    if (lineEnds) line.clear();
  }
  return true;
}

const unsigned char* KorinMeshWriter::fileOrderChunk(const DataSection& section, int64_t offset,
                                                     size_t bytes) {
  const unsigned char* source = static_cast<const unsigned char*>(section.data) + offset;
  if (!swapNeeded) return source;
  if (!chunk && !(chunk = static_cast<unsigned char*>(tbmalloc(CHUNK_BYTES)))) return nullptr;
  std::memcpy(chunk, source, bytes);
  TbRawData::swapBytes(TbTypedPointer(chunk, section.primType), bytes / section.primType.size());
  return chunk;
}

bool KorinMeshWriter::writeRaw(const DataSection& section) {
  int64_t total = section.dataBytes();
  for (int64_t offset = 0; offset < total; offset += CHUNK_BYTES) {
    size_t bytes = static_cast<size_t>(std::min<int64_t>(CHUNK_BYTES, total - offset));
    const unsigned char* piece = fileOrderChunk(section, offset, bytes);
    if (!piece || !put(piece, bytes)) return false;
  }
  return true;
}

bool KorinMeshWriter::deflateInto(z_stream_s& stream, int flush, int64_t& written) {
  unsigned char out[1 << 16];
  do {
    stream.next_out = out;
    stream.avail_out = sizeof out;
    if (deflate(&stream, flush) == Z_STREAM_ERROR) return false;
    size_t produced = sizeof out - stream.avail_out;
    if (!put(out, produced)) return false;
    written += produced;
  } while (stream.avail_out == 0);
  return true;
}

bool KorinMeshWriter::writeZlib(const DataSection& section, int64_t& written) {
  z_stream stream{};
  if (deflateInit(&stream, Z_DEFAULT_COMPRESSION) != Z_OK) return false;
  int64_t total = section.dataBytes();
  bool ok = true;
  for (int64_t offset = 0; ok && offset < total; offset += CHUNK_BYTES) {
    size_t bytes = static_cast<size_t>(std::min<int64_t>(CHUNK_BYTES, total - offset));
    const unsigned char* piece = fileOrderChunk(section, offset, bytes);
    stream.next_in = const_cast<unsigned char*>(piece);
    stream.avail_in = static_cast<uInt>(bytes);
    bool last = offset + static_cast<int64_t>(bytes) == total;
    ok = piece && deflateInto(stream, last ? Z_FINISH : Z_NO_FLUSH, written);
  }
  deflateEnd(&stream);
  return ok;
}

bool KorinMeshWriter::patchStoredBytes() {
  for (size_t i = 0; i < bytesField.size(); ++i) {
    if (bytesField[i] < 0) continue;
    if (fseeko(file, bytesField[i], SEEK_SET) != 0) return false;
    if (std::fprintf(file, "%" PRId64, storedBytes[i]) < 0) return false;
  }
  return std::fseek(file, 0, SEEK_END) == 0;
}
