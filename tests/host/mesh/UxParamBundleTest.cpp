// The parameter bundle: one ordered list of names replaced in place, lookups
// with counts and kind conversions, and deep copies.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "host/mesh/UxParamBundle.h"

namespace {

using Names = std::vector<std::string>;

Names namesOf(const UxParamBundle& bundle) {
  Names names;
  for (int i = 0; i < bundle.size(); ++i) names.push_back(bundle.entryName(i));
  return names;
}

// One list of names for parameters and bundles, in the order first set;
// a new value, even of another kind, replaces the old one in place and whole;
// a bundle is made only when asked.
TEST(UxParamBundle, OneOrderedListOfNamesReplacedInPlace) {
  UxParamBundle bundle;
  bundle.set("Size", 3);
  bundle.set("Name", "first", 4);
  bundle.set("size", 1);  // names are compared exactly
  EXPECT_EQ(bundle.entryFlags(1), 4);
  bundle.set("Name", "second");
  const int size[3] = {4, 5, 6};
  bundle.set("Size", 3, size);
  bundle.set("Size", 2, static_cast<const int*>(nullptr));  // null lists and negative counts are ignored
  bundle.set("Size", -1, static_cast<const float*>(nullptr));
  bundle.set("size", "now text");
  bundle.set("Shared", 5);
  EXPECT_EQ(bundle.bundle("Materials"), nullptr);
  EXPECT_EQ(bundle.bundle("Shared"), nullptr);
  UxParamBundle* materials = bundle.bundle("Materials", 1);
  EXPECT_EQ(bundle.bundle("Materials", 1), materials);
  ASSERT_NE(bundle.bundle("Shared", 1), nullptr);
  EXPECT_EQ(namesOf(bundle), (Names{"Size", "Name", "size", "Shared", "Materials"}));
  EXPECT_EQ(bundle.numParameters(), 3);
  const char* text = nullptr;
  ASSERT_TRUE(bundle.findString("Name", text));
  EXPECT_STREQ(text, "second");
  EXPECT_EQ(bundle.entryFlags(1), 0) << "flags go with the string they came with";
  int found[3] = {0, 0, 0};
  ASSERT_TRUE(bundle.findNum("Size", 3, found));
  EXPECT_EQ(found[2], 6);
  EXPECT_FALSE(bundle.findNum("size", 1, found));
  EXPECT_EQ(bundle.entryInts(2), nullptr);
  EXPECT_TRUE(!bundle.entryName(5) && !bundle.entryName(-1) && !bundle.entryBundle(0));
  EXPECT_TRUE(bundle.remove("size"));
  EXPECT_FALSE(bundle.remove("size"));
  EXPECT_EQ(namesOf(bundle), (Names{"Size", "Name", "Shared", "Materials"}));
  bundle.clear();
  EXPECT_EQ(bundle.size(), 0);
}

// Lookups succeed only with as many values as asked, of a kind that converts
// (integral reals to ints, only as far as asked), and leave the outputs
// untouched otherwise.
TEST(UxParamBundle, FindsWithCountsAndKindConversions) {
  UxParamBundle bundle;
  const float box[4] = {1, 2, 3, 4}, whole[2] = {3.0f, -7.0f}, half[2] = {3.0f, 7.5f};
  const int dims[3] = {64, -64, 32};
  bundle.set("Box", 4, box);
  bundle.set("Dims", 3, dims);
  bundle.set("Whole", 2, whole);
  bundle.set("Half", 2, half);
  bundle.set("Huge", 1e12);
  bundle.set("Text", "12");
  float reals[6] = {-1, -1, -1, -1, -1, -1};
  int ints[6] = {-1, -1, -1, -1, -1, -1};
  const char* text = "untouched";
  EXPECT_FALSE(bundle.findReal("Box", 6, reals));
  EXPECT_FALSE(bundle.findNum("Box", 5, ints));
  EXPECT_FALSE(bundle.findNum("Half", 2, ints));
  EXPECT_FALSE(bundle.findNum("Huge", 1, ints));
  EXPECT_FALSE(bundle.findNum("Text", 1, ints));
  EXPECT_FALSE(bundle.findReal("Text", 1, reals));
  EXPECT_FALSE(bundle.findNum("Missing", 1, ints));
  EXPECT_FALSE(bundle.findString("Missing", text));
  EXPECT_EQ(std::vector<float>(reals, reals + 6), std::vector<float>(6, -1));
  EXPECT_EQ(std::vector<int>(ints, ints + 6), std::vector<int>(6, -1));
  EXPECT_STREQ(text, "untouched");
  EXPECT_TRUE(bundle.findReal("Box", 4, reals));
  EXPECT_EQ(std::vector<float>(reals, reals + 6), (std::vector<float>{1, 2, 3, 4, -1, -1}));
  EXPECT_TRUE(bundle.findReal("Dims", 3, reals));
  EXPECT_EQ(reals[1], -64.0f);
  EXPECT_TRUE(bundle.findNum("Whole", 2, ints));
  EXPECT_EQ(ints[1], -7);
  EXPECT_TRUE(bundle.findNum("Half", 1, ints));
}

// copy replaces same names in place (a sub-bundle whole, not merged) and
// appends the rest; copies are deep, even into the bundle's own descendant.
TEST(UxParamBundle, CopiesAreDeep) {
  UxParamBundle target, source;
  target.set("A", 1);
  target.set("B", "old");
  target.bundle("Sub", 1)->set("Kept", 1);
  source.set("C", 3);
  source.set("B", "new");
  source.bundle("Sub", 1)->bundle("Inner", 1)->set("Value", 1);
  target.copy(source);
  EXPECT_EQ(namesOf(target), (Names{"A", "B", "Sub", "C"}));
  EXPECT_EQ(namesOf(*target.bundle("Sub")), Names{"Inner"});
  UxParamBundle constructed(source), assigned;
  assigned.set("Gone", 1);
  assigned = source;
  source.bundle("Sub")->bundle("Inner")->set("Value", 2);
  source.bundle("Sub")->set("Added", 1);
  for (const UxParamBundle* other : {&target, &constructed, &assigned}) {
    int value = 0;
    ASSERT_TRUE(other->bundle("Sub")->bundle("Inner")->findNum("Value", 1, &value));
    EXPECT_EQ(value, 1);
    EXPECT_EQ(other->bundle("Sub")->size(), 1);
  }
  EXPECT_EQ(assigned.indexOf("Gone"), -1);

  UxParamBundle root;
  root.set("Value", 1);
  UxParamBundle* child = root.bundle("Child", 1);
  child->copy(root);  // the state before the copy
  EXPECT_EQ(namesOf(*child), (Names{"Value", "Child"}));
  EXPECT_EQ(child->bundle("Child")->size(), 0);
  root.copy(root);
  root = *root.bundle("Child");
  EXPECT_EQ(namesOf(root), (Names{"Value", "Child"}));
}

}  // namespace
