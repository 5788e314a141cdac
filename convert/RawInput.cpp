// Raw volumes: the description from command words or the host's raw-data
// dialog, and the raw reader of the disk-data path.
#include <QMessageBox>
#include <QString>

#include <cstdlib>
#include <cstring>

#include "convert/InputList.h"
#include "convert/UxConvertToDiskData.h"
#include "host/base/TbAssertionHandlerInit.h"
#include "package/CommandWords.h"
#include "package/Console.h"
#include "host/dialogs/UxReadRawDialog.h"

namespace {
TbAssertionHandlerInit assertionHandler;

const int kDescriptionWords = 19;  // the words before the first file name
// The type words the raw description accepts, in the order they are tried.
const int kRawTypes[] = {TbPrimType::UINT8, TbPrimType::INT16, TbPrimType::UINT16,
                         TbPrimType::INT32, TbPrimType::FLOAT, TbPrimType::DOUBLE};

bool expectWord(char** argv, int position, const char* word, const char* message) {
  if (std::strcmp(argv[position], word) == 0) return true;
  console().printf("%s", message);
  return false;
}

bool typeOfName(const char* name, TbPrimType& type) {
  for (int code : kRawTypes) {
    if (std::strcmp(name, TbPrimType(code).name()) == 0) {
      type = code;
      return true;
    }
  }
  return false;
}

// The raw-data dialog is one object for the whole process.
UxReadRawDialog& rawDialog() {
  static UxReadRawDialog dialog(1);
  return dialog;
}

// The size every listed file shares, -1 for an empty list; false when a file is
// missing or the user stops at the question about differing sizes.
bool checkFileSizes(const InputList& files, int64_t& size) {
  size = -1;
  for (int i = 0; i < files.size(); ++i) {
    TbFilename name(files[i]);
    if (!name.doesExist()) {
      console().printf("Error: can't open %s", files[i]);
      return false;
    }
    if (size < 0) {
      size = name.fileSize();
    } else if (name.fileSize() != size) {
      int answer = console().warning("The files you selected have different sizes!\nDo you want to continue?",
                                     "Yes", "No", nullptr, 1, -1);
      if (answer == 1) return false;
      return true;  // the remaining files are not looked at
    }
  }
  return true;
}

void setEmptyBox(TbBox3f& box) {
  const float empty[6] = {0, -1e10f, 0, -1e10f, 0, -1e10f};
  for (int i = 0; i < 6; ++i) box[i] = empty[i];
}
}  // namespace

bool UxConvertToDiskData::getRawSpecs(InputList& files, int argc, char** argv, int& numFiles,
                                      TbVec3i& dims, TbPrimType& primType, int& nDataVar,
                                      int& littleEndian, int& headerBytes, TbBox3f& bbox,
                                      bool& askDialog) {
  if (argc <= kDescriptionWords) return argc <= 0;
  if (!expectWord(argv, 0, "-dims", "Error -dims")) return false;
  for (int a = 0; a < 3; ++a) dims[a] = leadingInt(argv[1 + a]);
  if (dims[0] <= 0 || dims[1] <= 0 || dims[2] <= 0) {
    console().printf("illegal dimensions.");
    return false;
  }
  if (!expectWord(argv, 4, "-ptype", "Error -ptype")) return false;
  if (!typeOfName(argv[5], primType)) {
    console().printf("Error: not a valid TbPrimType");
    return false;
  }
  if (!expectWord(argv, 6, "-ndatavar", "Error -ndatavar")) return false;
  nDataVar = leadingInt(argv[7]);
  if (!expectWord(argv, 8, "-header", "Error -header")) return false;
  headerBytes = leadingInt(argv[9]);
  if (!expectWord(argv, 10, "-endianess", "Error -endianess")) return false;
  if (std::strcmp(argv[11], "little") != 0 && std::strcmp(argv[11], "big") != 0) {
    console().printf("Error: not a valid endianess");
    return false;
  }
  littleEndian = std::strcmp(argv[11], "little") == 0 ? 1 : 0;
  if (!expectWord(argv, 12, "-bbox", "Error -bbox")) return false;
  for (int i = 0; i < 6; ++i) bbox[i] = static_cast<float>(std::strtod(argv[13 + i], nullptr));
  numFiles = argc - kDescriptionWords;
  files.clear();
  for (int i = kDescriptionWords; i < argc; ++i) files.append(strdup(argv[i]));
  askDialog = false;
  return true;
}

