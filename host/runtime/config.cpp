#include "hmi/config.h"

namespace driver {

CConfig::CConfig() = default;
CConfig::CConfig(const CConfig&) = default;
CConfig& CConfig::operator=(const CConfig&) = default;
CConfig::~CConfig() = default;

std::int32_t CConfig::getConnectNum() const {
  return connectNum_;
}

void CConfig::setConnectNum(std::int32_t connectNum) {
  connectNum_ = connectNum;
}

std::string CConfig::getConfigFilePath() const {
  return configFilePath_;
}

void CConfig::setConfigFilePath(const std::string& directory) {
  configFilePath_ = directory;
}

CCommuConfig CConfig::getCommuConfig() const {
  return commuConfig_;
}

void CConfig::setCommuConfig(const CCommuConfig& commuConfig) {
  commuConfig_ = commuConfig;
}

}  // namespace driver
