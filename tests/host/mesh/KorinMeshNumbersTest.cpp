// Reals in written headers: the shortest text that reads back to the same
// value, as a person would write it, and a float spelled as a float (a file's
// box: KorinMeshRoundTrip.WriterOutputReadsAsDocumented).
#include <gtest/gtest.h>

#include <cfloat>
#include <string>

#include "host/mesh/KorinMeshSyntax.h"

namespace {

struct Spelling {
  double value;
  bool fromFloat;
  const char* text;
};

TEST(KorinMeshNumbers, ShortestPlainSpelling) {
  const Spelling cases[] = {
      {300, false, "300"},
      {0.1, false, "0.1"},
      {0.1f, true, "0.1"},
      {-149.5f, true, "-149.5"},
      {1.0f / 3, true, "0.33333334"},
      {1.0 / 3, false, "0.3333333333333333"},
      {1e20, false, "100000000000000000000"},
      {1e21, false, "1e+21"},
      {1e-7, false, "0.0000001"},
      {2.5e-8, false, "2.5e-8"},
      {FLT_MAX, true, "3.4028235e+38"},
      {-0.0, false, "-0"},
  };
  for (const Spelling& c : cases) EXPECT_EQ(KorinMeshSyntax::realText(c.value, c.fromFloat), c.text) << c.text;
}

}  // namespace
