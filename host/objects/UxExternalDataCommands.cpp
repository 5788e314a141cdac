// The data commands every external lattice answers: the shape queries, raw box
// transfers between the object and a file, saving parameters, and the preview.
#include <cstdint>
#include <cstdio>
#include <memory>

#include "host/images/SlicePreview.h"
#include "host/base/TbFilename.h"
#include "host/base/TbMemory.h"
#include "host/objects/UxCmdInfo.h"
#include "host/objects/UxExternalData.h"

namespace {

using Buffer = std::unique_ptr<void, void (*)(void*)>;

const char* const kOriginWords[3] = {"ox", "oy", "oz"};
const char* const kSizeWords[3] = {"nx", "ny", "nz"};
const char* const kSubsamplingWords[3] = {"sx", "sy", "sz"};

struct Box {
  int origin[3] = {0, 0, 0};
  int size[3] = {1, 1, 1};
  int subsampling[3] = {1, 1, 1};
};

int parsePositive(Tcl_Interp* interp, const char* command, const char* what, const char* word,
                  int* value) {
  if (!parseIntWord(interp, command, what, word, value)) return 0;
  if (*value >= 1) return 1;
  Tcl_VaSetResult(interp, "%s: bad %s %d: expected 1 or more", command, what, *value);
  return 0;
}

// words: ox oy oz nx ny nz, then sx sy sz when withSubsampling.
int parseBox(Tcl_Interp* interp, const char* command, char** words, bool withSubsampling,
             Box& box) {
  for (int a = 0; a < 3; ++a)
    if (!parseIntWord(interp, command, kOriginWords[a], words[a], &box.origin[a])) return 0;
  for (int a = 0; a < 3; ++a)
    if (!parsePositive(interp, command, kSizeWords[a], words[3 + a], &box.size[a])) return 0;
  if (!withSubsampling) return 1;
  for (int a = 0; a < 3; ++a)
    if (!parsePositive(interp, command, kSubsamplingWords[a], words[6 + a], &box.subsampling[a]))
      return 0;
  return 1;
}

// Bytes the box takes in memory, or -1 when that does not fit an address.
int64_t boxBytes(const UxExternalData& data, const Box& box) {
  const int64_t limit = INT64_MAX / 2;
  int64_t bytes = data.getSampleSize();
  if (bytes <= 0) return -1;
  for (int a = 0; a < 3; ++a) {
    if (bytes > limit / box.size[a]) return -1;
    bytes *= box.size[a];
  }
  return bytes;
}

UxExternalData::BlockRequest requestFor(const Box& box, void* buffer) {
  UxExternalData::BlockRequest request;
  request.data = buffer;
  for (int a = 0; a < 3; ++a) {
    request.bufferOrigin[a] = request.origin[a] = box.origin[a];
    request.bufferSize[a] = request.size[a] = box.size[a];
    request.subsampling[a] = box.subsampling[a];
  }
  return request;
}

Buffer allocateBox(Tcl_Interp* interp, const char* command, int64_t bytes) {
  Buffer buffer(bytes > 0 ? tbmalloc(static_cast<size_t>(bytes)) : nullptr, tbfree);
  if (!buffer) {
    if (bytes < 0)
      Tcl_VaSetResult(interp, "%s: the box is too large", command);
    else
      Tcl_VaSetResult(interp, "%s: cannot allocate %lld bytes", command,
                      static_cast<long long>(bytes));
  }
  return buffer;
}

bool writeBytes(const char* path, const void* data, int64_t bytes) {
  FILE* file = std::fopen(path, "wb");
  if (!file) return false;
  const bool written = std::fwrite(data, 1, static_cast<size_t>(bytes), file) ==
                       static_cast<size_t>(bytes);
  return std::fclose(file) == 0 && written;
}

bool readBytes(const char* path, void* data, int64_t bytes) {
  FILE* file = std::fopen(path, "rb");
  if (!file) return false;
  const bool read = std::fread(data, 1, static_cast<size_t>(bytes), file) ==
                    static_cast<size_t>(bytes);
  std::fclose(file);
  return read;
}

int getDimsCommand(UxExternalData& data, Tcl_Interp* interp, int, char**) {
  int dims[3];
  data.getDims(dims);
  Tcl_VaSetResult(interp, "%d %d %d", dims[0], dims[1], dims[2]);
  return TCL_OK;
}

int getNDataVarCommand(UxExternalData& data, Tcl_Interp* interp, int, char**) {
  Tcl_VaSetResult(interp, "%d", data.getNDataVar());
  return TCL_OK;
}

int getPrimTypeCommand(UxExternalData& data, Tcl_Interp* interp, int, char**) {
  const char* name = data.getPrimType().name();
  Tcl_VaSetResult(interp, "%s", name ? name : "unknown");
  return TCL_OK;
}

int isWritableCommand(UxExternalData& data, Tcl_Interp* interp, int, char**) {
  Tcl_VaSetResult(interp, "%d", data.isWritable() ? 1 : 0);
  return TCL_OK;
}

int readBoxCommand(UxExternalData& data, Tcl_Interp* interp, int argc, char** argv) {
  if (argc != 9 && argc != 12)
    return usageError(interp, "readBox", "FILE ox oy oz nx ny nz ?sx sy sz?");
  Box box;
  if (!parseBox(interp, "readBox", argv + 3, argc == 12, box)) return TCL_ERROR;
  const int64_t bytes = boxBytes(data, box);
  Buffer buffer = allocateBox(interp, "readBox", bytes);
  if (!buffer) return TCL_ERROR;
  const UxExternalData::BlockRequest request = requestFor(box, buffer.get());
  if (!data.getBlock(&request)) {
    Tcl_VaSetResult(interp, "readBox: getBlock failed for %s", argv[0]);
    return TCL_ERROR;
  }
  if (!writeBytes(argv[2], buffer.get(), bytes)) {
    Tcl_VaSetResult(interp, "readBox: cannot write %s", argv[2]);
    return TCL_ERROR;
  }
  Tcl_VaSetResult(interp, "%lld", static_cast<long long>(bytes));
  return TCL_OK;
}

int writeBoxCommand(UxExternalData& data, Tcl_Interp* interp, int, char** argv) {
  Box box;
  if (!parseBox(interp, "writeBox", argv + 3, false, box)) return TCL_ERROR;
  const int64_t bytes = boxBytes(data, box);
  const int64_t available = TbFilename(argv[2]).fileSize();
  if (available < 0) {
    Tcl_VaSetResult(interp, "writeBox: cannot read %s", argv[2]);
    return TCL_ERROR;
  }
  if (bytes >= 0 && available < bytes) {
    Tcl_VaSetResult(interp, "writeBox: %s holds %lld bytes, %lld needed", argv[2],
                    static_cast<long long>(available), static_cast<long long>(bytes));
    return TCL_ERROR;
  }
  Buffer buffer = allocateBox(interp, "writeBox", bytes);
  if (!buffer) return TCL_ERROR;
  if (!readBytes(argv[2], buffer.get(), bytes)) {
    Tcl_VaSetResult(interp, "writeBox: cannot read %s", argv[2]);
    return TCL_ERROR;
  }
  const UxExternalData::BlockRequest request = requestFor(box, buffer.get());
  if (!data.putBlock(&request)) {
    Tcl_VaSetResult(interp, "writeBox: putBlock failed for %s", argv[0]);
    return TCL_ERROR;
  }
  Tcl_VaSetResult(interp, "%lld", static_cast<long long>(bytes));
  return TCL_OK;
}

int saveParametersCommand(UxExternalData& data, Tcl_Interp* interp, int, char** argv) {
  if (!data.canSaveParameters()) {
    Tcl_VaSetResult(interp, "saveParameters: %s cannot save its parameters", argv[0]);
    return TCL_ERROR;
  }
  if (!data.saveParameters(data.parameters())) {
    Tcl_VaSetResult(interp, "saveParameters: saving the parameters of %s failed", argv[0]);
    return TCL_ERROR;
  }
  return TCL_OK;
}

int axisFromWord(const char* word) {
  if (word[0] == '\0' || word[1] != '\0') return -1;
  switch (word[0]) {
    case 'x': return 0;
    case 'y': return 1;
    case 'z': return 2;
    default: return -1;
  }
}

int previewCommand(UxExternalData& data, Tcl_Interp* interp, int argc, char** argv) {
  const int axis = axisFromWord(argv[3]);
  if (axis < 0) {
    Tcl_VaSetResult(interp, "preview: bad axis \"%s\": expected x, y or z", argv[3]);
    return TCL_ERROR;
  }
  int index = 0;
  int subsampling = 1;
  if (!parseIntWord(interp, "preview", "INDEX", argv[4], &index)) return TCL_ERROR;
  if (argc > 5 && !parsePositive(interp, "preview", "SUBSAMPLING", argv[5], &subsampling))
    return TCL_ERROR;
  SlicePreview preview(data);
  if (!preview.write(argv[2], axis, index, subsampling)) {
    Tcl_VaSetResult(interp, "preview: %s", preview.errorText().c_str());
    return TCL_ERROR;
  }
  Tcl_VaSetResult(interp, "%d %d", preview.width(), preview.height());
  return TCL_OK;
}

const UxCommandEntry<UxExternalData> kExternalDataCommands[] = {
    {"getDims", 0, 0, "", getDimsCommand},
    {"getNDataVar", 0, 0, "", getNDataVarCommand},
    {"getPrimType", 0, 0, "", getPrimTypeCommand},
    {"isWritable", 0, 0, "", isWritableCommand},
    {"readBox", 7, 10, "FILE ox oy oz nx ny nz ?sx sy sz?", readBoxCommand},
    {"writeBox", 7, 7, "FILE ox oy oz nx ny nz", writeBoxCommand},
    {"saveParameters", 0, 0, "", saveParametersCommand},
    {"preview", 3, 4, "FILE.png AXIS INDEX ?SUBSAMPLING?", previewCommand},
};

}  // namespace

int UxExternalData::parse(Tcl_Interp* interp, int argc, char** argv) {
  const int handled = dispatchCommand(kExternalDataCommands, *this, interp, argc, argv);
  return handled >= 0 ? handled : UxData::parse(interp, argc, argv);
}
