#include "host/tool/link/plugin.h"

#include <dlfcn.h>
#include <fmt/format.h>

#include <array>
#include <filesystem>
#include <utility>

#include "host/tool/failure.h"

namespace tool {

namespace {

constexpr const char* kFileName = "libBACnet_IP.so";
constexpr const char* kInstalledFolder = "../lib/hmi-drivers";  // from the folder of the executable
constexpr std::int32_t kAbiVersion = 1;

void* load(const std::string& path) {
  void* const handle = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (handle == nullptr)
    throw CFailure(ExitStatus::kPlugin, fmt::format("the plug-in cannot be loaded: {}", dlerror()),
                   "name the right file with --plugin, built for this machine and with its libraries installed");
  return handle;
}

}  // namespace

std::string findPlugin(const Options& options) {
  namespace fs = std::filesystem;
  if (!options.plugin.empty()) return fs::absolute(options.plugin).lexically_normal().string();

  std::error_code unknown;
  const fs::path here = fs::read_symlink("/proc/self/exe", unknown).parent_path();
  const std::array<fs::path, 3> folders = {options.project, here, here / kInstalledFolder};
  for (const fs::path& folder : folders) {
    const fs::path file = (folder / kFileName).lexically_normal();
    if (fs::exists(file, unknown)) return file.string();
  }
  throw CFailure(ExitStatus::kPlugin,
                 fmt::format("there is no {} in {}, {} or {}", kFileName, options.project, here.string(),
                             folders.back().lexically_normal().string()),
                 "name the file with --plugin");
}

CPlugin::CPlugin(const std::string& path) : path_(path), handle_(load(path)) {
  abiVersion_ = reinterpret_cast<std::int32_t (*)()>(entryPoint("Get_Driver_ABI_Version"));
  create_ = reinterpret_cast<std::int32_t (*)(rttr::variant&)>(entryPoint("Create_Driver"));
  if (abiVersion_ != nullptr && create_ != nullptr) return;

  dlclose(handle_);
  throw CFailure(ExitStatus::kPlugin, fmt::format("{} lacks the entry points of a driver plug-in", path_),
                 "name the right file with --plugin");
}

CPlugin::~CPlugin() {
  dlclose(handle_);
}

void* CPlugin::entryPoint(const char* name) const {
  return dlsym(handle_, name);
}

void CPlugin::requireAbiVersion() const {
  const std::int32_t version = abiVersion();
  if (version == kAbiVersion) return;
  throw CFailure(ExitStatus::kPlugin, fmt::format("{} has ABI version {}, not {}", path_, version, kAbiVersion),
                 "use the plug-in and the hmi-host of one release");
}

rttr::variant CPlugin::createDriver() const {
  rttr::variant driver;
  const std::int32_t result = create_(driver);
  if (result == 0 && driver.is_valid()) return driver;
  throw CFailure(ExitStatus::kPlugin, fmt::format("{} creates no driver (code {})", path_, result),
                 "use the plug-in and the hmi-host of one release");
}

}  // namespace tool
