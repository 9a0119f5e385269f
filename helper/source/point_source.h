#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "helper/result_codes.h"
#include "io/clock.h"
#include "plant/project.h"
#include "plant/value.h"

namespace helper {

/// A bus call is answered so long after its request at the latest: the driver gives up after 3 s.
constexpr std::chrono::milliseconds kLongestAccess{2500};

struct Outcome {
  ResultCode code = ResultCode::kDone;
  std::string note;  ///< one line for the log, may be empty
};
struct Reading {
  ResultCode code = ResultCode::kDone;
  plant::Value value;  ///< of the point's type; only when the code is kDone
};
struct PointRead {
  const plant::Point* point;
  std::int32_t size;  ///< bytes, as asked for: the point's, of a STRING the register's length
};
struct PointWrite {
  const plant::Point* point;
  plant::Value value;  ///< of the point's type
  std::int32_t size;   ///< as in PointRead
};
template <typename Result>
using Done = std::function<void(Result)>;

/// What stands behind the remote functions: simulated points, or BACnet/IP. Each of `connect`, `read` and `write` calls
/// back exactly once, perhaps before it returns, never after its deadline; a source that is destroyed destroys the
/// callbacks of what is under way, uncalled. Results come per point, in the order asked. Several accesses may be under
/// way at a time. One thread; no call blocks.
class CPointSource {
 public:
  virtual ~CPointSource() = default;

  /// Takes over a link, in place of the one before; the points of later calls belong to it. Accesses under way keep
  /// theirs: whoever asked for them holds the link until their callback. `directory` is the project file's.
  virtual Outcome load(const std::shared_ptr<const plant::Link>& link, const std::string& directory) = 0;

  /// Gets ready to reach the link's device, or finds that done.
  virtual void connect(io::TimePoint deadline, Done<Outcome> done) = 0;

  /// At least one point; each of its right size.
  virtual void read(std::vector<PointRead> points, io::TimePoint deadline, Done<std::vector<Reading>> done) = 0;
  virtual void write(std::vector<PointWrite> points, io::TimePoint deadline, Done<std::vector<Outcome>> done) = 0;

  /// Whether the first failed point's code answers for a whole batch that is read, without any values; if not, the
  /// batch is answered with what there is.
  virtual bool strictBatches() const { return true; }
};

}  // namespace helper
