#pragma once
// ThreadNegotiator: builds one of the host's dialogs on the host's dialog
// thread and passes it back and forth between that thread and the caller's.
//
// The host keeps every dialog on one process-wide dialog thread, started on
// first use and joined when the process exits normally (exit or a return
// from main). A subclass says in create() how to make its dialog; every other
// step is here:
//
//   QObject* d = n.createForkedObject();   // made there, now the caller's
//   ... set d up ...
//   n.putData();                           // d is the dialog thread's now
//   int result = n.exec();                 // d's exec() runs there
//   n.getData();                           // d is the caller's again
//   ... read d's answer ...
//   n.deleteForkedObject();                // deleted there
//
// Between putData and getData the caller must not touch the object at all:
// the dialog thread owns it (Qt's thread affinity moves with it) and the two
// calls are the synchronisation points that make the hand-overs safe.
//
// Failures give results, never exceptions: createForkedObject answers null
// when create() made nothing or threw; exec answers 0 without an object, for
// an object that is not a UxThreadedDialog, or when its exec threw (the
// console says which); putData, getData and deleteForkedObject without an
// object do nothing. If no dialog thread can be started, or after it was
// joined at exit, the steps run on the caller's thread instead. A step asked
// for on the dialog thread itself (a dialog opening another) runs at once.
// The destructor deletes a forked object that was left behind.
#include <QObject>

#include <thread>

// What a dialog offers so that the dialog thread can run it: exec answers
// 1 when accepted, 0 when cancelled.
class UxThreadedDialog {
 public:
  virtual ~UxThreadedDialog();
  virtual int exec() = 0;
};

class ThreadNegotiator : public QObject {
  Q_OBJECT

 public:
  ThreadNegotiator();
  ~ThreadNegotiator() override;
  ThreadNegotiator(const ThreadNegotiator&) = delete;
  ThreadNegotiator& operator=(const ThreadNegotiator&) = delete;

  // Makes the dialog; called on the dialog thread. The object must have no parent.
  virtual QObject* create() = 0;

  // Runs create() on the dialog thread and keeps its object (deleting an
  // earlier one first); the object is then the caller's to set up.
  QObject* createForkedObject();
  void putData();
  int exec();
  void getData();
  void deleteForkedObject();
  QObject* forkedObject() const { return object; }

  // Where the last create, exec and delete ran (a default id when not yet).
  std::thread::id createdOn() const { return createThread; }
  std::thread::id execOn() const { return execThread; }
  std::thread::id deletedOn() const { return deleteThread; }
  // The dialog thread's id (starting it if need be).
  static std::thread::id dialogThreadId();

 private:
  bool onDialogThread(const char* step, void (ThreadNegotiator::*work)());
  void createThere();
  void receiveThere();
  void execThere();
  void returnThere();
  void deleteThere();

  QObject* object = nullptr;
  bool withDialogThread = false;
  int result = 0;
  QThread* callerThread = nullptr;
  std::thread::id createThread;
  std::thread::id execThread;
  std::thread::id deleteThread;
};
