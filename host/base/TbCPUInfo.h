#pragma once
// TbCPUInfo: facts about the processor the host runs on.

class TbCPUInfo {
 public:
  static bool isLittleEndian() {
    const int one = 1;
    return *reinterpret_cast<const unsigned char*>(&one) == 1;
  }
};
