#include "host/packages/UxPackageLoader.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include "support/ConsoleCapture.h"
#include "host/base/TbDArray.h"
#include "host/types/TbTypeInfo.h"
#include "host/objects/UxExternalData.h"
#include "host/objects/UxLatticeTypes.h"
#include "host/packages/UxResource.h"
#include "support/TempDir.h"

namespace {

const std::string kGoodFolder = std::string(KORIN_BUILD_DIR) + "/testpackages";
const std::string kBrokenFolder = std::string(KORIN_BUILD_DIR) + "/testpackages-broken";

std::vector<TbTypeInfo*> recordsNamed(const char* name) {
  TbDArray<TbTypeInfo*> all;
  TbTypeInfo::getAll(all);
  std::vector<TbTypeInfo*> named;
  for (int i = 0; i < all.size(); ++i)
    if (std::string(all[i]->getName()) == name) named.push_back(all[i]);
  return named;
}

// The test program has a MemoryVolume of its own, so the package's record is
// told apart as the one that loading added.
TbTypeInfo* recordAddedSince(const std::vector<TbTypeInfo*>& before, const char* name) {
  for (TbTypeInfo* record : recordsNamed(name))
    if (std::find(before.begin(), before.end(), record) == before.end()) return record;
  return nullptr;
}

class PackageLoaderTest : public ::testing::Test {
 protected:
  void TearDown() override {
    loader->finishAll();
    Tcl_DeleteInterp(interp);
  }
  // A package folder of our own: the test library under its own name with
  // the resource file given.
  std::string folderWithResource(const std::string& resource) {
    writeWholeFile(dir.file("libkorintestpkg.so"),
                   readWholeFile(kGoodFolder + "/libkorintestpkg.so"));
    writeWholeFile(dir.file("korintestpkg.rc"), resource);
    return dir.path();
  }
  UxPackageLoader* loader = UxPackageLoader::getTheLoader();
  Tcl_Interp* interp = Tcl_CreateInterp();
  ConsoleCapture console;
  TempDir dir;
};

// Loading calls the entry points and takes what the resource file offers: a
// type record, a reader, a lattice creator the host calls as it would;
// finishing forgets all of it.
TEST_F(PackageLoaderTest, LoadingRegistersWhatThePackageOffersAndFinishingForgetsIt) {
  const std::vector<TbTypeInfo*> before = recordsNamed("MemoryVolume");
  ASSERT_EQ(loader->loadAllIn(interp, kGoodFolder.c_str()), 1);
  EXPECT_TRUE(console.lines.empty());
  const UxPackageLoader::Package* package = loader->find("korintestpkg");
  ASSERT_NE(package, nullptr);
  EXPECT_EQ(package->buildInfo, "|vendor|tests|product|korintestpkg");
  EXPECT_EQ(package->moduleTypes, std::vector<std::string>{"MemoryVolume"});
  EXPECT_NE(UxResource::findReader("MemoryVolume"), nullptr);
  TbTypeInfo* type = recordAddedSince(before, "MemoryVolume");
  ASSERT_NE(type, nullptr);
  std::unique_ptr<TbTypedObject> made(type->createInstance());
  EXPECT_TRUE(made && made->isOfType(UxExternalData::getClassTypeId()));
  UxLatticeCreator create = loader->findLatticeCreator("ondisk");
  ASSERT_NE(create, nullptr);
  const int dims[3] = {3, 4, 5};
  const float box[6] = {0, 1, 0, 2, 0, 3};
  std::unique_ptr<UxExternalData> lattice(create(2, "int16", 3, dims, box, KORIN_UNIFORM_LATTICE_TYPE));
  ASSERT_NE(lattice, nullptr);
  int got[3];
  lattice->getDims(got);
  EXPECT_EQ(got[2], 5);
  EXPECT_EQ(static_cast<int>(lattice->getPrimType()), TbPrimType::INT16);
  lattice.reset();
  made.reset();

  loader->finishAll();
  EXPECT_EQ(loader->numPackages(), 0);
  EXPECT_EQ(UxResource::findReader("MemoryVolume"), nullptr);
  EXPECT_EQ(loader->findLatticeCreator("ondisk"), nullptr);
  EXPECT_EQ(recordAddedSince(before, "MemoryVolume"), nullptr) << "unloading drops the record";
}

TEST_F(PackageLoaderTest, AResourceFileWithoutItsLibraryIsReported) {
  writeWholeFile(dir.file("ghost.rc"), "moduleType Ghost\n");
  EXPECT_EQ(loader->loadAllIn(interp, dir.path().c_str()), 0);
  ASSERT_EQ(console.lines.size(), 1u);
  EXPECT_EQ(console.lines[0].rfind("package ghost: cannot load " + dir.path() + "/libghost.so: ", 0),
            0u)
      << console.lines[0];
  EXPECT_EQ(loader->loadAllIn(interp, dir.file("no-such-folder").c_str()), 0);
  EXPECT_EQ(console.lines.size(), 1u) << "a missing folder is no news";
}

TEST_F(PackageLoaderTest, ResourceCommandsCheckKindAndTypeNames) {
  const std::string folder = folderWithResource(
      "moduleType NoSuchModule\nlatticeCreator inmemory makeMemoryLattice\n");
  EXPECT_EQ(loader->load(interp, folder.c_str(), "korintestpkg"), 0);
  EXPECT_EQ(console.lines,
            (std::vector<std::string>{
                "package korintestpkg: module type \"NoSuchModule\" is not registered",
                "package korintestpkg: " + folder +
                    "/korintestpkg.rc: latticeCreator: unknown kind \"inmemory\": expected ondisk"}));
}

TEST_F(PackageLoaderTest, APackageIsLoadedOnce) {
  ASSERT_EQ(loader->load(interp, kGoodFolder.c_str(), "korintestpkg"), 1);
  const std::string other = folderWithResource("");
  EXPECT_EQ(loader->load(interp, other.c_str(), "korintestpkg"), 0);
  EXPECT_EQ(console.lines.back(), "package korintestpkg: already loaded from " + kGoodFolder);
  EXPECT_EQ(loader->loadAllIn(interp, other.c_str()), 0);
  EXPECT_EQ(loader->numPackages(), 1);
}

TEST_F(PackageLoaderTest, ResourceCommandsWorkOnlyWhileAPackageLoads) {
  UxPackageLoader::createResourceCommands(interp);
  EXPECT_EQ(Tcl_Eval(interp, "dataReader MemoryVolume readMemoryVolume"), TCL_ERROR);
  EXPECT_STREQ(Tcl_GetStringResult(interp),
               "dataReader: only a package's resource file may use this command");
  EXPECT_EQ(Tcl_Eval(interp, "latticeCreator ondisk"), TCL_ERROR);
  EXPECT_STREQ(Tcl_GetStringResult(interp), "latticeCreator: expected ondisk SYMBOL");
}

}  // namespace
