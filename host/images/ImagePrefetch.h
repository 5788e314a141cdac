#pragma once
// ImagePrefetch: decodes the images a caller is about to read, in the order it
// will read them, on a host thread, so that decoding the next image overlaps
// whatever the caller does with the current one. While an ImagePrefetch lives,
// readQImage of the next file of its list hands over the image decoded ahead
// (waiting for it if need be) instead of decoding it again; a read of any other
// file decodes as usual. The images are exactly what readQImage gives.
//
// Decoded images wait up to `budgetBytes` (one image at least, however large),
// so memory stays bounded whatever the stack. Nothing
// here fails: a file that cannot be decoded is handed over as the failure
// readQImage would report. The destructor stops the thread (after the image it
// is decoding) and drops what waits. One prefetch at a time, made, used and
// destroyed on one thread; a second one replaces the first.
#include <cstddef>
#include <memory>
#include <string>
#include <vector>

class QImage;

class ImagePrefetch {
 public:
  static const size_t kDefaultBudget = 64u << 20;

  ImagePrefetch(const char* const* files, int count, size_t budgetBytes = kDefaultBudget);
  ~ImagePrefetch();
  ImagePrefetch(const ImagePrefetch&) = delete;
  ImagePrefetch& operator=(const ImagePrefetch&) = delete;

  // For readQImage: true when `file` is the next of the list, with `image` and
  // `decoded` set from the image decoded ahead.
  static bool take(const char* file, QImage* image, bool& decoded);

  struct Queue;

 private:
  std::unique_ptr<Queue> queue;
};
