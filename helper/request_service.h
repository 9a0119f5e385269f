#pragma once

#include "cbl/bus/velix_message.h"
#include "helper/bus_server.h"
#include "helper/fault_script.h"
#include "helper/helper_log.h"
#include "helper/point_back_end.h"
#include "helper/remote_functions.h"

namespace helper {

/// Turns frames into calls of a point back end and its answers into replies, lets the fault script have its way with
/// them, and logs one line per request.
class CRequestService : public CFrameHandler {
 public:
  /// All three outlive the service.
  CRequestService(CPointBackEnd& backEnd, CFaultScript& script, CHelperLog& log);

  Delivery onFrame(const cbl::BusFrameInfo& frame) override;

 private:
  Answer answer(const Request& request, ResultCode understood, const FaultRule*& rule);

  CPointBackEnd& backEnd_;
  CFaultScript& script_;
  CHelperLog& log_;
};

}  // namespace helper
