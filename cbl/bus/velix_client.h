#pragma once

#include <atomic>
#include <cstdint>
#include <mutex>
#include <string>

#include "cbl/bus/velix_commu_client.h"
#include "cbl/bus/velix_message.h"

namespace velix {

/// The remote-call channel to one helper process. `call` and `setSocketPath` may be used from any thread and exclude
/// each other; `connect` and `close` take no lock and must not overlap a `call`.
class CVelixClient {
 public:
  CVelixClient();
  virtual ~CVelixClient();

  CVelixClient(const CVelixClient&) = delete;
  CVelixClient& operator=(const CVelixClient&) = delete;

  /// The next `call` connects to `path`; until then an open connection stays. An empty path is ignored.
  void setSocketPath(const std::string& path);

  /// Result: 0; -1 not connected within `timeoutMs` milliseconds.
  std::int32_t connect(std::int32_t timeoutMs);
  void close();

  /// Sends `request` and waits for the next reply, connecting first (at most 1000 ms) after a failure. The reply is not
  /// compared with the request: one call at a time is what keeps them together. Blocks for at most 3 waits of 3000 ms
  /// for the reply, and 3000 ms until the helper takes the request's first byte; a request once begun is sent to its
  /// end, without limit.
  bool call(const cbl::CVelixMessage& request, cbl::CVelixMessage& reply);

 private:
  cbl::CVelixCommuClient commuClient_;
  std::mutex mutex_;
  std::uint32_t nextIdentifier_ = 1;
  std::atomic<bool> connected_{false};
  std::string socketPath_;
};

}  // namespace velix
