#pragma once

#include <string>

#include "helper/bus/frame_handler.h"
#include "helper/request/remote_functions.h"
#include "helper/run_helper.h"
#include "simulator/fault_script.h"

namespace simulator {

/// Lets the fault script have its way with what another handler answers. Reads the script of the directory that the
/// helper was started from, and at each hand-off that of the project file's.
class CFaultHandler : public helper::CFrameHandler {
 public:
  /// `inner` outlives the handler.
  CFaultHandler(helper::HelperEnvironment& environment, helper::CFrameHandler& inner);

  void onFrame(const cbl::BusFrameInfo& frame, helper::CReplySlot slot) override;

 private:
  bool isConcerned(const cbl::BusFrameInfo& frame) const;
  bool loadScript(const std::string& directory);
  void pass(const cbl::BusFrameInfo& frame, const helper::Request& request, const std::string& code,
            helper::CReplySlot slot);

  helper::HelperEnvironment& environment_;
  helper::CFrameHandler& inner_;
  CFaultScript script_;
};

}  // namespace simulator
