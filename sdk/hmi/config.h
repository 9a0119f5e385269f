#pragma once

#include <cstdint>
#include <map>
#include <string>

namespace driver {

/// Communication settings of a link.
struct CCommuConfig {
  std::string networkInterface;  ///< name of the network interface that carries the field bus, for example "eth0"
};

/// What the runtime gives a driver at `init` and `updateConfig`. A plain value: copies share nothing.
class CConfig {
 public:
  CConfig();
  CConfig(const CConfig&);
  CConfig& operator=(const CConfig&);
  ~CConfig();

  /// Number of the link that the driver serves; -1 until set.
  std::int32_t getConnectNum() const;
  void setConnectNum(std::int32_t connectNum);

  /// The project directory, ending in a path separator: drivers append file names directly.
  std::string getConfigFilePath() const;
  void setConfigFilePath(const std::string& directory);

  CCommuConfig getCommuConfig() const;
  void setCommuConfig(const CCommuConfig& commuConfig);

 private:
  std::int32_t connectNum_ = -1;
  std::string configFilePath_;
  CCommuConfig commuConfig_;
  std::map<std::string, std::string> parameters_;
};

}  // namespace driver
