#pragma once
// TbProgressInterface: what the host offers to show the progress of long work.
// The order of the virtual operations is part of the host's interface:
// beginWork, setWorkText, endWork, setProgress.

class TbProgressInterface {
 public:
  virtual void beginWork(const char* format, ...) __attribute__((format(printf, 2, 3))) = 0;
  virtual void setWorkText(const char* format, ...) __attribute__((format(printf, 2, 3))) = 0;
  virtual void endWork() = 0;
  virtual void setProgress(float fraction) = 0;
  virtual ~TbProgressInterface() = default;
};
