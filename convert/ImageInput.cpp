// Image stacks: every image becomes one slice of 8-bit values, grey or
// reduced from colour by a channel option, or four components for a colour field.
#include <QImage>

#include <cstdlib>
#include <cstring>

#include "convert/ChannelOption.h"
#include "convert/ImagePixels.h"
#include "convert/InputList.h"
#include "convert/QxImReadDialogNegotiator.h"
#include "convert/SliceChunkWriter.h"
#include "convert/UxConvertToDiskData.h"
#include "host/images/ImagePrefetch.h"
#include "host/images/ImageReaders.h"
#include "host/dialogs/QxImReadDialog.h"
#include "host/base/TbAssertionHandlerInit.h"
#include "host/console/UxWorkArea.h"
#include "package/CommandWords.h"
#include "package/Console.h"

namespace {
TbAssertionHandlerInit assertionHandler;

const char kChannelOptions[] =
    "no support for that channel-option for that type of image\n -channel:\n 0 -> maximum \n 1-> average "
    "weight \n 2 -> channel 1\n 3 -> channel 2 \n 4 -> channel 3 \n 5 -> alpha-channel \n 10 -> colorfield\n";

struct Stack {
  int width = 0, height = 0, depth = 0, channels = 0;
  int option = CHANNEL_FIRST;
  float box[6] = {-1, 0, 0, 0, 0, 0};  // xmin < 0: not given
  TbPrimType pixelType = TbPrimType::UINT8;
};

// -bbox b1 .. b6 -channel c FILE...; false after printing why not.
bool readWords(InputList& files, int argc, char** argv, Stack& stack) {
  if (argc >= 1 && argc <= 9) {
    console().printf("Error: not enough arguments");
    return false;
  }
  if (argc <= 0) {
    stack.depth = files.size();
    if (stack.depth == 0) console().printf("Error: no input files");
    return stack.depth > 0;
  }
  if (std::strcmp(argv[0], "-bbox") != 0) {
    console().printf("Error -bbox");
    return false;
  }
  for (int i = 0; i < 6; ++i) stack.box[i] = static_cast<float>(std::strtod(argv[1 + i], nullptr));
  if (std::strcmp(argv[7], "-channel") != 0) {
    console().printf("Error -channel");
    return false;
  }
  stack.option = leadingInt(argv[8]);
  stack.depth = argc - 9;
  files.clear();
  for (int i = 9; i < argc; ++i) files.append(strdup(argv[i]));
  return true;
}

// Asks the host's image dialog, on its dialog thread, for the box and the option.
bool askDialog(const InputList& files, Stack& stack) {
  QxImReadDialogNegotiator negotiator;
  auto* dialog = static_cast<QxImReadDialog*>(negotiator.createForkedObject());
  int dims[3] = {stack.width, stack.height, stack.depth};
  dialog->setDims(dims, stack.channels, files[0], 0, nullptr, 0, 1);
  negotiator.putData();
  const int result = negotiator.exec();
  negotiator.getData();
  if (result == 1) {
    dialog->getBox(stack.box);
    stack.option = dialog->getConvertMethod();
  }
  negotiator.deleteForkedObject();
  return result == 1;
}

enum Outcome { STORED, INTERRUPTED, FAILED };

// Loads image i into slice k of the chunk.
Outcome convertImage(const char* file, const Stack& stack, int components, unsigned char* slice) {
  QImage loaded;
  if (!readQImage(file, &loaded, 0)) {
    console().printf("Could not read %s", file);
    return FAILED;
  }
  if (loaded.width() != stack.width || loaded.height() != stack.height) {
    console().printf("images are not all of the same dimensions");
    return FAILED;
  }
  const QImage image = prepareImage(loaded, stack.channels);
  const size_t rowBytes = static_cast<size_t>(stack.width) * components;
  for (int y = 0; y < stack.height; ++y) {
    if (!convertRow(image, y, stack.option, stack.channels, slice + y * rowBytes)) {
      if (stack.option < 0) console().printf("not a supported option");
      return FAILED;
    }
  }
  return STORED;
}

// Says once per stack that a file holds more images than the one read from it.
class PageNotice {
 public:
  void check(const char* file) {
    if (given) return;
    const int pages = imagePageCount(file);
    if (pages < 2) return;
    console().printf("Notice: %s holds %d pages; the disk-data conversion reads only its first page", file, pages);
    given = true;
  }

