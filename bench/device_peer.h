#pragma once

#include <memory>
#include <string>

#include "bench/child_process.h"
#include "tests/support/temp_dir.h"

namespace bench {

/// A bacnet-device on an address of the loopback of its own, whose values stand still, with the points 1 to 1000 of
/// `writeProject`. The constructor returns when it serves; throws std::runtime_error when it does not.
class CDevicePeer {
 public:
  /// `behaviour` is the text of its behaviour file.
  explicit CDevicePeer(const std::string& behaviour = "{}");

  const std::string& address() const { return address_; }

  /// It hears nothing as long as `isPaused`.
  void pause(bool isPaused) const;

 private:
  const support::TempDir directory_;
  const std::string address_;
  std::unique_ptr<CChildProcess> program_;
};

/// An address of the loopback that nothing else here uses.
std::string nextLoopbackAddress();

}  // namespace bench