bool UxConvertToDiskData::requestRawDialog(InputList& files, int numFiles, TbVec3i& dims,
                                           TbPrimType& primType, int& nDataVar, int& littleEndian,
                                           int& headerBytes, TbBox3f& bbox) {
  int64_t size = -1;
  if (!checkFileSizes(files, size)) return false;
  UxReadRawDialog& dialog = rawDialog();
  dialog.setNumFiles(numFiles);
  dialog.setFilesize(size);
  if (dialog.exec() != UxReadRawDialog::Accepted) return false;
  primType = dialog.getPrimType();
  nDataVar = dialog.getNDataVar();
  dialog.getDims(&dims[0]);
  headerBytes = dialog.getHeaderBytes();
  dialog.getMinMax(&bbox[0]);
  littleEndian = dialog.isBigEndian() ? 0 : 1;
  return true;
}

bool UxConvertToDiskData::getRawInformation(InputList& files, int argc, char** argv, int numFiles,
                                            int& littleEndian, int& headerBytes, bool& toLda,
                                            bool& doubleToFloat) {
  bool askDialog = true;
  int nDataVar = -1;
  int fileCount = numFiles;
  bool result;
  if (!getRawSpecs(files, argc, argv, fileCount, rawDims, rawPrimType, nDataVar, littleEndian,
                   headerBytes, rawBox, askDialog) &&
      askDialog) {
    if (!requestRawDialog(files, fileCount, rawDims, rawPrimType, nDataVar, littleEndian, headerBytes, rawBox))
      return false;
    result = true;
  } else {
    result = !askDialog;
  }
  // Kept for a conversion into disk data after this description, which needs
  // the count the words or the dialog gave.
  rawNDataVar = nDataVar;
  toLda = true;
  doubleToFloat = false;
  if (rawPrimType == TbPrimType::DOUBLE) {
    QMessageBox::StandardButton answer = QMessageBox::question(
        nullptr, "Convert from double to float",
        "Cannot keep data as double.\nWould you like to convert data as float values (loss of precision)?",
        QMessageBox::Yes | QMessageBox::No);
    if (answer == QMessageBox::No)
      toLda = false;
    else
      doubleToFloat = true;
  }
  return result;
}

int UxConvertToDiskData::readerRaw2UxDiskData(InputList files, const char* outName, int argc, char** argv) {
  const InputList given = files;
  int numFiles = files.size();
  TbVec3i dims;
  TbPrimType primType = TbPrimType::UINT8;
  int nDataVar = -1, littleEndian = 1, headerBytes = 0;
  TbBox3f bbox;
  setEmptyBox(bbox);
  bool askDialog = true;
  for (int a = 0; a < 3; ++a) dims[a] = 0;

  int result = 0;
  bool parsed = getRawSpecs(files, argc, argv, numFiles, dims, primType, nDataVar, littleEndian,
                            headerBytes, bbox, askDialog);
  if (!parsed && argc > kDescriptionWords + 1) {
    result = 0;
  } else if (numFiles == 0) {
    console().printf("Error: no input files");
  } else if (!askDialog || requestRawDialog(files, numFiles, dims, primType, nDataVar, littleEndian,
                                            headerBytes, bbox)) {
    result = convertRaw(files, outName, &dims[0], nDataVar, littleEndian, headerBytes, &bbox[0], primType);
  }
  freeEntriesNotIn(files, given);
  return result;
}