 private:
  bool given = false;
};

// Converts the whole stack through `writer`; false on failure (message printed).
bool convertStack(SliceChunkWriter& writer, const InputList& files, const Stack& stack, int components) {
  UxWorkArea* work = UxWorkArea::getTheWorkArea();
  PageNotice pages;
  const int chunk = writer.chunkSlices();
  const size_t sliceBytes = static_cast<size_t>(stack.width) * stack.height * components;
  // The host decodes the next images while this one is converted and stored.
  ImagePrefetch prefetch(files.dataPtr(), files.size());
  for (int s = 0; s < stack.depth; s += chunk) {
    const int n = chunk < stack.depth - s ? chunk : stack.depth - s;
    std::memset(writer.chunk(), 0, sliceBytes * n);
    for (int i = s; i < s + n; ++i) {
      work->setWorkText("Processing image: %d", i);
      work->setProgress(static_cast<float>(i + 1) / static_cast<float>(stack.depth));
      if (work->checkInterrupt(1)) {
        console().printf("Interrupted");
        return true;  // the chunks stored so far are kept, with their levels
      }
      pages.check(files[i]);
      if (convertImage(files[i], stack, components, writer.chunk() + (i - s) * sliceBytes) == FAILED) return false;
    }
    if (!writer.store(s, n)) {
      console().printf("Error: can't write the slices from %d on: %s", s, writer.failure());
      return false;
    }
  }
  return true;
}

}  // namespace

int UxConvertToDiskData::readerImg2UxDiskData(InputList files, const char* outName, int argc, char** argv) {
  const InputList given = files;
  struct Release {
    const InputList& now;
    const InputList& given;
    void* pixels = nullptr;
    ~Release() {
      std::free(pixels);
      freeEntriesNotIn(now, given);
    }
  } release{files, given};

  Stack stack;
  if (!readWords(files, argc, argv, stack)) return 0;
  int size[3] = {0, 0, 0};
  TbTypedPointer pixels(nullptr, TbPrimType::UINT8);
  if (!readImage2(files[0], size, pixels, 0)) {
    console().printf("Error: can't read  %s.\n", files[0]);
    return 0;
  }
  release.pixels = pixels.data;
  stack.width = size[0];
  stack.height = size[1];
  stack.channels = size[2];
  stack.pixelType = pixels.primType;
  if (reuseImageDescription) {
    for (int i = 0; i < 6; ++i) stack.box[i] = rawBox[i];
    stack.option = convertMethod;
  } else if (stack.box[0] < 0 && !askDialog(files, stack)) {
    return 0;
  }
  if (infoOnly) {
    rawDims[0] = stack.width;
    rawDims[1] = stack.height;
    rawDims[2] = stack.depth;
    rawPrimType = stack.pixelType;
    for (int i = 0; i < 6; ++i) rawBox[i] = stack.box[i];
    convertMethod = stack.option;
    return 1;
  }
  const int components = componentsForOption(stack.option, stack.channels);
  if (!components) {
    console().printf("%s", kChannelOptions);
    return 0;
  }

  if (stack.pixelType == TbPrimType::UINT16)
    console().printf("Notice: the images hold 16-bit samples; disk data stores them as 8 bits "
                     "(the lda output keeps 16 bits)");
  SliceChunkWriter writer(static_cast<int64_t>(stack.width) * stack.height * components);
  const int dims[3] = {stack.width, stack.height, stack.depth};
  if (!writer.start(outName, dims, components, TbPrimType::UINT8, stack.box, SliceChunkWriter::MEASURED) ||
      !convertStack(writer, files, stack, components))
    return 0;
  return writer.finish() ? 1 : 0;
}
