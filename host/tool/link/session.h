#pragma once

#include <rttr/variant.h>

#include <cstdint>
#include <functional>
#include <memory>

#include "hmi/driver.h"
#include "host/tool/link/plugin.h"
#include "host/tool/options.h"
#include "plant/project.h"

namespace tool {

/// A driver object and the plug-in that it came from. Its calls block as the driver's do: seconds, when the helper is
/// to be started or does not answer.
class CSession {
 public:
  /// Loads the plug-in and has it make a driver. Throws CFailure (plug-in). `options` outlive this object.
  explicit CSession(const Options& options);
  /// The same with a plug-in that is loaded already.
  CSession(const Options& options, std::unique_ptr<CPlugin> plugin);
  ~CSession();
  CSession(const CSession&) = delete;
  CSession& operator=(const CSession&) = delete;

  /// Has the driver start the helper and hand it the project. Throws CFailure (taken, unreachable, refused).
  void init();
  /// Has the driver connect; may be repeated after `init`. Throws CFailure (taken, unreachable, refused).
  void connect();
  /// Connects again, with another driver object when this one cannot. Registers stay prepared. Throws as `init` and
  /// `connect` do.
  void reconnect();

  /// The register of `point`, prepared by the driver. Throws CFailure (project) when the driver does not know it.
  CRegister prepare(const plant::Point& point);

  /// Runs one call of the driver's. What it throws becomes CFailure: refused for answers that are no numbers.
  std::int32_t guarded(const std::function<std::int32_t()>& call) const;

  /// Not to be called after a plug-in failure of `reconnect`.
  driver::CDriver& driver() { return *driver_; }
  const CPlugin& plugin() const { return *plugin_; }
  std::string typeName() const;
  /// How often `connect` has been called.
  std::uint32_t connects() const { return connects_; }

 private:
  void makeDriver();
  void requireAddress() const;

  const Options& options_;
  std::unique_ptr<CPlugin> plugin_;
  rttr::variant owner_;  // keeps the driver alive; goes before the plug-in
  driver::CDriver* driver_ = nullptr;
  bool isInitialised_ = false;
  std::uint32_t connects_ = 0;
};

/// A session that is up: plug-in loaded, helper running and configured, link connected. Throws as those steps do.
std::unique_ptr<CSession> openSession(const Options& options);

}  // namespace tool
