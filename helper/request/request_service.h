#pragma once

#include <memory>
#include <string>
#include <vector>

#include "helper/bus/frame_handler.h"
#include "helper/process/helper_log.h"
#include "helper/request/point_table.h"
#include "helper/request/remote_functions.h"
#include "helper/source/point_source.h"
#include "io/timers.h"

namespace helper {

/// Turns frames into accesses of a point source and their results into replies, each of which the driver can take. A
/// refused hand-off or connect is logged; every request, where the log traces.
class CRequestService : public CFrameHandler {
 public:
  /// All three outlive the service; it outlives the source's last callback.
  CRequestService(CPointSource& source, const io::CTimers& timers, CHelperLog& log);

  void onFrame(const cbl::BusFrameInfo& frame, CReplySlot slot) override;

 private:
  class CPendingReply;
  using Pending = std::shared_ptr<CPendingReply>;

  void perform(Pending pending);
  Outcome load(const Request& request);
  void connect(Pending pending);
  void read(Pending pending);
  void finishRead(const Pending& pending, const std::vector<Reading>& readings);
  void write(Pending pending);
  ResultCode checkConnected() const;
  void note(const std::string& function, const Outcome& outcome);
  io::TimePoint deadline() const { return timers_.now() + kLongestAccess; }

  CPointSource& source_;
  const io::CTimers& timers_;
  CHelperLog& log_;
  CPointTable points_;
  bool isConnected_ = false;
  std::string lastRefusal_;
};

/// A traced request's line but for a note; `code` as the reply has it.
std::string traceLine(const CReplySlot& slot, const std::string& function, std::size_t points, const std::string& code);

}  // namespace helper
