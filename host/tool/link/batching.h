#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <vector>

#include "hmi/driver.h"
#include "host/tool/link/result_codes.h"
#include "host/tool/link/session.h"
#include "host/tool/link/statistics.h"

namespace tool {

/// One access to one point: a read fills `words`, a write sends them.
struct Access {
  plant::Point point;
  CRegister reg;  ///< the point's, prepared
  std::vector<short> words;
  /// The driver's result: 0; -1 no answer; any other number is the helper's. None when the helper answered with text
  /// that is no number.
  std::optional<std::int32_t> code = kDone;
  bool isSent = false;  ///< whether the driver was called for it, whatever came of that
};

/// Sends accesses to the driver, several in one call where the driver admits it. Formed with the driver's own
/// `supportsMultiAccess` and `acceptBatchItem`.
///
/// A batch that the helper refuses, or answers with rubbish, is repeated point by point, so that a bad point costs only
/// itself; so is a point without words in a batch that was read well. A call that gets no answer, or meets a helper
/// that is not connected, is repeated once after the session has connected again; when that repetition gets none
/// either, the calls after it are tried without connecting until one succeeds. A read batch that got no answer twice is
/// then read point by point, until two of its points have got none.
class CBatcher {
 public:
  /// Both outlive this object. `statistics` takes the duration of each driver call.
  CBatcher(CSession& session, CStatistics& statistics) : session_(session), statistics_(statistics) {}

  /// Throws CFailure when the session cannot connect again; what was not sent then has the code -1.
  void read(std::vector<Access>& accesses);
  void write(std::vector<Access>& accesses);

 private:
  using Iterator = std::vector<Access>::iterator;
  using Code = std::optional<std::int32_t>;  // none when the answer was rubbish

  void run(driver::AccessRequest::Kind kind, std::vector<Access>& accesses);
  Iterator endOfBatch(driver::AccessRequest::Kind kind, Iterator first, Iterator end);
  void runBatch(driver::AccessRequest::Kind kind, Iterator first, Iterator last);
  Code callBatch(driver::AccessRequest::Kind kind, Iterator first, Iterator last);
  void readSeparately(Iterator first, Iterator last);
  void runLone(driver::AccessRequest::Kind kind, Access& access);
  std::int32_t callLone(driver::AccessRequest::Kind kind, Access& access);
  Code timed(const std::function<std::int32_t()>& call);
  Code answered(const std::function<std::int32_t()>& call);

  CSession& session_;
  CStatistics& statistics_;
  bool mayConnect_ = true;
};

}  // namespace tool
