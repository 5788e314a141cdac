#include "host/types/TbTypeInfo.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "host/base/TbDArray.h"
#include "host/objects/UxExternalData.h"

namespace {

struct Gadget : TbTypedObject {
  static TbTypeInfo* getClassTypeId() {
    static TbTypeInfo record("TbTypeInfoTestGadget", make, TbTypedObject::getClassTypeId());
    return &record;
  }
  TbTypeInfo* getTypeId() const override { return getClassTypeId(); }
  static TbTypedObject* make() { return new Gadget; }
};

bool isListed(const TbTypeInfo* record) {
  TbDArray<TbTypeInfo*> all;
  TbTypeInfo::getAll(all);
  for (int i = 0; i < all.size(); ++i)
    if (all[i] == record) return true;
  return false;
}

// A record is found by its name (a copy) while it lives, the first of two
// with one name first, and forgotten after.
TEST(TbTypeInfoRegistry, RecordsAreFoundByNameWhileTheyLive) {
  std::string name = "TbTypeInfoTestTwin";
  TbTypeInfo first(name.c_str(), nullptr, nullptr);
  name[0] = 'X';
  EXPECT_STREQ(first.getName(), "TbTypeInfoTestTwin");
  const TbTypeInfo* gone = nullptr;
  {
    TbTypeInfo second("TbTypeInfoTestTwin", nullptr, nullptr), shortLived("TbTypeInfoTestShortLived", nullptr, nullptr);
    EXPECT_EQ(TbTypeInfo::fromName("TbTypeInfoTestTwin"), &first);
    EXPECT_EQ(TbTypeInfo::fromName("TbTypeInfoTestShortLived"), &shortLived);
    EXPECT_TRUE(isListed(&second) && isListed(&shortLived));
    gone = &shortLived;
  }
  EXPECT_EQ(TbTypeInfo::fromName("TbTypeInfoTestShortLived"), nullptr);
  EXPECT_FALSE(isListed(gone));
  EXPECT_EQ(TbTypeInfo::fromName("TbTypeInfoTestTwin"), &first);
  EXPECT_EQ(TbTypeInfo::fromName(nullptr), nullptr);
}

// Derivation is reflexive and one way; a factory makes objects of its type,
// which know their ancestors; a type without one makes nothing.
TEST(TbTypeInfoHierarchy, TypesKnowTheirAncestors) {
  const TbTypeInfo* external = UxExternalData::getClassTypeId();
  EXPECT_TRUE(external->isDerivedFrom(external));
  EXPECT_TRUE(external->isDerivedFrom(TbTypeInfo::fromName("UxObject")));
  EXPECT_FALSE(UxObject::getClassTypeId()->isDerivedFrom(external));
  EXPECT_FALSE(external->isDerivedFrom(Gadget::getClassTypeId()));
  EXPECT_FALSE(external->isDerivedFrom(nullptr));
  std::unique_ptr<TbTypedObject> made(Gadget::getClassTypeId()->createInstance());
  ASSERT_NE(made, nullptr);
  EXPECT_EQ(made->getTypeId(), Gadget::getClassTypeId());
  EXPECT_EQ(UxData::getClassTypeId()->createInstance(), nullptr);
  const int dims[3] = {1, 1, 1};
  UxExternalData data(dims, 1, TbPrimType::UINT8);
  EXPECT_TRUE(data.isOfType(UxData::getClassTypeId()));
  EXPECT_TRUE(data.isOfType(TbTypedObject::getClassTypeId()));
  EXPECT_FALSE(data.isOfType(Gadget::getClassTypeId()));
  EXPECT_FALSE(UxObject().isOfType(UxData::getClassTypeId()));
}

}  // namespace
