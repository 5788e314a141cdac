// The fuzz corpus replayed: every input must go through its target cleanly.
#include <gtest/gtest.h>

#include <filesystem>

#include "FuzzTargets.h"
#include "support/TempDir.h"

namespace {

TEST(FuzzCorpus, EveryInputGoesThroughItsTarget) {
  const std::string corpus = std::string(KORIN_SOURCE_DIR) + "/tests/fuzz/corpus/";
  const std::pair<const char*, int (*)(const uint8_t*, size_t)> targets[] = {
      {"description", fuzzDescription}, {"set", fuzzSetOpening}, {"lda", fuzzLdaStore}};
  for (const auto& target : targets) {
    int inputs = 0;
    for (const auto& entry : std::filesystem::directory_iterator(corpus + target.first)) {
      const std::string bytes = readWholeFile(entry.path().string());
      EXPECT_EQ(target.second(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size()), 0) << entry.path();
      ++inputs;
    }
    EXPECT_GT(inputs, 0) << target.first;
  }
}

}  // namespace
