#pragma once
// A progress display that remembers what it was told.
#include <string>
#include <vector>

#include "host/base/TbProgressInterface.h"

class ProgressRecorder : public TbProgressInterface {
 public:
  void beginWork(const char* format, ...) override {
    events.push_back(std::string("begin:") + format);
  }
  void setWorkText(const char* format, ...) override { events.push_back(std::string("text:") + format); }
  void endWork() override { events.push_back("end"); }
  void setProgress(float fraction) override { fractions.push_back(fraction); }

  std::vector<std::string> events;
  std::vector<float> fractions;
};
