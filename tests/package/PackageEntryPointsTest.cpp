// The package as the host finds it: a shared library opened with dlopen, its
// entry points and hook looked up by name.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "host/types/TbTypeInfo.h"

namespace {

struct Package {
  Package() { handle = dlopen((std::string(KORIN_BUILD_DIR) + "/libuxdiskdata.so").c_str(), RTLD_NOW | RTLD_LOCAL); }
  ~Package() {
    if (handle) dlclose(handle);
  }
  template <class F>
  F find(const char* name) const {
    return reinterpret_cast<F>(dlsym(handle, name));
  }
  void* handle = nullptr;
};

// Loading alone makes both classes known; the entry points and the hook are
// exported under their plain names; the build record is one constant text
// whose size was stamped into the finished library; init and finish act once
// and never undo each other.
TEST(PackageEntryPoints, LoadingExportsTheEntryPointsAndRegistersTheClasses) {
  Package package;
  ASSERT_TRUE(package.handle) << dlerror();
  EXPECT_TRUE(TbTypeInfo::fromName("UxDiskData"));
  TbTypeInfo* converter = TbTypeInfo::fromName("UxConvertToDiskData");
  ASSERT_TRUE(converter);
  EXPECT_TRUE(converter->getFactory());
  for (const char* name : {"korinpackage_uxdiskdata", "korinpackage_uxdiskdata_init", "korinpackage_uxdiskdata_finish",
                           "soconstructor_uxdiskdata", "sodestructor_uxdiskdata", "UxDiskData__create_uxlattice",
                           "_ZN10UxDiskData13readKorinMeshEP9KorinMeshPKc"})
    EXPECT_TRUE(package.find<void*>(name)) << name;

  auto info = package.find<const char* (*)()>("korinpackage_uxdiskdata");
  ASSERT_TRUE(info);
  const char* first = info();
  EXPECT_EQ(info(), first);
  EXPECT_EQ(std::string(first).rfind("|vendor|", 0), 0u);
  const std::string record = first;
  size_t at = 0;
  for (const char* key : {"vendor", "product", "version_major", "version_minor", "version_patch", "version_tag",
                          "comment", "compiler", "target_os", "build_cfg", "build_user", "build_ip", "build_time",
                          "filename", "path", "size"})
    ASSERT_NE(at = record.find(std::string("|") + key + "|", at), std::string::npos) << key << " missing or out of order";
  const std::string size = record.substr(record.find("|size|") + 6);
  EXPECT_NE(size, "0000000000");
  EXPECT_GT(std::stol(size), 10000);
  EXPECT_NE(record.find("|filename|libuxdiskdata.so|"), std::string::npos);

  auto init = package.find<void (*)()>("korinpackage_uxdiskdata_init");
  auto finish = package.find<void (*)()>("korinpackage_uxdiskdata_finish");
  init();
  init();
  finish();
  finish();
  init();
  EXPECT_EQ(TbTypeInfo::fromName("UxConvertToDiskData"), converter);
}

}  // namespace
