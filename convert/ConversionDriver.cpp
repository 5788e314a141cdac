// The conversion driver: combines command words and ports, picks the format and
// the output name, tries the host's tiled converter where allowed, and
// otherwise converts into a disk-data set with the reader for the format.
#include <strings.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "convert/ChannelOption.h"
#include "convert/ConversionWords.h"
#include "convert/InputList.h"
#include "convert/UxConvertToDiskData.h"
#include "host/base/TbAssertionHandlerInit.h"
#include "host/formats/UxBrixConverter.h"
#include "host/formats/UxFileFormat.h"
#include "package/Console.h"

namespace {
TbAssertionHandlerInit assertionHandler;

bool sameLabel(const char* a, const char* b) { return strcasecmp(a, b) == 0; }

// Fills what the words left open from the module's ports; 0 when no output is named.
int completeFromPorts(UxConvertToDiskData& m, ConversionSettings& s, InputList& inputs) {
  if (s.tileSize == 0) s.tileSize = std::atoi(m.tileSize.getLabel(0, m.tileSize.getIndex(0)));
  // The menu's entries ("Sharp", "Average") hold no number: the choice is its index.
  if (s.samplingType == -1) s.samplingType = m.samplingType.getIndex(0);
  if (s.borderSize == 0) s.borderSize = m.borderSize.getValue(0);
  if (!s.outNameGiven) s.outName = m.output.getFilename(0);
  if (s.outName.empty()) {
    console().printf("please specify output");
    return 0;
  }
  if (s.compressorNamed) {
    if (std::strcmp(s.compressor, "none") == 0) s.compressor = nullptr;
  } else if (m.compression.getIndex(0) != 0) {
    const char* label = m.compression.getLabel(0, m.compression.getIndex(0));
    s.compressor = label && *label ? label : nullptr;
  }
  if (s.argc == 0) {
    for (int i = 0; i < m.inputs.getNum(); ++i) inputs.append(strdup(m.inputs.getFilename(i)));
    if (s.format.isEmpty())
      s.format = m.inputs.getNumFormatLabels() ? m.inputs.getFormatLabel(0) : "unknown";
  }
  return 1;
}

bool isImageFormat(const char* format) {
  for (const char* label : {"JPEG", "SGI", "TIFF", "EPS", "PNG", "BMP"})
    if (sameLabel(format, label)) return true;
  return false;
}

void reportResult(int result) {
  if (result == 0) console().printf("Error converting files");
  if (result == -1) console().printf("Conversion canceled");
  if (result != 0 && result != 1 && result != -1) console().printf("Unknown Error");
}

// The raw description gathered for the tiled path.
struct RawDescription {
  int littleEndian = 1;
  int headerBytes = 0;
  bool toLda = true;
  bool doubleToFloat = false;
  bool isRaw = false;
};

const int kImageDescriptionWords = 9;  // -bbox b1 .. b6 -channel c

// Words for the image reader: handed on only when they begin with the image
// description ("-bbox ..."), so that plain file names still get the dialog.
int imageWordCount(const ConversionSettings& s) {
  return s.argc > 0 && s.argv && std::strcmp(s.argv[0], "-bbox") == 0 ? s.argc : 0;
}

struct Conversion {
  UxConvertToDiskData& module;
  ConversionSettings& settings;
  InputList& inputs;
  TbFilename outFile;
  RawDescription raw;
  bool imageDescribed = false;

  // Runs the host's tiled converter after the description step. A result of 0
  // asks for the disk-data path; `cancelled` means the description was not had.
  int tiled(bool& cancelled) {
    UxConvertToDiskData& m = module;
    m.infoOnly = true;
    m.convertMethod = CHANNEL_FIRST;
    raw = RawDescription();
    if (sameLabel(settings.format.getString(), "Raw Data")) {
      const InputList before = inputs;
      raw.isRaw = m.getRawInformation(inputs, settings.argc, settings.argv, inputs.size(), raw.littleEndian,
                                      raw.headerBytes, raw.toLda, raw.doubleToFloat);
      freeEntriesNotIn(before, inputs);  // the names the description words replaced
      if (!raw.isRaw) {
        cancelled = true;
        return -1;
      }
      if (!raw.toLda) {
        m.infoOnly = false;
        return 0;
      }
    } else if (inputs.size() > 1 && !sameLabel(settings.format.getString(), "DICOM")) {
      const int argc = imageWordCount(settings);
      if (!m.readerImg2UxDiskData(inputs, outFile.getString(), argc, argc ? settings.argv : nullptr)) {
        cancelled = true;
        return -1;
      }
      imageDescribed = true;
      dropDescriptionWords(argc);
    }
    int result = 0;
    if (m.convertMethod == CHANNEL_COLORFIELD) {
      console().printf("Colorfield not yet supported by voxelan");
    } else {
      TbDArray<const char*> files;
      for (int i = 0; i < inputs.size(); ++i) files.append(inputs[i]);
      // The converter checks the files against the whole description, components included.
      if (raw.isRaw) UxBrixConverter::setRawComponents(m.rawNDataVar > 0 ? m.rawNDataVar : 1);
      result = UxBrixConverter::convertToLDA(files, outFile, m.rawBox, m.rawDims, m.rawPrimType, raw.littleEndian != 0,
                                             m.convertMethod, raw.headerBytes, raw.doubleToFloat, raw.isRaw,
                                             settings.tileSize, settings.borderSize, settings.samplingType,
                                             settings.compressor);
    }
    m.infoOnly = false;
    return result;
  }

