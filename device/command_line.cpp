#include "device/command_line.h"

#include <CLI/CLI.hpp>
#include <cstdio>
#include <limits>

#include "bacnet/codec/value.h"
#include "io/address.h"

namespace device {

namespace {

constexpr const char* kFooter =
    "SIGHUP reads the behaviour file again; SIGTERM and SIGINT end.\n"
    "Exit status: 0 ended by a signal, 1 address, port or network, 2 usage, 3 project or behaviour file.\n\n"
    "Example:\n  bacnet-device --project /opt/project --link 1 --address 127.0.0.2";

CLI::Validator isIp() {
  return {[](const std::string& text) { return io::parseIp(text) ? "" : text + " is no IPv4 address"; }, ""};
}

}  // namespace

std::optional<int> readCommandLine(int argc, char** argv, Options& options) {
  std::string address = io::ipText(options.ip);
  std::string broadcast;
  CLI::App app("A virtual BACnet/IP device with the objects that a project file's link names", "bacnet-device");
  app.footer(kFooter);
  app.set_version_flag("--version", "bacnet-device " DEVICE_VERSION);
  app.add_option("--project", options.project, "directory with BACnetLabel.xml, or such a file")
      ->type_name("DIR|FILE")
      ->required();
  app.add_option("--link", options.link, "number of the link; may be left out where the file has one only")
      ->type_name("N")
      ->check(CLI::Range(0, std::numeric_limits<std::int32_t>::max()).description(""));
  app.add_option("--device-id", options.deviceId, "instance of the device; otherwise the link's DeviceId")
      ->type_name("N")
      ->check(CLI::Range(std::uint32_t{0}, bacnet::kLargestInstance - 1).description(""));
  app.add_option("--address", address, "own address; 0.0.0.0 for all that the machine has")
      ->type_name("IP")
      ->check(isIp())
      ->capture_default_str();
  app.add_option("--port", options.port, "UDP port; otherwise the link's DesPort, or 47808")
      ->type_name("N")
      ->check(CLI::Range(1, 65535).description(""));
  app.add_option("--broadcast", broadcast, "address for broadcasts; otherwise that of the address' interface")
      ->type_name("IP")
      ->check(isIp());
  app.add_option("--behaviour", options.behaviour, "JSON file with limits and faults")->type_name("FILE");
  app.add_flag("--still", options.standsStill, "no value moves by itself");
  app.add_flag("--value-sources", options.tellsOrigins, "commanded objects tell who commands each priority");
  app.add_flag("--trace", options.traces, "a line on standard error for each datagram");
  try {
    app.parse(argc, argv);
  } catch (const CLI::Success& asked) {
    return app.exit(asked);
  } catch (const CLI::ParseError& mistake) {
    std::fprintf(stderr, "bacnet-device: %s; bacnet-device --help shows the options\n", mistake.what());
    return kUsage;
  }
  options.ip = *io::parseIp(address);
  if (!broadcast.empty()) options.broadcast = io::parseIp(broadcast);
  return std::nullopt;
}

}  // namespace device
