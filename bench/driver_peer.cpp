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
  return 500000000 + getpid() * 64 + used++;
}

}  // namespace

CDriverPeer::CDriverPeer(const LinkSetup& setup) : link_(nextLink()) {
  std::filesystem::copy_file(setup.helperFile, directory_.file("BACnet_Velix"));
  writeProject(directory_.file("BACnetLabel.xml"), link_, setup.points, setup.device,
               setup.isSubscribed ? "<EnableSCOV>1</EnableSCOV>" : "");
  if (!setup.isReadAhead) directory_.write("helper.json", R"({"readAheadMs": 0})");
  load();
  driver::CConfig config;
  config.setConnectNum(link_);
  config.setConfigFilePath(directory_.project());
  config.setCommuConfig({"lo"});
  start_ = std::chrono::steady_clock::now();
  require(driver_->init(config) == 0, "init");
  require(driver_->connect() == 0, "connect");
  prepare(setup.points);
}

CDriverPeer::~CDriverPeer() {
  owner_ = rttr::variant();
  if (plugin_ != nullptr) dlclose(plugin_);
  if (const pid_t process = helper(); process > 0) kill(process, SIGKILL);
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

void CDriverPeer::prepare(int points) {
  for (int regId = 1; regId <= points; ++regId) {
    CRegister reg(std::to_string(regId), 4);
    require(driver_->prepareRegister(reg) == 0, "prepareRegister");
    if (batches_.empty() || batches_.back().size() == kBatchSize) batches_.emplace_back();
    batches_.back().push_back({reg, {}});
  }
  register_ = batches_.front().front().reg;
}

void CDriverPeer::read() {
  words_.clear();
  require(driver_->readRegister(register_, words_) == 0 && words_.size() == 2, "readRegister");
}

void CDriverPeer::readBatch() {
  read(batches_.front());
}

void CDriverPeer::readAll() {
  for (driver::Batch& batch : batches_) read(batch);
}

void CDriverPeer::read(driver::Batch& batch) {
  for (driver::BatchItem& item : batch) item.words.clear();
  require(driver_->readRegisters(batch) == 0 && batch.back().words.size() == 2, "readRegisters");
}

pid_t CDriverPeer::helper() const {
  pid_t process = 0;
  std::ifstream(linkFile(".pid")) >> process;
  return process;
}

double CDriverPeer::age() const {
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start_).count();
}

}  // namespace bench
