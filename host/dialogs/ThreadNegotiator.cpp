#include "host/dialogs/ThreadNegotiator.h"

#include <QThread>

#include <condition_variable>
#include <cstdlib>
#include <deque>
#include <functional>
#include <mutex>
#include <system_error>

#include "host/console/UxMessage.h"

namespace {

// The one thread all dialogs live on. Steps run one at a time, oldest first,
// while their callers wait; the thread is joined by an exit handler.
class DialogThread {
 public:
  static DialogThread& instance();

  // Runs the task there and waits for it; false when it threw.
  bool runAndWait(const std::function<void()>& task);
  std::thread::id id() const { return threadId; }
  // Null once the thread no longer takes steps (never started, or joined).
  QThread* qThread();
  void stop();

 private:
  struct Job {
    const std::function<void()>* task;
    bool finished;
    bool failed;
  };

  void start();
  void announce();
  void loop();
  static bool runGuarded(const std::function<void()>& task);

  std::mutex mutex;
  std::condition_variable wake;
  std::condition_variable finished;
  std::deque<Job*> jobs;
  bool running = false;
  bool stopping = false;
  std::thread thread;
  std::thread::id threadId;
  QThread* qtThread = nullptr;
};

void stopDialogThreadAtExit() { DialogThread::instance().stop(); }

DialogThread& DialogThread::instance() {
  // Never deleted: a step asked for after the exit handler joined the thread
  // must still find the object, and then runs on its caller's thread.
  static DialogThread* const theThread = [] {
    auto* created = new DialogThread;
    created->start();
    // Registered after the thread adopted Qt's per-thread data, so it runs
    // before Qt's own exit handlers. glibc ties it to this library, so
    // unloading the library runs it too.
    std::atexit(stopDialogThreadAtExit);
    return created;
  }();
  return *theThread;
}

bool DialogThread::runGuarded(const std::function<void()>& task) {
  try {
    task();
    return true;
  } catch (...) {
    return false;
  }
}

void DialogThread::start() {
  try {
    thread = std::thread([this] {
      announce();
      loop();
    });
  } catch (const std::system_error&) {
    UxMessage::getTheMsg()->printf("dialog thread: cannot start one; dialogs run on the calling thread");
    return;
  }
  std::unique_lock<std::mutex> lock(mutex);
  finished.wait(lock, [this] { return qtThread != nullptr; });
  threadId = thread.get_id();
  running = true;
}

void DialogThread::announce() {
  QThread* self = QThread::currentThread();  // Qt adopts the thread here
  std::lock_guard<std::mutex> lock(mutex);
  qtThread = self;
  finished.notify_all();
}

void DialogThread::loop() {
  std::unique_lock<std::mutex> lock(mutex);
  for (;;) {
    wake.wait(lock, [this] { return stopping || !jobs.empty(); });
    if (jobs.empty()) return;
    Job* job = jobs.front();
    jobs.pop_front();
    lock.unlock();
    const bool ok = runGuarded(*job->task);
    lock.lock();
    job->failed = !ok;
    job->finished = true;
    finished.notify_all();
  }
}

bool DialogThread::runAndWait(const std::function<void()>& task) {
  std::unique_lock<std::mutex> lock(mutex);
  if (!running || std::this_thread::get_id() == threadId) {
    lock.unlock();
    return runGuarded(task);
  }
  Job job{&task, false, false};
  jobs.push_back(&job);
  wake.notify_one();
  finished.wait(lock, [&job] { return job.finished; });
  return !job.failed;
}

QThread* DialogThread::qThread() {
  std::lock_guard<std::mutex> lock(mutex);
  return running ? qtThread : nullptr;
}

void DialogThread::stop() {
  {
    std::lock_guard<std::mutex> lock(mutex);
    running = false;
    stopping = true;
  }
  wake.notify_all();
  if (!thread.joinable()) return;
  // exit() called by a dialog itself cannot wait for its own thread.
  if (std::this_thread::get_id() == threadId)
    thread.detach();
  else
    thread.join();
}

}  // namespace

UxThreadedDialog::~UxThreadedDialog() = default;

ThreadNegotiator::ThreadNegotiator() = default;

ThreadNegotiator::~ThreadNegotiator() { deleteForkedObject(); }

std::thread::id ThreadNegotiator::dialogThreadId() { return DialogThread::instance().id(); }

bool ThreadNegotiator::onDialogThread(const char* step, void (ThreadNegotiator::*work)()) {
  if (DialogThread::instance().runAndWait([this, work] { (this->*work)(); })) return true;
  UxMessage::getTheMsg()->printf("dialog thread: the dialog's %s step failed", step);
  return false;
}

QObject* ThreadNegotiator::createForkedObject() {
  deleteForkedObject();
  callerThread = QThread::currentThread();
  onDialogThread("create", &ThreadNegotiator::createThere);
  return object;
}

void ThreadNegotiator::createThere() {
  createThread = std::this_thread::get_id();
  object = create();
  withDialogThread = true;
  returnThere();  // the caller sets the new dialog up before it runs
}

void ThreadNegotiator::putData() {
  if (!object || withDialogThread) return;
  // Qt lets only the owning thread push an object to another one.
  if (QThread* there = DialogThread::instance().qThread()) object->moveToThread(there);
  onDialogThread("hand-over", &ThreadNegotiator::receiveThere);
}

void ThreadNegotiator::receiveThere() { withDialogThread = true; }

int ThreadNegotiator::exec() {
  if (!object) return 0;
  putData();  // a caller that skipped it must still not share the object
  result = 0;
  if (!onDialogThread("exec", &ThreadNegotiator::execThere)) return 0;
  return result;
}

void ThreadNegotiator::execThere() {
  execThread = std::this_thread::get_id();
  auto* dialog = dynamic_cast<UxThreadedDialog*>(object);
  if (!dialog) {
    UxMessage::getTheMsg()->printf("dialog thread: a %s is no dialog that can run",
                                   object->metaObject()->className());
    return;
  }
  result = dialog->exec();
}

void ThreadNegotiator::getData() {
  if (!object || !withDialogThread) return;
  callerThread = QThread::currentThread();
  onDialogThread("hand-back", &ThreadNegotiator::returnThere);
}

void ThreadNegotiator::returnThere() {
  if (object && withDialogThread && callerThread) object->moveToThread(callerThread);
  withDialogThread = false;
}

void ThreadNegotiator::deleteForkedObject() {
  if (!object) return;
  putData();  // a QObject is deleted by the thread that owns it
  onDialogThread("delete", &ThreadNegotiator::deleteThere);
  object = nullptr;
  withDialogThread = false;
}

void ThreadNegotiator::deleteThere() {
  deleteThread = std::this_thread::get_id();
  delete object;
  object = nullptr;
}
