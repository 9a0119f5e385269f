#include "bench/driver_peer.h"

#include <dlfcn.h>
#include <signal.h>
#include <unistd.h>
#include <rttr/type>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>

#include "bench/exchange.h"
#include "bench/project_load.h"

namespace bench {

namespace {

void require(bool isAsExpected, const char* step) {
  if (!isAsExpected) throw std::runtime_error(std::string("driver: ") + step + " failed");
}

int nextLink() {
  static int used = 0;
  return 500000000 + getpid() * 2 + used++;
}

}  // namespace

CDriverPeer::CDriverPeer(const std::string& helperFile) : link_(nextLink()) {
  std::filesystem::copy_file(helperFile, directory_.file("BACnet_Velix"));
  writeProject(directory_.file("BACnetLabel.xml"), link_, kBatchSize);
  load();

  driver::CConfig config;
  config.setConnectNum(link_);
  config.setConfigFilePath(directory_.project());
  config.setCommuConfig({"lo"});
  require(driver_->init(config) == 0, "init");
  require(driver_->connect() == 0, "connect");
  prepare();
}

CDriverPeer::~CDriverPeer() {
  owner_ = rttr::variant();
  if (plugin_ != nullptr) dlclose(plugin_);
  pid_t helper = 0;
  if (std::ifstream(linkFile(".pid")) >> helper && helper > 0) kill(helper, SIGKILL);
  std::error_code ignored;
  for (const char* ending : {".sock", ".pid", ".log", ".log.old"}) std::filesystem::remove(linkFile(ending), ignored);
}

std::string CDriverPeer::linkFile(const char* ending) const {
  return "/tmp/velix_bacnet/link_" + std::to_string(link_) + ending;
}

void CDriverPeer::load() {
  plugin_ = dlopen(PLUGIN_FILE, RTLD_NOW | RTLD_LOCAL);
  require(plugin_ != nullptr, "loading the plug-in");
  const auto create = reinterpret_cast<std::int32_t (*)(rttr::variant&)>(dlsym(plugin_, "Create_Driver"));
  require(create != nullptr && create(owner_) == 0, "Create_Driver");
  driver_ = owner_.extract_wrapped_value().convert<driver::CDriver*>();
}

void CDriverPeer::prepare() {
  for (int regId = 1; regId <= kBatchSize; ++regId) {
    CRegister reg(std::to_string(regId), 4);
    require(driver_->prepareRegister(reg) == 0, "prepareRegister");
    batch_.push_back({reg, {}});
  }
  register_ = batch_.front().reg;
}

void CDriverPeer::read() {
  words_.clear();
  require(driver_->readRegister(register_, words_) == 0 && words_.size() == 2, "readRegister");
}

void CDriverPeer::readBatch() {
  for (driver::BatchItem& item : batch_) item.words.clear();
  require(driver_->readRegisters(batch_) == 0 && batch_.back().words.size() == 2, "readRegisters");
}

}  // namespace bench
