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

TEST(TbTypeInfoRegistry, RecordIsFoundByNameWhileItLivesAndForgottenAfter) {
  auto record = std::make_unique<TbTypeInfo>("TbTypeInfoTestShortLived", nullptr, nullptr);
  EXPECT_EQ(TbTypeInfo::fromName("TbTypeInfoTestShortLived"), record.get());
  EXPECT_TRUE(isListed(record.get()));
  const TbTypeInfo* gone = record.get();
  record.reset();
  EXPECT_EQ(TbTypeInfo::fromName("TbTypeInfoTestShortLived"), nullptr);
  EXPECT_FALSE(isListed(gone));
  EXPECT_EQ(TbTypeInfo::fromName(nullptr), nullptr);
}

TEST(TbTypeInfoRegistry, TheFirstOfTwoRecordsWithOneNameIsFoundBothAreListed) {
  TbTypeInfo first("TbTypeInfoTestTwin", nullptr, nullptr);
  {
    TbTypeInfo second("TbTypeInfoTestTwin", nullptr, nullptr);
    EXPECT_EQ(TbTypeInfo::fromName("TbTypeInfoTestTwin"), &first);
    EXPECT_TRUE(isListed(&second));
  }
  EXPECT_EQ(TbTypeInfo::fromName("TbTypeInfoTestTwin"), &first);
}

TEST(TbTypeInfoRegistry, NameIsCopiedSoTheCallersBufferMayChange) {
  std::string name = "TbTypeInfoTestCopied";
  TbTypeInfo record(name.c_str(), nullptr, nullptr);
  name[0] = 'X';
  EXPECT_STREQ(record.getName(), "TbTypeInfoTestCopied");
}

TEST(TbTypeInfoHierarchy, HostClassesFormOneChainByName) {
  const char* const chain[] = {"UxExternalData", "UxData", "UxObject", "UxBase", "TbTypedObject"};
  const TbTypeInfo* type = UxExternalData::getClassTypeId();
  for (const char* name : chain) {
    ASSERT_NE(type, nullptr);
    EXPECT_STREQ(type->getName(), name);
    EXPECT_EQ(TbTypeInfo::fromName(name), type);
    EXPECT_EQ(type->getFactory(), nullptr);
    type = type->getParent();
  }
  EXPECT_EQ(type, nullptr);
}

TEST(TbTypeInfoHierarchy, DerivationIsReflexiveAndOneWay) {
  const TbTypeInfo* external = UxExternalData::getClassTypeId();
  EXPECT_TRUE(external->isDerivedFrom(external));
  EXPECT_TRUE(external->isDerivedFrom(UxObject::getClassTypeId()));
  EXPECT_FALSE(UxObject::getClassTypeId()->isDerivedFrom(external));
  EXPECT_FALSE(external->isDerivedFrom(Gadget::getClassTypeId()));
  EXPECT_FALSE(external->isDerivedFrom(nullptr));
}

TEST(TbTypeInfoFactory, CreatesWithAFactoryAndAnswersNullWithout) {
  std::unique_ptr<TbTypedObject> made(Gadget::getClassTypeId()->createInstance());
  ASSERT_NE(made, nullptr);
  EXPECT_EQ(made->getTypeId(), Gadget::getClassTypeId());
  EXPECT_EQ(UxData::getClassTypeId()->createInstance(), nullptr);
}

TEST(TbTypedObjectTypes, ObjectsKnowTheirTypeAndItsAncestors) {
  const int dims[3] = {1, 1, 1};
  UxExternalData data(dims, 1, TbPrimType::UINT8);
  EXPECT_EQ(data.getTypeId(), UxExternalData::getClassTypeId());
  EXPECT_TRUE(data.isOfType(UxData::getClassTypeId()));
  EXPECT_TRUE(data.isOfType(TbTypedObject::getClassTypeId()));
  EXPECT_FALSE(data.isOfType(Gadget::getClassTypeId()));
  UxObject plain;
  EXPECT_FALSE(plain.isOfType(UxData::getClassTypeId()));
}

}  // namespace
