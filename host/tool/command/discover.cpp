#include <CLI/CLI.hpp>
#include <memory>
#include <optional>
#include <utility>

#include "host/tool/command/commands.h"
#include "host/tool/command/search_options.h"
#include "host/tool/console/error_relay.h"
#include "host/tool/console/records.h"
#include "host/tool/network/device_record.h"

namespace tool {

namespace {

struct DiscoverOptions {
  SearchOptions search;
  std::optional<std::uint32_t> from;
  std::optional<std::uint32_t> to;
};

constexpr std::uint32_t kLargestDevice = bacnet::kLargestInstance - 1;

ExitStatus discover(const Options& options, COutput& output, const DiscoverOptions& own) {
  Search search = own.search.search();
  if (own.from || own.to) search.range = {own.from.value_or(0), own.to.value_or(kLargestDevice)};

  CStation station(own.search.station(options));
  const auto details = readDetails(station, searchFor(station, search));
  CRecordWriter writer(output, options.format,
                       {{"device", "Device", true},
                        {"address", "Address"},
                        {"network", "Network", true},
                        {"mac", "Mac"},
                        {"vendor", "Vendor", true},
                        {"model", "Model"},
                        {"name", "Name"},
                        {"maxApdu", "Apdu", true},
                        {"segmentation", "Segments"},
                        {"services", "Services"},
                        {"note", "Note"}});
  for (const DeviceDetails& each : details)
    writer.add(recordOf(each), each.isAnswering ? Tone::kPlain : Tone::kWarning);
  if (!details.empty() || options.format != Format::kTable) writer.flush();
  if (isInterrupted()) return ExitStatus::kInterrupted;
  if (!details.empty()) return ExitStatus::kWell;
  complain("no device has answered; name the network interface with --interface, or wait longer with --timeout");
  return ExitStatus::kUnreachable;
}

}  // namespace

void addDiscover(CLI::App& app, Action& action) {
  CLI::App* const command = app.add_subcommand("discover", "find devices and tell what they take");
  const auto own = std::make_shared<DiscoverOptions>();
  own->search.addTo(*command);
  for (const auto& [name, bound] : {std::pair("--from", &own->from), std::pair("--to", &own->to)})
    command->add_option(name, *bound, "only devices of these instances")
        ->type_name("N")
        ->check(CLI::Range(0U, kLargestDevice).description(""));
  setExample(*command, "hmi-host --interface eth0 discover --from 3000 --to 3999");
  command->callback([&action, own] {
    action = {[own](const Options& options, COutput& output) { return discover(options, output, *own); }, false};
  });
}

}  // namespace tool
