#include "host/objects/UxObjectPool.h"

#include <gtest/gtest.h>

#include <set>
#include <string>
#include <vector>

#include "host/objects/UxData.h"

namespace {

// Says when it dies, so tests can see who deleted it and when.
struct Probe : UxData {
  explicit Probe(std::vector<std::string>* deaths = nullptr, const char* label = "")
      : deaths(deaths) {
    setLabel(label);
  }
  ~Probe() override {
    if (deaths) deaths->push_back(getLabel());
  }
  std::vector<std::string>* deaths;
};

struct RecordingObserver : UxObjectPool::Observer {
  void objectAdded(UxObject*, const char* name) override { events.push_back(std::string("+") + name); }
  void objectRemoved(UxObject* object, const char* name) override {
    events.push_back(std::string("-") + name + (object->getRefCount() > 0 ? "" : " (dead)"));
  }
  void objectRenamed(UxObject*, const char* from, const char* to) override {
    events.push_back(std::string(from) + ">" + to);
  }
  bool isNameReserved(const char* name) const override { return reserved.count(name) != 0; }
  std::vector<std::string> events;
  std::set<std::string> reserved;
};

class PoolTest : public ::testing::Test {
 protected:
  void SetUp() override { pool->setObserver(&observer); }
  void TearDown() override {
    pool->removeAll();
    pool->setObserver(nullptr);
  }
  UxObjectPool* pool = UxObjectPool::getThePool();
  RecordingObserver observer;
  std::vector<std::string> deaths;
};

// A taken name gets a number before its extension (a number already there is
// replaced, a leading dot is no extension); names the observer reserves are
// not used; the label follows the name.
TEST_F(PoolTest, NamesAreMadeUnique) {
  observer.reserved = {"list", "list2"};
  const std::pair<const char*, const char*> names[] = {
      {"head.km", "head.km"}, {"head.km", "head2.km"}, {"head.km", "head3.km"}, {"Volume", "Volume"},
      {"Volume", "Volume2"},  {"", "Object"},          {"", "Object2"},         {"scan2.raw", "scan2.raw"},
      {"scan2.raw", "scan3.raw"}, {".hidden", ".hidden"}, {".hidden", ".hidden2"}, {"list", "list3"}};
  for (const auto& [wanted, got] : names) {
    auto* probe = new Probe;
    EXPECT_STREQ(pool->add(probe, wanted), got);
    EXPECT_STREQ(probe->getLabel(), got);
  }
}

// The pool holds one reference, dropped on remove; the observer hears of every
// change while the object still lives; removeAll goes newest first.
TEST_F(PoolTest, ThePoolHoldsOneReferenceAndTellsTheObserver) {
  auto* kept = new Probe(&deaths, "kept");
  kept->ref();
  const unsigned long before = pool->getAdditionCount();
  pool->add(kept, "kept");
  pool->add(kept, "again");
  EXPECT_EQ(pool->getAdditionCount(), before + 1);
  EXPECT_EQ(pool->getNewest(), kept);
  EXPECT_EQ(kept->getRefCount(), 2) << "adding twice refs once";
  EXPECT_EQ(pool->size(), 1);
  pool->rename(kept, "renamed");
  EXPECT_EQ(pool->remove("renamed"), 1);
  EXPECT_TRUE(deaths.empty());
  kept->unref();
  EXPECT_EQ(pool->remove("renamed"), 0);
  EXPECT_EQ(pool->remove(static_cast<UxObject*>(nullptr)), 0);
  EXPECT_EQ(pool->add(nullptr, "x"), nullptr);
  for (const char* name : {"first", "second", "third"}) pool->add(new Probe(&deaths), name);
  pool->remove(pool->find("second"));
  pool->removeAll();
  EXPECT_EQ(deaths, (std::vector<std::string>{"renamed", "second", "third", "first"}));
  EXPECT_EQ(observer.events, (std::vector<std::string>{"+kept", "kept>renamed", "-renamed", "+first", "+second",
                                                       "+third", "-second", "-third", "-first"}));
  EXPECT_EQ(pool->size(), 0);
}

TEST_F(PoolTest, RenamingKeepsNamesUniqueAndMayKeepTheOwnName) {
  auto* a = new Probe;
  auto* b = new Probe;
  pool->add(a, "a.km");
  pool->add(b, "b.km");
  EXPECT_STREQ(pool->rename(b, "a.km"), "a2.km");
  EXPECT_STREQ(pool->rename(b, "a2.km"), "a2.km");
  EXPECT_EQ(pool->find("a2.km"), b);
  EXPECT_EQ(pool->find("b.km"), nullptr);
  EXPECT_EQ(observer.events.back(), "b.km>a2.km") << "keeping the name is no rename";
  Probe stranger;
  EXPECT_EQ(pool->rename(&stranger, "x"), nullptr);
}

}  // namespace
