#include "host/mesh/KorinMeshReader.h"

#include <zlib.h>

#include <algorithm>
#include <cctype>
#include <climits>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <new>

#include "host/mesh/KorinMeshSyntax.h"
#include "host/base/TbCPUInfo.h"
#include "host/base/TbMemory.h"
#include "host/rawdata/TbRawData.h"

namespace {

const size_t FIRST_LINE_LIMIT = 256;
// Far beyond any sensible header line; keeps a foreign file from being
// swallowed whole as one "line".
const size_t LINE_LIMIT = size_t(64) << 20;
const size_t CHUNK_BYTES = size_t(8) << 20;
const size_t WORD_LIMIT = 64;

// The keys of one section statement, before the section exists.
struct SectionStatement {
  std::string locationName;
  int primType = -1;
  int components = 1;
  int encoding = KorinMesh::PLAIN;
  int64_t bytes = -1;

  bool take(const std::string& key, const std::string& value) {
    if (key == "on") locationName = value;
    else if (key == "type") primType = KorinMeshSyntax::primTypeNamed(value);
    else if (key == "components") return KorinMeshSyntax::parseInt(value, components);
    else if (key == "encoding") return KorinMeshSyntax::parseInt(value, encoding);
    else if (key == "bytes") return KorinMeshSyntax::parseInt64(value, bytes) && bytes >= 0;
    else return false;
    return key != "type" || primType >= 0;
  }
  bool complete() const {
    return !locationName.empty() && primType >= 0 &&
           (encoding == KorinMesh::PLAIN) == (bytes < 0);
  }
};

bool isBlankLine(const std::string& line) {
  for (char c : line)
    if (!std::isspace(static_cast<unsigned char>(c))) return false;
  return true;
}

bool isComment(const std::string& line) {
  size_t first = line.find_first_not_of(" \t");
  return first != std::string::npos && line[first] == '#';
}

template <class T>
bool storeInteger(const std::string& word, void* data, int64_t i, int64_t low, int64_t high) {
  int64_t value = 0;
  if (!KorinMeshSyntax::parseInt64(word, value) || value < low || value > high) return false;
  if (data) static_cast<T*>(data)[i] = static_cast<T>(value);
  return true;
}

bool storeFloat(const std::string& word, void* data, int64_t i) {
  char* end = nullptr;
  float value = std::strtof(word.c_str(), &end);
  if (*end != '\0') return false;
  if (data) static_cast<float*>(data)[i] = value;
  return true;
}

bool storeDouble(const std::string& word, void* data, int64_t i) {
  double value = 0;
  if (!KorinMeshSyntax::parseReal(word, value)) return false;
  if (data) static_cast<double*>(data)[i] = value;
  return true;
}

// Parses one text value into data[i] (only checks it when data is null).
bool storeValue(const std::string& word, TbPrimType type, void* data, int64_t i) {
  switch (type) {
    case TbPrimType::UINT8: return storeInteger<uint8_t>(word, data, i, 0, UINT8_MAX);
    case TbPrimType::INT16: return storeInteger<int16_t>(word, data, i, INT16_MIN, INT16_MAX);
    case TbPrimType::UINT16: return storeInteger<uint16_t>(word, data, i, 0, UINT16_MAX);
    case TbPrimType::INT32: return storeInteger<int32_t>(word, data, i, INT32_MIN, INT32_MAX);
    case TbPrimType::FLOAT: return storeFloat(word, data, i);
    default: return storeDouble(word, data, i);
  }
}

}  // namespace

KorinMeshReader::KorinMeshReader(FILE* file, int64_t fileSize, TbProgressInterface* progress)
    : file(file), progress(progress), fileSize(fileSize) {}

KorinMesh* KorinMeshReader::read(const char* path, bool recordOnly) {
  this->recordOnly = recordOnly;
  mesh.reset(new (std::nothrow) KorinMesh);
  if (!mesh) return nullptr;
  openBundles.assign(1, mesh.get());
  if (progress) progress->beginWork("Reading %s", path);
  bool ok = readContent();
  if (progress) progress->endWork();
  return ok ? mesh.release() : nullptr;
}

bool KorinMeshReader::readContent() {
  return readFirstLine() && readHeader() && readAllData();
}

bool KorinMeshReader::readLine(std::string& line, size_t limit) {
  line.clear();
  int c;
  while ((c = getc(file)) != EOF && c != '\n') {
    if (line.size() == limit) return false;
    line += static_cast<char>(c);
  }
  if (!line.empty() && line.back() == '\r') line.pop_back();
  return c == '\n' || !line.empty();
}

bool KorinMeshReader::readFirstLine() {
  std::string line;
  std::vector<std::string> tokens;
  if (!readLine(line, FIRST_LINE_LIMIT) || !KorinMeshSyntax::splitLine(line, tokens)) return false;
  int version = 0;
  if (tokens.size() < 3 || tokens[0] != KorinMeshSyntax::FORMAT_WORD ||
      !KorinMeshSyntax::parseInt(tokens[1], version) || version != KorinMeshSyntax::VERSION)
    return false;
  int encoding = KorinMeshSyntax::encodingNamed({tokens.begin() + 2, tokens.end()});
  if (encoding < 0) return false;
  mesh->setEncoding(encoding);
  return true;
}

