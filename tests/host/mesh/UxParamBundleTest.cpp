// The parameter bundle: order, in-place replacement, lookups with counts and
// kind conversions, and deep copies.
#include <gtest/gtest.h>

#include <cfloat>
#include <cmath>
#include <cstring>
#include <limits>

#include "host/mesh/UxParamBundle.h"

namespace {

std::vector<std::string> namesOf(const UxParamBundle& bundle) {
  std::vector<std::string> names;
  for (int i = 0; i < bundle.size(); ++i) names.push_back(bundle.entryName(i));
  return names;
}

using Names = std::vector<std::string>;

}  // namespace

TEST(UxParamBundleSet, KeepsInsertionOrderAndReplacesInPlace) {
  UxParamBundle bundle;
  bundle.set("Size", 3);
  bundle.set("Name", "first");
  bundle.set("Scale", 2.5);
  bundle.set("Name", "second");
  const int size[3] = {4, 5, 6};
  bundle.set("Size", 3, size);
  EXPECT_EQ(namesOf(bundle), (Names{"Size", "Name", "Scale"}));

  const char* name = nullptr;
  ASSERT_TRUE(bundle.findString("Name", name));
  EXPECT_STREQ(name, "second");
  int found[3] = {0, 0, 0};
  ASSERT_TRUE(bundle.findNum("Size", 3, found));
  EXPECT_EQ(found[2], 6);
}

TEST(UxParamBundleSet, AValueOfAnotherKindReplacesTheOldOneWhole) {
  UxParamBundle bundle;
  bundle.set("Value", "text");
  bundle.set("Other", 1);
  bundle.set("Value", 7);
  EXPECT_EQ(namesOf(bundle), (Names{"Value", "Other"}));
  const char* text = nullptr;
  EXPECT_FALSE(bundle.findString("Value", text));
  EXPECT_EQ(bundle.entryKind(0), UxParamBundle::INTS);
  EXPECT_EQ(bundle.entryString(0), nullptr);
}

TEST(UxParamBundleSet, NamesAreComparedExactly) {
  UxParamBundle bundle;
  bundle.set("size", 1);
  bundle.set("Size", 2);
  bundle.set("Size ", 3);
  EXPECT_EQ(bundle.size(), 3);
  int value = 0;
  ASSERT_TRUE(bundle.findNum("Size", 1, &value));
  EXPECT_EQ(value, 2);
}

TEST(UxParamBundleSet, IgnoresNullListsAndNegativeCounts) {
  UxParamBundle bundle;
  bundle.set("Keep", 5);
  bundle.set("Keep", 2, static_cast<const int*>(nullptr));
  bundle.set("Keep", -1, static_cast<const float*>(nullptr));
  int value = 0;
  ASSERT_TRUE(bundle.findNum("Keep", 1, &value));
  EXPECT_EQ(value, 5);
  bundle.set("Empty", 0, static_cast<const int*>(nullptr));
  EXPECT_EQ(bundle.entryCount(bundle.indexOf("Empty")), 0);
}

TEST(UxParamBundleFind, FewerValuesThanAskedLeavesOutputsUntouched) {
  UxParamBundle bundle;
  const float box[4] = {1, 2, 3, 4};
  bundle.set("Box", 4, box);
  float reals[6] = {-1, -1, -1, -1, -1, -1};
  EXPECT_FALSE(bundle.findReal("Box", 6, reals));
  for (float value : reals) EXPECT_EQ(value, -1);
  int ints[6] = {-1, -1, -1, -1, -1, -1};
  EXPECT_FALSE(bundle.findNum("Box", 5, ints));
  for (int value : ints) EXPECT_EQ(value, -1);
  EXPECT_TRUE(bundle.findReal("Box", 4, reals));
  EXPECT_EQ(reals[3], 4);
  EXPECT_EQ(reals[4], -1);
}

