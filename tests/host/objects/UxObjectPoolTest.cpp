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

TEST(UxBaseReferences, AnObjectNeverRefedIsDeletedByOneUnref) {
  std::vector<std::string> deaths;
  (new Probe(&deaths, "once"))->unref();
  EXPECT_EQ(deaths, std::vector<std::string>{"once"});
}

TEST(UxBaseReferences, TheLastUnrefDeletes) {
  std::vector<std::string> deaths;
  auto* probe = new Probe(&deaths, "shared");
  probe->ref();
  probe->ref();
  probe->unref();
  EXPECT_TRUE(deaths.empty());
  EXPECT_EQ(probe->getRefCount(), 1);
  probe->unref();
  EXPECT_EQ(deaths, std::vector<std::string>{"shared"});
}

TEST_F(PoolTest, TakenNamesGetANumberBeforeTheExtension) {
  const char* const wanted[] = {"head.km", "head.km", "head.km", "Volume", "Volume", "", ""};
  const char* const expected[] = {"head.km", "head2.km", "head3.km", "Volume", "Volume2",
                                  "Object", "Object2"};
  for (int i = 0; i < 7; ++i) {
    auto* probe = new Probe;
    EXPECT_STREQ(pool->add(probe, wanted[i]), expected[i]);
    EXPECT_STREQ(probe->getLabel(), expected[i]) << "the label follows the name";
  }
}

TEST_F(PoolTest, ANumberAlreadyInTheNameIsReplacedNotExtended) {
  pool->add(new Probe, "scan2.raw");
  EXPECT_STREQ(pool->add(new Probe, "scan2.raw"), "scan3.raw");
  pool->add(new Probe, ".hidden");
  EXPECT_STREQ(pool->add(new Probe, ".hidden"), ".hidden2") << "a leading dot is no extension";
}

TEST_F(PoolTest, NamesTheObserverReservesAreNotUsed) {
  observer.reserved = {"list", "list2"};
  EXPECT_STREQ(pool->add(new Probe, "list"), "list3");
}

TEST_F(PoolTest, ThePoolHoldsOneReferenceAndDropsItOnRemove) {
  auto* kept = new Probe(&deaths, "kept");
  kept->ref();
  pool->add(kept, "kept");
  pool->add(kept, "again");
  EXPECT_EQ(kept->getRefCount(), 2) << "adding twice refs once";
  EXPECT_EQ(pool->size(), 1);
  EXPECT_EQ(pool->remove("kept"), 1);
  EXPECT_TRUE(deaths.empty());
  kept->unref();
  EXPECT_EQ(deaths, std::vector<std::string>{"kept"});
  EXPECT_EQ(pool->remove("kept"), 0);
  EXPECT_EQ(pool->remove(static_cast<UxObject*>(nullptr)), 0);
  EXPECT_EQ(pool->add(nullptr, "x"), nullptr);
}

TEST_F(PoolTest, ObserverHearsOfEveryChangeWhileTheObjectStillLives) {
  auto* probe = new Probe(&deaths);
  pool->add(probe, "a");
  pool->rename(probe, "b");
  pool->remove(probe);
  EXPECT_EQ(observer.events, (std::vector<std::string>{"+a", "a>b", "-b"}));
  EXPECT_EQ(deaths, std::vector<std::string>{"b"});
}

TEST_F(PoolTest, RemoveAllGoesNewestFirst) {
  for (const char* name : {"first", "second", "third"}) pool->add(new Probe(&deaths), name);
  pool->removeAll();
  EXPECT_EQ(deaths, (std::vector<std::string>{"third", "second", "first"}));
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

TEST_F(PoolTest, RegisterDataPrefersGivenNameThenLabelThenFileThenType) {
  auto* named = new Probe(nullptr, "label");
  UxData::registerData(named, "/data/file.km", "given");
  auto* labelled = new Probe(nullptr, "label");
  UxData::registerData(labelled, "/data/file.km", nullptr);
  auto* fromFile = new Probe;
  UxData::registerData(fromFile, "/data/file.km", nullptr);
  auto* bare = new Probe;
  UxData::registerData(bare, nullptr, nullptr);
  EXPECT_STREQ(pool->nameOf(named), "given");
  EXPECT_STREQ(pool->nameOf(labelled), "label");
  EXPECT_STREQ(pool->nameOf(fromFile), "file.km");
  EXPECT_STREQ(pool->nameOf(bare), "UxData");
}

TEST_F(PoolTest, RegisterDataRecordsTheFileAsLoadCommandUnlessOneIsSet) {
  auto* fresh = new Probe;
  UxData::registerData(fresh, "/data/file.km", nullptr);
  EXPECT_STREQ(fresh->getLoadCmd(), "/data/file.km");
  EXPECT_EQ(fresh->isLoadCmdScript(), 0);
  auto* scripted = new Probe;
  scripted->setLoadCmd("create Thing", 1);
  UxData::registerData(scripted, "/data/other.km", nullptr);
  EXPECT_STREQ(scripted->getLoadCmd(), "create Thing");
  UxData::registerData(nullptr, "/data/file.km", nullptr);
  EXPECT_EQ(pool->size(), 2);
}

TEST_F(PoolTest, AdditionCountTellsWhetherSomethingWasAdded) {
  const unsigned long before = pool->getAdditionCount();
  auto* probe = new Probe;
  pool->add(probe, "counted");
  pool->add(probe, "counted");
  EXPECT_EQ(pool->getAdditionCount(), before + 1);
  EXPECT_EQ(pool->getNewest(), probe);
}

}  // namespace
