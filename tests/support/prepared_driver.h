#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/helper_project.h"
#include "support/plugin.h"

namespace support {

using Words = std::vector<short>;

/// A register as the runtime makes and prepares it; `bytes` is its length in the runtime's units.
inline CRegister preparedRegister(driver::CDriver& driver, int regId, std::uint32_t bytes = 4) {
  CRegister reg(std::to_string(regId), bytes);
  EXPECT_EQ(driver.prepareRegister(reg), 0) << "register " << regId;
  return reg;
}

inline driver::Batch batchOf(driver::CDriver& driver, const std::vector<std::pair<int, Words>>& items) {
  driver::Batch batch;
  for (const auto& [regId, words] : items) batch.push_back({preparedRegister(driver, regId), words});
  return batch;
}

/// The real plug-in, initialised with a project of its own and connected through the loopback interface.
class ConnectedDriver {
 public:
  explicit ConnectedDriver(const std::string& symbols, const std::string& simulator = "", bool multiAccess = true) {
    project.writeProject(symbols, multiAccess, multiAccess);
    if (!simulator.empty()) project.dir.write("simulator.json", simulator);
    EXPECT_EQ(driver->init(project.config()), 0);
    EXPECT_EQ(driver->connect(), 0);
  }

  std::int32_t read(int regId, Words& words, std::uint32_t bytes = 4) {
    CRegister reg = preparedRegister(*driver, regId, bytes);
    return driver->readRegister(reg, words);
  }
  std::int32_t write(int regId, const Words& words, std::uint32_t bytes = 4) {
    CRegister reg = preparedRegister(*driver, regId, bytes);
    return driver->writeRegister(reg, words);
  }

  HelperProject project;  // goes last: the driver's link closes before its helper ends
  LoadedDriver driver;
};

}  // namespace support
