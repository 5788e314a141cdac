// The parameter bundle: order, in-place replacement, lookups with counts and
// kind conversions, and deep copies.
#include <gtest/gtest.h>

#include <cfloat>
#include <cstring>
#include <limits>

#include "host/mesh/UxParamBundle.h"

namespace {

using Names = std::vector<std::string>;

Names namesOf(const UxParamBundle& bundle) {
  Names names;
  for (int i = 0; i < bundle.size(); ++i) names.push_back(bundle.entryName(i));
  return names;
}

TEST(UxParamBundle, KeepsInsertionOrderAndReplacesInPlace) {
  UxParamBundle bundle;
  bundle.set("Size", 3);
  bundle.set("Name", "first", 4);
  bundle.set("size", 1);  // names are compared exactly
  bundle.set("Name", "second");
  const int size[3] = {4, 5, 6};
  bundle.set("Size", 3, size);
  bundle.set("Size", 2, static_cast<const int*>(nullptr));  // null lists and negative counts are ignored
  bundle.set("Size", -1, static_cast<const float*>(nullptr));
  bundle.set("size", "now text");  // another kind replaces the value whole
  EXPECT_EQ(namesOf(bundle), (Names{"Size", "Name", "size"}));
  const char* text = nullptr;
  ASSERT_TRUE(bundle.findString("Name", text));
  EXPECT_STREQ(text, "second");
  EXPECT_EQ(bundle.entryFlags(1), 0) << "flags go with the string they came with";
  int found[3] = {0, 0, 0};
  ASSERT_TRUE(bundle.findNum("Size", 3, found));
  EXPECT_EQ(found[2], 6);
  EXPECT_FALSE(bundle.findNum("size", 1, found));
  EXPECT_EQ(bundle.entryKind(2), UxParamBundle::STRING);
  EXPECT_EQ(bundle.entryInts(2), nullptr);
  bundle.set("Empty", 0, static_cast<const int*>(nullptr));
  EXPECT_EQ(bundle.entryCount(bundle.indexOf("Empty")), 0);
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
  const float bits[5] = {0.1f, -0.0f, std::numeric_limits<float>::denorm_min(), FLT_MAX, 1.0f / 3.0f};
  bundle.set("Bits", 5, bits);
  bundle.set("Single", 0.1);
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
  float back[5];  // floats come back bit-identical, doubles too
  double wide = 0;
  ASSERT_TRUE(bundle.findReal("Bits", 5, back) && bundle.findReal("Single", 1, &wide));
  EXPECT_EQ(std::memcmp(bits, back, sizeof bits), 0);
  EXPECT_EQ(wide, 0.1);
}

// A bundle is made only when asked; parameters and bundles share one list of names.
TEST(UxParamBundle, NestedBundles) {
  UxParamBundle root;
  root.set("First", 1);
  root.set("Shared", "a parameter");
  root.set("Last", 2);
  EXPECT_EQ(root.bundle("Materials"), nullptr);
  EXPECT_EQ(root.bundle("Shared"), nullptr);
  UxParamBundle* materials = root.bundle("Materials", 1);
  ASSERT_NE(materials, nullptr);
  EXPECT_EQ(root.bundle("Materials", 1), materials);
  materials->bundle("Bone", 1)->set("Id", 3);
  int id = 0;
  EXPECT_TRUE(root.bundle("Materials")->bundle("Bone")->findNum("Id", 1, &id));
  EXPECT_EQ(id, 3);
  ASSERT_NE(root.bundle("Shared", 1), nullptr);
  EXPECT_EQ(namesOf(root), (Names{"First", "Shared", "Last", "Materials"}));
  EXPECT_EQ(root.entryKind(1), UxParamBundle::BUNDLE);
  EXPECT_EQ(root.numParameters(), 2);
  root.set("Shared", 5);
  EXPECT_EQ(root.bundle("Shared"), nullptr);
  EXPECT_EQ(namesOf(root), (Names{"First", "Shared", "Last", "Materials"}));
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

TEST(UxParamBundle, RemoveAndIndexedAccess) {
  UxParamBundle bundle;
  bundle.set("Text", "hello", 4);
  const int ints[2] = {1, 2};
  bundle.set("Ints", 2, ints);
  bundle.set("Real", 0.5);
  bundle.bundle("Sub", 1)->set("X", 1);
  EXPECT_EQ(bundle.entryFlags(0), 4);
  EXPECT_EQ((std::vector<int>{bundle.entryCount(0), bundle.entryCount(1), bundle.entryInts(1)[1]}),
            (std::vector<int>{1, 2, 2}));
  EXPECT_EQ(bundle.entryReals(2)[0], 0.5);
  EXPECT_EQ(bundle.entryBundle(3)->size(), 1);
  EXPECT_TRUE(!bundle.entryReals(1) && !bundle.entryName(4) && !bundle.entryName(-1) && !bundle.entryBundle(0));
  EXPECT_TRUE(bundle.remove("Ints"));
  EXPECT_FALSE(bundle.remove("Ints"));
  EXPECT_EQ(namesOf(bundle), (Names{"Text", "Real", "Sub"}));
  EXPECT_EQ(bundle.indexOf("Sub"), 2);
  bundle.clear();
  EXPECT_EQ(bundle.size(), 0);
}

}  // namespace