  // The image words ahead of the file names (-bbox b1..b6 -channel c) belong
  // to the description, not to the files the tiled converter receives.
  void dropDescriptionWords(int argc) {
    for (int i = 0; argc > 0 && i < kImageDescriptionWords && inputs.size() > 0; ++i) {
      std::free(inputs[0]);
      inputs.remove(0);
    }
  }

  // Converts a stack the tiled path described into disk data with that same
  // description, so the user is not asked twice.
  int convertDescribedImages() {
    module.reuseImageDescription = true;
    const int result = module.readerImg2UxDiskData(inputs, outFile.getString(), 0, nullptr);
    module.reuseImageDescription = false;
    return result;
  }

  int rawConversion() {
    UxConvertToDiskData& m = module;
    if (raw.isRaw)
      return m.convertRaw(inputs, outFile.getString(), &m.rawDims[0], m.rawNDataVar, raw.littleEndian,
                          raw.headerBytes, &m.rawBox[0], m.rawPrimType);
    return m.readerRaw2UxDiskData(inputs, outFile.getString(), settings.argc, settings.argv);
  }

  int diskData() {
    const char* format = settings.format.getString();
    if (isImageFormat(format)) {
      if (imageDescribed) return convertDescribedImages();
      const int argc = imageWordCount(settings);
      return module.readerImg2UxDiskData(inputs, outFile.getString(), argc, argc ? settings.argv : nullptr);
    }
    if (sameLabel(format, "KorinMesh"))
      return module.readerKorinMesh2UxDiskData(inputs, outFile.getString(), settings.argc, settings.argv);
    if (!sameLabel(format, "Raw Data"))
      console().printf("Don't know how to convert filetype %s. Trying 'Raw Data'", format);
    return rawConversion();
  }
};

}  // namespace

int UxConvertToDiskData::convertToDiskData(int argc, char** argv) {
  ConversionSettings settings;
  InputList inputs;
  struct Release {
    InputList& list;
    ~Release() { freeEntries(list); }
  } release{inputs};

  if (argc > 0 && !readCommandWords(settings, argc, argv, inputs)) return 0;
  if (!completeFromPorts(*this, settings, inputs)) return 0;
  if (inputs.isEmpty()) {
    console().printf("please specify input and output");
    return 0;
  }
  const char* format = settings.format.getString();
  if (settings.format.isEmpty() || sameLabel(format, "unknown") || (sameLabel(format, "Raw Data") && settings.argc == 0)) {
    settings.format = "Raw Data";
    settings.argc = 1;
  }
  UxFileFormat* record = UxFileFormat::getFileFormatByLabel(settings.format.getString());

  Conversion conversion{*this, settings, inputs, TbFilename(settings.outName.c_str()), RawDescription()};
  conversion.outFile.removeExtension();
  conversion.outFile += force311Format ? ".km" : ".lda";
  output.setFilename(conversion.outFile.getString(), nullptr);

  int result = 0;
  if (!force311Format && record && record->ldaConvertible) {
    bool cancelled = false;
    result = conversion.tiled(cancelled);
    if (cancelled) return -1;
  } else {
    infoOnly = false;
  }
  // Input that does not match its description would not fit disk data either:
  // it fails here, instead of being converted as far as its bytes go.
  if (result == UxBrixConverter::kInputRefused) result = 0;
  else if (result == 0) result = conversion.diskData();
  reportResult(result);
  return result;
}
