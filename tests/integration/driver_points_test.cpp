#include <gtest/gtest.h>

#include "support/prepared_driver.h"

namespace {

using support::batchOf;
using support::ConnectedDriver;
using support::symbolXml;
using support::Words;

std::string plantXml() {
  return symbolXml(1, "Temp[3]", "REAL") + symbolXml(2, "Fan", "BOOL") + symbolXml(3, "Hours", "UDINT") +
         symbolXml(4, "Energy", "DOUBLE") + symbolXml(5, "Room", "STRING") + symbolXml(6, "Level", "UINT") +
         symbolXml(7, "Units", "REAL", 117);
}

TEST(DriverPoints, EveryDataTypeIsReadBackAsWritten) {
  ConnectedDriver plant(plantXml());
  const struct {
    int regId;
    std::uint32_t bytes;
    Words words;
  } points[] = {
      {1, 4, {16384, 0}},
      {2, 1, {1}},
      {3, 4, {-1, -2}},
      {4, 8, {16393, 8699, 21572, 11544}},
      {5, 8, {18533, 27756, 28416, 0}},
      {6, 4, {0, 300}},
      {7, 4, {0, 62}},
  };
  for (const auto& point : points) {
    EXPECT_EQ(plant.write(point.regId, point.words, point.bytes), 0) << point.regId;
    Words words = {99};
    EXPECT_EQ(plant.read(point.regId, words, point.bytes), 0) << point.regId;
    Words expected = {99};  // what was there stays in front
    expected.insert(expected.end(), point.words.begin(), point.words.end());
    EXPECT_EQ(words, expected) << point.regId;
  }
  EXPECT_EQ(plant.driver->getConnectState(), 0);
  EXPECT_EQ(plant.driver->getStatus(), -1);
}

TEST(DriverPoints, RegistersArePreparedFromTheirPoint) {
  ConnectedDriver plant(plantXml());
  const struct {
    std::uint32_t length;
    const char* step;
    std::uint32_t expected;
  } cases[] = {{8, "4", 2}, {3, "4", 1}, {8, "0", 0}, {9, "4", 2}, {0, "4", 1}, {5, "1", 5}};
  for (const auto& example : cases) {
    CRegister reg("1", example.length);
    reg.setParameter("AddrStepSize", example.step);
    EXPECT_EQ(plant.driver->prepareRegister(reg), 0);
    EXPECT_EQ(reg.getLength(), example.expected) << example.length << " / " << example.step;
    EXPECT_EQ(reg.getParameter("FreeTagName"), "Temp");
  }
  for (const char* name : {"abc", "", "99999999999", "12"}) {
    CRegister reg(name, 8);
    EXPECT_EQ(plant.driver->prepareRegister(reg), -1) << name;
    EXPECT_EQ(reg.getLength(), 8U);
    EXPECT_EQ(reg.getParameter("FreeTagName"), "");
    Words words = {1};
    EXPECT_EQ(plant.driver->readRegister(reg, words), -1);
    EXPECT_EQ(plant.driver->writeRegister(reg, words), -1);
    EXPECT_EQ(words, Words{1});
  }
  EXPECT_EQ(plant.project.calls("bac_read") + plant.project.calls("bac_write"), 0U);
  EXPECT_EQ(plant.driver->getConnectState(), 0);
}

TEST(DriverPoints, ABatchIsOneCallAndKeepsItsOrder) {
  ConnectedDriver plant(plantXml());
  ASSERT_EQ(plant.write(1, {1, 2}), 0);
  ASSERT_EQ(plant.write(3, {3, 4}), 0);

  driver::Batch batch = batchOf(*plant.driver, {{3, {}}, {1, {7}}});
  batch.insert(std::next(batch.begin()), {CRegister("abc", 2), {5}});
  EXPECT_EQ(plant.driver->readRegisters(batch), 0);
  std::vector<Words> words;
  for (const driver::BatchItem& item : batch) words.push_back(item.words);
  EXPECT_EQ(words, (std::vector<Words>{{3, 4}, {5}, {7, 1, 2}}));
  EXPECT_EQ(plant.project.calls("bac_multi_read"), 1U);
  EXPECT_EQ(plant.project.calls("bac_read"), 0U);
}

TEST(DriverPoints, AWriteBatchSendsTheLastItemsWordsForEveryPoint) {
  ConnectedDriver plant(plantXml());
  driver::Batch batch = batchOf(*plant.driver, {{1, {1, 2}}, {3, {3, 4}}});
  batch.push_back({CRegister("no such point", 2), {5, 6}});
  EXPECT_EQ(plant.driver->writeRegisters(batch), 0);
  for (const int regId : {1, 3}) {
    Words words;
    EXPECT_EQ(plant.read(regId, words), 0);
    EXPECT_EQ(words, (Words{5, 6}));
  }
}

TEST(DriverPoints, BatchesOfOneAndNone) {
  ConnectedDriver plant(plantXml());
  driver::Batch none;
  EXPECT_EQ(plant.driver->readRegisters(none), -1);
  EXPECT_EQ(plant.driver->writeRegisters(none), -1);

  driver::Batch one = batchOf(*plant.driver, {{1, {8, 9}}});
  for (const char* aligned : {"16", "4294967297"}) {  // the low 32 bits count
    one.front().reg.setParameter("AlignedLen", aligned);
    EXPECT_EQ(plant.driver->writeRegisters(one), 0);
    EXPECT_EQ(plant.driver->readRegisters(one), 0);
  }
  EXPECT_EQ(one.front().words, (Words{8, 9}));
  EXPECT_EQ(plant.project.calls("bac_read") + plant.project.calls("bac_write"), 0U);

  for (const char* aligned : {"0", "x", "4294967296"}) {
    one.front().reg.setParameter("AlignedLen", aligned);
    one.front().words = {8, 9};
    EXPECT_EQ(plant.driver->writeRegisters(one), 0) << aligned;
    EXPECT_EQ(plant.driver->readRegisters(one), 0) << aligned;
    EXPECT_EQ(one.front().words, (Words{8, 9, 8, 9})) << aligned;
  }
  EXPECT_EQ(plant.project.calls("bac_multi_read") + plant.project.calls("bac_multi_write"), 0U);

  driver::Batch unknown = {{CRegister("x", 1), {}}, {CRegister("y", 1), {}}};
  plant.driver->readRegisters(unknown);
  EXPECT_EQ(plant.project.calls("bac_multi_read"), 1U);  // asked for no point, but asked
}

TEST(DriverPoints, OnlyReadsAndBatchWritesMarkTheLinkAsLost) {
  ConnectedDriver plant(plantXml());
  plant.project.killHelper();
  EXPECT_EQ(plant.write(1, {1, 2}), -1);
  EXPECT_EQ(plant.driver->getConnectState(), 0);

  driver::Batch batch = batchOf(*plant.driver, {{1, {1, 2}}, {3, {1, 2}}});
  EXPECT_EQ(plant.driver->writeRegisters(batch), -1);
  EXPECT_EQ(plant.driver->getConnectState(), -1);

  ASSERT_EQ(plant.driver->connect(), 0);
  plant.project.killHelper();
  EXPECT_EQ(plant.driver->readRegisters(batch), -1);
  EXPECT_EQ(plant.driver->getConnectState(), -1);
  EXPECT_EQ(batch.front().words, (Words{1, 2}));
}

}  // namespace
