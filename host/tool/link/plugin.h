#pragma once

#include <rttr/variant.h>

#include <cstdint>
#include <string>

#include "host/tool/options.h"

namespace tool {

/// The plug-in's file: the one that `options` name, or else the first of the project directory, the folder of this
/// executable and the installed layout's driver folder. Throws CFailure (plug-in) when there is none.
std::string findPlugin(const Options& options);

/// A loaded plug-in. Drivers made by it must be gone before this object is.
class CPlugin {
 public:
  /// Throws CFailure (plug-in) when the file cannot be loaded or lacks an entry point.
  explicit CPlugin(const std::string& path);
  ~CPlugin();
  CPlugin(const CPlugin&) = delete;
  CPlugin& operator=(const CPlugin&) = delete;

  const std::string& path() const { return path_; }
  std::int32_t abiVersion() const { return abiVersion_(); }
  /// Throws CFailure (plug-in) when the version is not the one that this runtime speaks.
  void requireAbiVersion() const;
  /// Has the plug-in make a driver. Throws CFailure (plug-in) when it does not.
  rttr::variant createDriver() const;

 private:
  void* entryPoint(const char* name) const;

  std::string path_;
  void* handle_;
  std::int32_t (*abiVersion_)() = nullptr;
  std::int32_t (*create_)(rttr::variant&) = nullptr;
};

}  // namespace tool