bool KorinMeshReader::readHeader() {
  std::string line;
  std::vector<std::string> tokens;
  while (readLine(line, LINE_LIMIT)) {
    if (isBlankLine(line) || isComment(line)) continue;
    if (!KorinMeshSyntax::splitLine(line, tokens)) return false;
    if (tokens[0] == "data") {
      firstMarker = tokens;
      break;
    }
    if (!readStatement(tokens)) return false;
  }
  // A line too long or a failing disk also ends the loop; neither is an end.
  return openBundles.size() == 1 && !std::ferror(file) &&
         (!firstMarker.empty() || std::feof(file));
}

bool KorinMeshReader::readStatement(const std::vector<std::string>& tokens) {
  const std::string& keyword = tokens[0];
  if (keyword == "end") {
    if (tokens.size() != 1 || openBundles.size() < 2) return false;
    openBundles.pop_back();
    return true;
  }
  if (tokens.size() < 2) return false;
  if (keyword == "bundle") {
    if (tokens.size() != 2 || openBundles.size() > kMostNestedBundles) return false;
    UxParamBundle* inner = openBundles.back()->bundle(tokens[1].c_str(), 1);
    openBundles.push_back(inner);
    return inner != nullptr;
  }
  if (keyword == "location" || keyword == "section") {
    if (openBundles.size() != 1) return false;  // lattices are not parameters
    return keyword == "location" ? readLocation(tokens) : readSection(tokens);
  }
  return readParameter(tokens);
}

bool KorinMeshReader::readParameter(const std::vector<std::string>& tokens) {
  const std::string& keyword = tokens[0];
  const char* name = tokens[1].c_str();
  UxParamBundle& into = *openBundles.back();
  if (keyword == "string") {
    if (tokens.size() != 3) return false;
    into.set(name, tokens[2].c_str());
    return true;
  }
  if (keyword != "ints" && keyword != "reals") return false;
  std::vector<int> ints(tokens.size() - 2);
  std::vector<double> reals(tokens.size() - 2);
  for (size_t i = 2; i < tokens.size(); ++i) {
    bool ok = keyword == "ints" ? KorinMeshSyntax::parseInt(tokens[i], ints[i - 2])
                                : KorinMeshSyntax::parseReal(tokens[i], reals[i - 2]);
    if (!ok) return false;
  }
  if (keyword == "ints")
    into.set(name, static_cast<int>(ints.size()), ints.data());
  else
    into.set(name, static_cast<int>(reals.size()), reals.data());
  return true;
}

bool KorinMeshReader::readLocation(const std::vector<std::string>& tokens) {
  int nDims = static_cast<int>(tokens.size()) - 2;
  int dims[3] = {1, 1, 1};
  if (nDims < 1 || nDims > 3) return false;
  for (int d = 0; d < nDims; ++d)
    if (!KorinMeshSyntax::parseInt(tokens[2 + d], dims[d])) return false;
  return mesh->addLocation(tokens[1].c_str(), nDims, dims) != nullptr;
}

bool KorinMeshReader::readSection(const std::vector<std::string>& tokens) {
  SectionStatement statement;
  if (tokens.size() % 2 != 0) return false;  // keys come in pairs after the name
  for (size_t i = 2; i < tokens.size(); i += 2)
    if (!statement.take(tokens[i], tokens[i + 1])) return false;
  if (!statement.complete()) return false;
  if (mesh->encoding() == KorinMesh::TEXT && statement.encoding != KorinMesh::PLAIN) return false;
  KorinMesh::Location* where = mesh->findLocation(statement.locationName.c_str());
  DataSection* section = mesh->declareSection(where, tokens[1].c_str(), statement.primType,
                                              statement.components, statement.encoding);
  if (!section) return false;
  section->storedBytes = statement.encoding == KorinMesh::PLAIN ? 0 : statement.bytes;
  return true;
}

bool KorinMeshReader::readAllData() {
  int count = mesh->dataSection.size();
  if (firstMarker.empty() || count == 0) return firstMarker.empty() && count == 0;
  for (int i = 0; i < count; ++i) {
    if (!readMarker(i) || !readSectionData(*mesh->dataSection[i])) return false;
    showProgress();
  }
  return true;
}

bool KorinMeshReader::readMarker(int index) {
  std::vector<std::string> tokens;
  if (index == 0) {
    tokens.swap(firstMarker);
  } else {
    int c;
    while ((c = getc(file)) != EOF && std::isspace(c)) {
    }
    if (c == EOF) return false;
    ungetc(c, file);
    std::string line;
    if (!readLine(line, LINE_LIMIT) || !KorinMeshSyntax::splitLine(line, tokens)) return false;
  }
  return tokens.size() == 2 && tokens[0] == "data" &&
         mesh->dataSection[index]->name == tokens[1].c_str();
}

