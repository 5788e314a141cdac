#include "host/dialogs/ThreadNegotiator.h"

#include <gtest/gtest.h>

#include <QThread>

#include <atomic>
#include <functional>
#include <cstdlib>
#include <thread>

namespace {

// Where a probe dialog's life went; written on the dialog thread and read by
// the test only after the negotiator handed control back.
struct Trace {
  std::thread::id builtOn, ranOn, destroyedOn;
  bool ownedWhileRunning = false;
};

std::atomic<int> liveProbes{0};

class ProbeDialog : public QObject, public UxThreadedDialog {
 public:
  explicit ProbeDialog(Trace* trace) : trace(trace) {
    trace->builtOn = std::this_thread::get_id();
    ++liveProbes;
  }
  ~ProbeDialog() override {
    trace->destroyedOn = std::this_thread::get_id();
    --liveProbes;
  }
  int exec() override {
    trace->ranOn = std::this_thread::get_id();
    trace->ownedWhileRunning = thread() == QThread::currentThread();
    doubled = request * 2;
    return accept ? 1 : 0;
  }

  int request = 0;  // set by the caller before putData
  bool accept = true;
  int doubled = -1;  // set by the dialog, read after getData
  Trace* trace;
};

// A negotiator whose create step is given.
class GivenNegotiator : public ThreadNegotiator {
 public:
  explicit GivenNegotiator(std::function<QObject*()> make) : make(std::move(make)) {}
  QObject* create() override { return make(); }
  std::function<QObject*()> make;
};

// A negotiator of probe dialogs that report to `trace`.
struct ProbeNegotiator : GivenNegotiator {
  explicit ProbeNegotiator(Trace* trace) : GivenNegotiator([trace] { return new ProbeDialog(trace); }) {}
};

// One whole round as a package runs it; answers the dialog's doubled request.
int oneRound(int request, Trace& trace) {
  ProbeNegotiator negotiator(&trace);
  ProbeDialog* probe = static_cast<ProbeDialog*>(negotiator.createForkedObject());
  if (!probe) return -1;
  probe->request = request;
  negotiator.putData();
  const int accepted = negotiator.exec();
  negotiator.getData();
  const int doubled = accepted ? probe->doubled : -1;
  negotiator.deleteForkedObject();
  return doubled;
}

// Create, exec and delete run on one dialog thread, shared by every
// negotiator and every caller; the caller sets the dialog up between, and
// settings travel both ways, round after round. Objects forgotten by the
// caller, or replaced by a second create, are deleted there too.
TEST(ThreadNegotiatorTest, EveryStepRunsOnTheOneDialogThread) {
  Trace trace, fromElsewhere, forgotten, replaced;
  ProbeNegotiator negotiator(&trace);
  ProbeDialog* probe = static_cast<ProbeDialog*>(negotiator.createForkedObject());
  ASSERT_NE(probe, nullptr);
  EXPECT_EQ(negotiator.forkedObject(), probe);
  EXPECT_EQ(probe->thread(), QThread::currentThread()) << "the caller sets a new dialog up";
  for (const int request : {21, 5}) {  // a second round on the same dialog sees the new setting
    probe->request = request;
    probe->accept = request == 21;
    negotiator.putData();
    EXPECT_EQ(negotiator.exec(), request == 21 ? 1 : 0);
    negotiator.getData();
    EXPECT_EQ(probe->doubled, 2 * request);
    EXPECT_EQ(probe->thread(), QThread::currentThread());
  }
  negotiator.deleteForkedObject();
  EXPECT_EQ(negotiator.forkedObject(), nullptr);
  std::thread caller([&fromElsewhere] { oneRound(3, fromElsewhere); });
  caller.join();
  {
    ProbeNegotiator left(&forgotten);
    left.createForkedObject();
    left.putData();
    left.exec();  // no getData, no deleteForkedObject
  }
  {
    ProbeNegotiator twice(&replaced);
    twice.createForkedObject();
    EXPECT_NE(twice.createForkedObject(), nullptr);
    EXPECT_EQ(liveProbes, 1) << "the first object was not deleted";
  }
  const std::thread::id dialogThread = ThreadNegotiator::dialogThreadId();
  EXPECT_NE(dialogThread, std::this_thread::get_id());
  for (const std::thread::id on : {trace.builtOn, trace.ranOn, trace.destroyedOn, negotiator.createdOn(),
                                   negotiator.execOn(), negotiator.deletedOn(), fromElsewhere.ranOn,
                                   forgotten.destroyedOn, replaced.destroyedOn})
    EXPECT_EQ(on, dialogThread);
  EXPECT_TRUE(trace.ownedWhileRunning) << "Qt's thread affinity did not follow the hand-over";
  EXPECT_EQ(liveProbes, 0);
}

// Set by a per-thread object of the dialog thread as that thread ends.
std::atomic<bool> dialogThreadEnded{false};

struct EndOfThreadWitness {
  ~EndOfThreadWitness() { dialogThreadEnded = true; }
};

class WitnessDialog : public QObject, public UxThreadedDialog {
 public:
  int exec() override {
    static thread_local EndOfThreadWitness witness;
    (void)witness;
    return 1;
  }
};

// Exit handlers run last-registered first: this one, registered before the
// dialog thread exists, runs after the host's handler and sees whether the
// dialog thread really ended.
void reportWhetherTheDialogThreadEnded() { std::_Exit(dialogThreadEnded ? 42 : 43); }

TEST(ThreadNegotiatorExitTest, ExitJoinsTheDialogThread) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");  // a fresh process, without a dialog thread yet
  EXPECT_EXIT(
      {
        std::atexit(reportWhetherTheDialogThreadEnded);
        GivenNegotiator negotiator([] { return new WitnessDialog; });
        negotiator.createForkedObject();
        negotiator.exec();
        negotiator.getData();
        negotiator.deleteForkedObject();
        std::exit(0);
      },
      ::testing::ExitedWithCode(42), "");
}

}  // namespace
