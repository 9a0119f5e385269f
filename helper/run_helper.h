#pragma once

#include <functional>
#include <memory>
#include <string>

#include "helper/bus/frame_handler.h"
#include "helper/process/helper_log.h"
#include "helper/source/point_source.h"
#include "io/event_loop.h"

namespace helper {

/// What the parts of a helper program are made with; all of it outlives them.
struct HelperEnvironment {
  io::CEventLoop& loop;
  CHelperLog& log;
  std::int32_t link;
  int listener;           ///< of the bus
  std::string directory;  ///< that the executable was started from, which for the driver is the project's
};

/// What makes one helper program different from another.
struct HelperProgram {
  std::string summary;        ///< what it is, for --help
  std::string versionSuffix;  ///< behind name and version in --version
  std::string greeting;       ///< behind process id and socket in the log's first line
  std::function<std::unique_ptr<CPointSource>(HelperEnvironment&)> makeSource;
  /// A handler of all frames that may hand them on to the one given, which outlives it. Without one, that is it.
  std::function<std::unique_ptr<CFrameHandler>(HelperEnvironment&, CFrameHandler&)> decorate = {};
};

/// A helper's `main`: reads its command line, claims the link's files, and serves until a signal or a part ends it.
/// Result: the process's exit status.
int runHelper(int argc, char** argv, const HelperProgram& program);

}  // namespace helper