TEST(UxParamBundleFind, MissingNamesAndStringsAreNotNumbers) {
  UxParamBundle bundle;
  bundle.set("Text", "12");
  int number = 99;
  float real = 99;
  EXPECT_FALSE(bundle.findNum("Text", 1, &number));
  EXPECT_FALSE(bundle.findReal("Text", 1, &real));
  EXPECT_FALSE(bundle.findNum("Missing", 1, &number));
  const char* text = "untouched";
  EXPECT_FALSE(bundle.findString("Missing", text));
  EXPECT_STREQ(text, "untouched");
  EXPECT_EQ(number, 99);
  EXPECT_EQ(real, 99);
}

TEST(UxParamBundleFind, ConvertsBetweenIntsAndIntegralReals) {
  UxParamBundle bundle;
  const int dims[3] = {64, -64, 32};
  bundle.set("Dims", 3, dims);
  const float whole[2] = {3.0f, -7.0f};
  bundle.set("Whole", 2, whole);
  const float half[2] = {3.0f, 7.5f};
  bundle.set("Half", 2, half);
  bundle.set("Huge", 1e12);

  float asReal[3];
  ASSERT_TRUE(bundle.findReal("Dims", 3, asReal));
  EXPECT_EQ(asReal[1], -64.0f);
  int asInt[2] = {0, 0};
  ASSERT_TRUE(bundle.findNum("Whole", 2, asInt));
  EXPECT_EQ(asInt[1], -7);
  // Only the values asked for need be integral.
  EXPECT_TRUE(bundle.findNum("Half", 1, asInt));
  asInt[1] = 42;
  EXPECT_FALSE(bundle.findNum("Half", 2, asInt));
  EXPECT_EQ(asInt[1], 42);
  EXPECT_FALSE(bundle.findNum("Huge", 1, asInt));
}

TEST(UxParamBundleFind, FloatsComeBackBitIdentical) {
  const float values[5] = {0.1f, -0.0f, std::numeric_limits<float>::denorm_min(), FLT_MAX,
                           1.0f / 3.0f};
  UxParamBundle bundle;
  bundle.set("Values", 5, values);
  float back[5];
  ASSERT_TRUE(bundle.findReal("Values", 5, back));
  EXPECT_EQ(std::memcmp(values, back, sizeof values), 0);
  bundle.set("Single", 0.1);
  double wide = 0;
  ASSERT_TRUE(bundle.findReal("Single", 1, &wide));
  EXPECT_EQ(wide, 0.1);
}

TEST(UxParamBundleNesting, BundleIsCreatedOnlyWhenAsked) {
  UxParamBundle root;
  EXPECT_EQ(root.bundle("Materials"), nullptr);
  EXPECT_EQ(root.size(), 0);
  UxParamBundle* materials = root.bundle("Materials", 1);
  ASSERT_NE(materials, nullptr);
  EXPECT_EQ(root.bundle("Materials", 1), materials);
  materials->bundle("Bone", 1)->set("Id", 3);
  int id = 0;
  ASSERT_NE(root.bundle("Materials")->bundle("Bone"), nullptr);
  EXPECT_TRUE(root.bundle("Materials")->bundle("Bone")->findNum("Id", 1, &id));
  EXPECT_EQ(id, 3);
}

TEST(UxParamBundleNesting, ParametersAndBundlesShareNames) {
  UxParamBundle root;
  root.set("First", 1);
  root.set("Shared", "a parameter");
  root.set("Last", 2);
  EXPECT_EQ(root.bundle("Shared"), nullptr);
  ASSERT_NE(root.bundle("Shared", 1), nullptr);
  EXPECT_EQ(namesOf(root), (Names{"First", "Shared", "Last"}));
  EXPECT_EQ(root.entryKind(1), UxParamBundle::BUNDLE);
  EXPECT_EQ(root.numParameters(), 2);

  root.set("Shared", 5);
  EXPECT_EQ(root.bundle("Shared"), nullptr);
  EXPECT_EQ(namesOf(root), (Names{"First", "Shared", "Last"}));
}

