#include "host/images/ImagePrefetch.h"

#include <QImage>

#include <condition_variable>
#include <cstring>
#include <deque>
#include <mutex>
#include <thread>

#include "host/images/ImageReaders.h"

struct ImagePrefetch::Queue {
  struct Decoded {
    QImage image;
    bool ok;
  };

  std::vector<std::string> files;
  size_t budget;
  size_t readyBytes = 0;
  size_t nextToTake = 0;
  std::deque<Decoded> ready;
  bool stopping = false;
  std::mutex mutex;
  std::condition_variable changed;
  std::thread worker;

  void decodeAll() {
    for (const std::string& file : files) {
      {
        std::unique_lock<std::mutex> lock(mutex);
        changed.wait(lock, [this] { return stopping || ready.empty() || readyBytes < budget; });
        if (stopping) return;
      }
      Decoded decoded;
      decoded.ok = decodeImage(file.c_str(), &decoded.image);
      std::lock_guard<std::mutex> lock(mutex);
      readyBytes += static_cast<size_t>(decoded.image.sizeInBytes());
      ready.push_back(std::move(decoded));
      changed.notify_all();
    }
  }

  // The host's decoding itself, which readQImage also runs for files not prefetched.
  static bool decodeImage(const char* file, QImage* image) { return readQImagePage(file, 0, image, 0) != 0; }
};

namespace {
std::mutex activeMutex;
ImagePrefetch::Queue* active = nullptr;
}  // namespace

ImagePrefetch::ImagePrefetch(const char* const* files, int count, size_t budgetBytes) : queue(new Queue) {
  for (int i = 0; i < count; ++i) queue->files.emplace_back(files[i] ? files[i] : "");
  queue->budget = budgetBytes;
  queue->worker = std::thread([q = queue.get()] { q->decodeAll(); });
  std::lock_guard<std::mutex> lock(activeMutex);
  active = queue.get();
}

ImagePrefetch::~ImagePrefetch() {
  {
    std::lock_guard<std::mutex> lock(activeMutex);
    if (active == queue.get()) active = nullptr;
  }
  {
    std::lock_guard<std::mutex> lock(queue->mutex);
    queue->stopping = true;
  }
  queue->changed.notify_all();
  queue->worker.join();
}

bool ImagePrefetch::take(const char* file, QImage* image, bool& decoded) {
  std::lock_guard<std::mutex> activeLock(activeMutex);
  Queue* q = active;
  if (!q || !file) return false;
  std::unique_lock<std::mutex> lock(q->mutex);
  if (q->nextToTake >= q->files.size() || q->files[q->nextToTake] != file) return false;
  q->changed.wait(lock, [q] { return !q->ready.empty(); });
  Queue::Decoded next = std::move(q->ready.front());
  q->ready.pop_front();
  q->readyBytes -= static_cast<size_t>(next.image.sizeInBytes());
  ++q->nextToTake;
  q->changed.notify_all();
  decoded = next.ok;
  if (decoded) *image = std::move(next.image);
  return true;
}
