#include <memory>
#include <string>
#include <utility>

#include "helper/process/runtime_files.h"
#include "helper/run_helper.h"
#include "helper/source/bacnet_source.h"
#include "helper/source/link_sockets.h"
#include "io/udp_datagrams.h"

namespace {

std::unique_ptr<helper::CPointSource> makeSource(helper::HelperEnvironment& environment) {
  const auto log = [&environment](const std::string& line) { environment.log.write("{}", line); };
  const auto openSocket = [&environment](const io::UdpOptions& options) -> std::unique_ptr<io::CDatagrams> {
    return std::make_unique<io::CUdpDatagrams>(environment.loop, options);
  };
  const auto openSockets = [openSocket](const helper::LinkSettings& settings, const helper::HelperOptions& options,
                                        const auto& remark) -> std::unique_ptr<io::CDatagrams> {
    helper::CLinkSockets::Options sharing{settings.localPort, settings.remotePort, options.hasOwnPort,
                                          options.broadcast, helper::kRuntimeDirectory};
    auto sockets = std::make_unique<helper::CLinkSockets>(std::move(sharing), openSocket, remark);
    if (settings.bbmd) sockets->open(*settings.bbmd);
    if (settings.peer) sockets->open(*settings.peer);
    return sockets;
  };
  return std::make_unique<helper::CBacnetSource>(environment.loop, openSockets, log);
}

}  // namespace

int main(int argc, char** argv) {
  helper::HelperProgram program;
  program.summary = "Helper of a BACnet/IP link: reads and writes the points of its device for the driver on the bus";
  program.versionSuffix = ", BACnet/IP";
  program.makeSource = makeSource;
  return helper::runHelper(argc, argv, program);
}