TEST(UxParamBundleCopy, ReplacesSameNamesInPlaceAndAppendsTheRest) {
  UxParamBundle target;
  target.set("A", 1);
  target.set("B", "old");
  target.bundle("Sub", 1)->set("Kept", 1);
  UxParamBundle source;
  source.set("C", 3);
  source.set("B", "new");
  source.bundle("Sub", 1)->set("Fresh", 2);

  target.copy(source);
  EXPECT_EQ(namesOf(target), (Names{"A", "B", "Sub", "C"}));
  const char* b = nullptr;
  ASSERT_TRUE(target.findString("B", b));
  EXPECT_STREQ(b, "new");
  // A same-named sub-bundle is replaced, not merged.
  EXPECT_EQ(namesOf(*target.bundle("Sub")), (Names{"Fresh"}));
}

TEST(UxParamBundleCopy, IsDeep) {
  UxParamBundle source;
  source.bundle("Outer", 1)->bundle("Inner", 1)->set("Value", 1);
  UxParamBundle copied;
  copied.copy(source);
  UxParamBundle constructed(source);
  UxParamBundle assigned;
  assigned.set("Gone", 1);
  assigned = source;

  source.bundle("Outer")->bundle("Inner")->set("Value", 2);
  source.bundle("Outer")->set("Added", 1);
  for (const UxParamBundle* other : {&copied, &constructed, &assigned}) {
    const UxParamBundle* outer = other->bundle("Outer");
    ASSERT_NE(outer, nullptr);
    EXPECT_EQ(outer->size(), 1);
    int value = 0;
    ASSERT_TRUE(outer->bundle("Inner")->findNum("Value", 1, &value));
    EXPECT_EQ(value, 1);
  }
  EXPECT_EQ(assigned.indexOf("Gone"), -1);
}

TEST(UxParamBundleCopy, IntoItsOwnDescendantCopiesTheStateBefore) {
  UxParamBundle root;
  root.set("Value", 1);
  UxParamBundle* child = root.bundle("Child", 1);
  child->copy(root);
  EXPECT_EQ(namesOf(*child), (Names{"Value", "Child"}));
  EXPECT_EQ(child->bundle("Child")->size(), 0);
  root.copy(root);
  EXPECT_EQ(namesOf(root), (Names{"Value", "Child"}));
  root = *root.bundle("Child");
  EXPECT_EQ(namesOf(root), (Names{"Value", "Child"}));
}

TEST(UxParamBundleEntries, RemoveAndIndexedAccess) {
  UxParamBundle bundle;
  bundle.set("Text", "hello");
  const int ints[2] = {1, 2};
  bundle.set("Ints", 2, ints);
  bundle.set("Real", 0.5);
  bundle.bundle("Sub", 1)->set("X", 1);

  EXPECT_EQ(bundle.entryCount(0), 1);
  EXPECT_EQ(bundle.entryCount(1), 2);
  EXPECT_EQ(bundle.entryInts(1)[1], 2);
  EXPECT_EQ(bundle.entryReals(2)[0], 0.5);
  EXPECT_EQ(bundle.entryReals(1), nullptr);
  EXPECT_EQ(bundle.entryBundle(3)->size(), 1);
  EXPECT_EQ(bundle.entryName(4), nullptr);
  EXPECT_EQ(bundle.entryName(-1), nullptr);
  EXPECT_EQ(bundle.entryBundle(0), nullptr);

  EXPECT_TRUE(bundle.remove("Ints"));
  EXPECT_FALSE(bundle.remove("Ints"));
  EXPECT_EQ(namesOf(bundle), (Names{"Text", "Real", "Sub"}));
  EXPECT_EQ(bundle.indexOf("Sub"), 2);
  bundle.clear();
  EXPECT_EQ(bundle.size(), 0);
}

TEST(UxParamBundleEntries, FlagsStayWithTheString) {
  UxParamBundle bundle;
  bundle.set("Tagged", "value", 4);
  EXPECT_EQ(bundle.entryFlags(0), 4);
  bundle.set("Tagged", "other");
  EXPECT_EQ(bundle.entryFlags(0), 0);
}
