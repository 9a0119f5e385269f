#pragma once

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <rttr/type>

#include <cstdint>
#include <string>

#include "hmi/driver.h"

namespace support {

/// The plug-in as a runtime loads it.
class Plugin {
 public:
  Plugin() : handle_(dlopen(path(), RTLD_NOW | RTLD_LOCAL)) {
    if (handle_ == nullptr) ADD_FAILURE() << dlerror();
  }
  ~Plugin() { unload(); }
  Plugin(const Plugin&) = delete;
  Plugin& operator=(const Plugin&) = delete;

  static const char* path() { return BIN_DIR "/libBACnet_IP.so"; }

  void* symbol(const char* name) const { return dlsym(handle_, name); }
  std::int32_t abiVersion() const { return reinterpret_cast<std::int32_t (*)()>(symbol("Get_Driver_ABI_Version"))(); }
  std::int32_t create(rttr::variant& out) const {
    return reinterpret_cast<std::int32_t (*)(rttr::variant&)>(symbol("Create_Driver"))(out);
  }
  void unload() {
    if (handle_ != nullptr) dlclose(handle_);
    handle_ = nullptr;
  }

 private:
  void* handle_;
};

/// A driver object from the plug-in; the variant's shared pointer owns it.
class LoadedDriver {
 public:
  LoadedDriver() { replace(); }
  ~LoadedDriver() { owner_ = rttr::variant(); }

  /// Drops the object, then has a new one made.
  void replace() {
    owner_ = rttr::variant();
    EXPECT_EQ(plugin_.create(owner_), 0);
    driver_ = owner_.extract_wrapped_value().convert<driver::CDriver*>();
  }

  driver::CDriver* operator->() const { return driver_; }
  driver::CDriver& operator*() const { return *driver_; }
  const Plugin& plugin() const { return plugin_; }

 private:
  Plugin plugin_;
  rttr::variant owner_;
  driver::CDriver* driver_ = nullptr;
};

}  // namespace support
