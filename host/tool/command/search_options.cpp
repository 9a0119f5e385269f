#include "host/tool/command/search_options.h"

#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <chrono>

#include "host/tool/failure.h"

namespace tool {

namespace {

constexpr double kShortest = 0.1;  // s
constexpr double kLongest = 600;

std::optional<io::Address> addressIn(const char* option, const std::string& text, std::uint16_t port) {
  if (text.empty()) return std::nullopt;
  if (const auto address = io::parseAddress(text, port)) return address;
  throw CFailure(ExitStatus::kUsage, fmt::format("{} '{}' is no address", option, text),
                 "write it as 192.168.10.1 or 192.168.10.1:47808");
}

// Not CLI::Range, which lets nan pass.
std::string checkSeconds(const std::string& text) {
  double seconds = 0;
  const bool fits = CLI::detail::lexical_cast(text, seconds) && seconds >= kShortest && seconds <= kLongest;
  return fits ? "" : fmt::format("{} is no number from {} to {}", text, kShortest, kLongest);
}

}  // namespace

void SearchOptions::addTo(CLI::App& command) {
  command.add_option("--port", port, "UDP port of the devices")
      ->type_name("N")
      ->check(CLI::Range(1, 65535).description(""))
      ->capture_default_str();
  command.add_option("--network", network, "only this BACnet network, 0 the one at hand; otherwise all")
      ->type_name("N")
      ->check(CLI::Range(0, 65534).description(""));
  const auto throughRouter =
      command.add_option("--router", router, "ask through this router, where broadcasts do not reach")
          ->type_name("ADDRESS");
  command.add_option("--bbmd", bbmd, "register as a foreign device at this BBMD, and have it spread the question")
      ->type_name("ADDRESS")
      ->excludes(throughRouter);
  command.add_option("--timeout", seconds, "how long answers are waited for, in seconds")
      ->type_name("S")
      ->check(CLI::Validator(checkSeconds, ""))
      ->capture_default_str();
}

StationOptions SearchOptions::station(const Options& options) const {
  return {options.broadcastInterface(), port, addressIn("--bbmd", bbmd, port)};
}

Search SearchOptions::search() const {
  Search search;
  search.network = network.value_or(bacnet::kGlobalNetwork);
  search.router = addressIn("--router", router, port);
  search.patience = std::chrono::duration_cast<io::Duration>(std::chrono::duration<double>(seconds));
  return search;
}

std::vector<FoundDevice> searchFor(CStation& station, const Search& search) {
  if (!search.router && !station.canBroadcast())
    throw CFailure(ExitStatus::kUsage, "there is no network interface to ask on but the loopback",
                   "name one with --interface, or a --router or --bbmd");
  return searchDevices(station, search);
}

}  // namespace tool
