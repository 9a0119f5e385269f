#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "helper/result_codes.h"
#include "plant/value.h"

namespace helper {

/// One point of a read or write request.
struct PointAccess {
  std::uint32_t regId = 0;
  std::int32_t size = 0;  ///< value size in bytes, as the driver claims it
  plant::Words words;     ///< what to write; empty in a read
};

/// What stands behind the remote functions: simulated points, or a BACnet/IP stack. Every call is one request, a batch
/// or a single point alike; `note` takes one line for the log when a call is refused. A refused call changes nothing.
/// Called on one thread; a call that waits for the network makes every client wait.
class CPointBackEnd {
 public:
  virtual ~CPointBackEnd() = default;

  /// Takes over link `link` of a project file. May be called again at any time.
  virtual ResultCode loadProject(const std::string& path, std::int32_t link, std::string& note) = 0;

  /// Makes the connection to the link's device, or finds it made.
  virtual ResultCode connect(std::string& note) = 0;

  /// Reads all points or none. `values` takes the words of each, in order.
  virtual ResultCode read(const std::vector<PointAccess>& points, std::vector<plant::Words>& values,
                          std::string& note) = 0;

  /// Writes all points or none.
  virtual ResultCode write(const std::vector<PointAccess>& points, std::string& note) = 0;
};

}  // namespace helper
