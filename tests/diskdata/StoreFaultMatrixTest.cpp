// Every file call of a conversion, a reopen and a read fails in turn, once and
// from then on, with EIO, ENOSPC and short counts. Afterwards every coarse
// block flagged current must equal the reduction of level 0, and a conversion
// that reported success must have stored its input whole and flagged it.
#include <gtest/gtest.h>

#include <cstring>
#include <functional>

#include "blockstore/SetCheck.h"
#include "convert/SliceChunkWriter.h"
#include "support/ConsoleCapture.h"
#include "support/DiskDataOpen.h"
#include "support/FileFaults.h"
#include "support/LatticeOnDisk.h"

namespace {

const int kDims[3] = {70, 40, 14};
const float kBox[6] = {0, 1, 0, 1, 0, 1};
const ReferenceVolume<uint16_t> kInput = ReferenceVolume<uint16_t>::generated(70, 40, 14);

ReferenceVolume<uint16_t> anotherVolume() {
  ReferenceVolume<uint16_t> other = kInput;
  for (uint16_t& value : other.values) value = static_cast<uint16_t>(value * 7 + 1);
  return other;
}
const ReferenceVolume<uint16_t> kOlderInput = anotherVolume();

// The converters' road: chunks of five slices, then the levels. 1 for success.
int convert(const std::string& name, const ReferenceVolume<uint16_t>& input) {
  const int64_t sliceBytes = int64_t(kDims[0]) * kDims[1] * 2;
  SliceChunkWriter writer(sliceBytes);
  if (!writer.start(name.c_str(), kDims, 1, TbPrimType::UINT16, kBox, SliceChunkWriter::BUSY)) return 0;
  for (int s = 0; s < kDims[2]; s += 5) {
    const int n = std::min(5, kDims[2] - s);
    std::memcpy(writer.chunk(), &input.values[size_t(s) * kDims[0] * kDims[1]], size_t(n * sliceBytes));
    if (!writer.store(s, n)) return 0;
  }
  return writer.finish() ? 1 : 0;
}

int convertInput(const std::string& name) { return convert(name, kInput); }

int readAtSubsamplingTwo(const std::string& name) {
  UxDiskData* data = openDiskData(name);
  if (!data) return 0;
  std::vector<uint16_t> half(35 * 20 * 7);
  UxExternalData::BlockRequest request;
  request.data = half.data();
  const int size[3] = {35, 20, 7};
  for (int a = 0; a < 3; ++a) {
    request.size[a] = request.bufferSize[a] = size[a];
    request.subsampling[a] = 2;
  }
  const int result = data->getBlock(&request);
  UxObjectPool::getThePool()->remove(data);  // stores the flags as it goes
  return result;
}

struct Phase {
  const char* name;
  std::function<void(const std::string&)> prepare;  // runs without faults
  std::function<int(const std::string&)> run;
};

// Converted, then one full-resolution block rewritten unchanged: its coarse
// block is out of date and named in the intent record.
void convertAndTouch(const std::string& name) {
  ASSERT_EQ(convertInput(name), 1);
  UxDiskData* data = openDiskData(name);
  ASSERT_TRUE(data);
  LatticeManager& lattice = *data->latticeManager;
  const int origin[3] = {32, 16, 4}, size[3] = {32, 16, 4};
  ReferenceVolume<uint16_t> block(32, 16, 4);
  for (int z = 0; z < 4; ++z)
    for (int y = 0; y < 16; ++y)
      for (int x = 0; x < 32; ++x) block.at(x, y, z) = kInput.at(32 + x, 16 + y, 4 + z);
  ASSERT_EQ(lattice.putBlock(block.values.data(), origin, size, origin, size), 1);
  lattice.blockManager->validsModified = 0;  // gone before its flags were stored
  UxObjectPool::getThePool()->remove(data);
}

const Phase kPhases[] = {
    {"conversion", [](const std::string&) {}, convertInput},
    // An agreed overwrite of an older set: whatever fails, no set may load
    // whole that does not hold the new input.
    {"overwrite", [](const std::string& name) { ASSERT_EQ(convert(name, kOlderInput), 1); },
     [](const std::string& name) {
       UxBatchAnswers::push(UxBatchAnswers::WARNING, {"Yes to All"});
       return convertInput(name);
     }},
    {"reopen", convertAndTouch,
     [](const std::string& name) {
       UxDiskData* data = openDiskData(name);
       if (data) UxObjectPool::getThePool()->remove(data);
       return data ? 1 : 0;
     }},
    {"read", convertAndTouch, readAtSubsamplingTwo},
};

TEST(StoreFaultMatrix, EveryCallFailsInTurnAndNothingStaleIsTrusted) {
  for (const Phase& phase : kPhases) {
    int calls[FileFaults::NUM_OPS];
    {
      TempDir dir;
      ConsoleCapture quiet;
      FileFaults counter;
      phase.prepare(dir.file("p.km"));
      counter.resetCounts();
      ASSERT_EQ(phase.run(dir.file("p.km")), 1) << phase.name;
      for (int op = 0; op < FileFaults::NUM_OPS; ++op) calls[op] = counter.calls(FileFaults::Op(op));
    }
    for (int op = 0; op < FileFaults::NUM_OPS; ++op)
      for (int n = 1; n <= calls[op]; ++n)
        for (FileFaults::Failure how : {FileFaults::IO_ERROR, FileFaults::NO_SPACE, FileFaults::SHORT_COUNT})
          for (bool persistent : {false, true}) {
            const bool transfer = op == FileFaults::READ || op == FileFaults::WRITE;
            if (how != FileFaults::IO_ERROR && !transfer) continue;  // only transfers have counts to cut
            const std::string where = std::string(phase.name) + ": call " + std::to_string(n) + " of op " +
                                      std::to_string(op) + ", failure " + std::to_string(how) +
                                      (persistent ? ", persistent" : ", once");
            TempDir dir;
            const std::string name = dir.file("p.km");
            ConsoleCapture console;
            FileFaults faults;  // syncs are recorded, not waited for
            phase.prepare(name);
            faults.resetCounts();
            faults.failCall(FileFaults::Op(op), n, how, persistent);
            const int result = phase.run(name);
            faults.resetCounts();
            UxDiskData* data = openDiskData(name);
            ASSERT_TRUE(data || result == 0) << where;
            if (!data) continue;
            LatticeManager& lattice = *data->latticeManager;
            EXPECT_EQ(LatticeOnDisk::staleCoarseBlocks<uint16_t>(lattice), 0) << where;
            const bool converting = std::string(phase.name) == "conversion" || std::string(phase.name) == "overwrite";
            const bool loadsWhole = checkSet(lattice).neverWrittenLevel0 == 0;
            if (result == 1 || !converting || loadsWhole) {
              // A failed overwrite may leave the older set as it was, never a mix.
              const auto values = LatticeOnDisk::levelZero<uint16_t>(lattice).values;
              const bool older = result == 0 && std::string(phase.name) == "overwrite" && values == kOlderInput.values;
              EXPECT_TRUE(values == kInput.values || older) << where;
            }
            if (result == 1 && converting) {
              EXPECT_TRUE(loadsWhole) << where;
              if (!lattice.coarseLevelsCurrent()) {
                EXPECT_EQ(console.count("Warning: the coarser levels of " + name), 1) << where;
              }
            }
            UxObjectPool::getThePool()->remove(data);
          }
  }
}

}  // namespace