bool KorinMeshReader::readSectionData(DataSection& section) {
  int64_t start = ftello(file);
  if (start < 0) return false;
  if (recordOnly) section.filePosition = start;
  if (mesh->encoding() == KorinMesh::TEXT) return readText(section, start);
  if (section.encoding == KorinMesh::ZLIB) return readZlib(section, start);
  return readRaw(section, start);
}

bool KorinMeshReader::isPresent(int64_t start, int64_t bytes) const {
  return bytes <= fileSize - start;
}

bool KorinMeshReader::skipStored(int64_t start, int64_t bytes) {
  return fseeko(file, start + bytes, SEEK_SET) == 0;
}

bool KorinMeshReader::readRaw(DataSection& section, int64_t start) {
  int64_t total = section.dataBytes();
  section.storedBytes = total;
  if (!isPresent(start, total)) return false;
  if (recordOnly) return skipStored(start, total);
  section.data = tbmalloc(static_cast<size_t>(total));
  if (!section.data) return false;
  auto* bytes = static_cast<unsigned char*>(section.data);
  for (int64_t done = 0; done < total; done += CHUNK_BYTES) {
    size_t piece = static_cast<size_t>(std::min<int64_t>(CHUNK_BYTES, total - done));
    if (std::fread(bytes + done, 1, piece, file) != piece) return false;
    showProgress();
  }
  toMachineOrder(section);
  return true;
}

bool KorinMeshReader::inflateFromFile(z_stream_s& stream, int64_t compressedBytes,
                                      int64_t total) {
  unsigned char in[1 << 16];
  int status = Z_OK;
  for (int64_t left = compressedBytes; left > 0 && status != Z_STREAM_END;) {
    size_t piece = static_cast<size_t>(std::min<int64_t>(sizeof in, left));
    if (std::fread(in, 1, piece, file) != piece) return false;
    left -= static_cast<int64_t>(piece);
    stream.next_in = in;
    stream.avail_in = static_cast<uInt>(piece);
    while (stream.avail_in > 0 && status != Z_STREAM_END) {
      // avail_out is 32 bits wide: the output opens in windows of 1 GiB. Once
      // the declared size is reached the window stays shut, and a stream
      // holding more than declared stalls with Z_BUF_ERROR.
      if (stream.avail_out == 0)
        stream.avail_out = static_cast<uInt>(
            std::min<int64_t>(total - static_cast<int64_t>(stream.total_out), int64_t(1) << 30));
      status = inflate(&stream, Z_NO_FLUSH);
      if (status != Z_OK && status != Z_STREAM_END) return false;
    }
  }
  return status == Z_STREAM_END;
}

bool KorinMeshReader::readZlib(DataSection& section, int64_t start) {
  if (!isPresent(start, section.storedBytes)) return false;
  // Deflate shrinks by at most about 1032 to 1: a section declaring more than
  // its stored bytes can hold is refused before memory is asked for it.
  if (section.dataBytes() / 1032 > section.storedBytes + 64) return false;
  if (recordOnly) return skipStored(start, section.storedBytes);
  int64_t total = section.dataBytes();
  section.data = tbmalloc(static_cast<size_t>(total));
  z_stream stream{};
  if (!section.data || inflateInit(&stream) != Z_OK) return false;
  stream.next_out = static_cast<unsigned char*>(section.data);
  bool ok = inflateFromFile(stream, section.storedBytes, total) &&
            static_cast<int64_t>(stream.total_out) == total;
  inflateEnd(&stream);
  if (ok) toMachineOrder(section);
  return ok;
}

bool KorinMeshReader::nextWord(std::string& word) {
  word.clear();
  int c;
  while ((c = getc(file)) != EOF && std::isspace(c)) {
  }
  for (; c != EOF && !std::isspace(c); c = getc(file)) {
    if (word.size() == WORD_LIMIT) return false;
    word += static_cast<char>(c);
  }
  if (c != EOF) ungetc(c, file);
  return !word.empty();
}

bool KorinMeshReader::readText(DataSection& section, int64_t start) {
  int64_t count = section.numValues();
  // Every value takes a digit and a separator: a short file is refused before
  // memory for a lattice it cannot hold is asked for.
  if (count - 1 > (fileSize - start) / 2) return false;
  if (!recordOnly && !(section.data = tbmalloc(static_cast<size_t>(section.dataBytes()))))
    return false;
  std::string word;
  for (int64_t i = 0; i < count; ++i) {
    if (!nextWord(word) || !storeValue(word, section.primType, section.data, i)) return false;
    if (i % (1 << 20) == 0) showProgress();
  }
  section.storedBytes = ftello(file) - start;
  return true;
}

void KorinMeshReader::toMachineOrder(DataSection& section) {
  bool fileLittle = mesh->encoding() == KorinMesh::BINARY_LITTLE_ENDIAN;
  if (fileLittle != TbCPUInfo::isLittleEndian())
    TbRawData::swapBytes(TbTypedPointer(section.data, section.primType),
                         static_cast<unsigned long>(section.numValues()));
}

void KorinMeshReader::showProgress() {
  if (progress && fileSize > 0)
    progress->setProgress(static_cast<float>(ftello(file)) / static_cast<float>(fileSize));
}
