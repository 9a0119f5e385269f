#include <CLI/CLI.hpp>

#include "host/tool/command/commands.h"
#include "host/tool/console/records.h"
#include "host/tool/link/project.h"

namespace tool {

namespace {

ExitStatus showLinks(const Options& options, COutput& output) {
  CRecordWriter writer(output, options.format,
                       {{"link", "Link", true},
                        {"ip", "Ip"},
                        {"desPort", "DesPort", true},
                        {"deviceId", "DeviceId", true},
                        {"mode", "Mode", true},
                        {"network", "Network", true},
                        {"points", "Points", true}});
  for (const plant::Link& link : readLinks(options)) {
    Record record;
    record["link"] = link.linkId;
    record["ip"] = link.ip;
    record["desPort"] = link.desPort;
    record["deviceId"] = link.deviceId;
    record["mode"] = link.mode;
    record["network"] = link.network;
    record["points"] = link.points.size();
    writer.add(record);
  }
  writer.flush();
  return ExitStatus::kWell;
}

}  // namespace

void addLinks(CLI::App& app, Action& action) {
  CLI::App* const command = app.add_subcommand("links", "the project's links, from the project file alone");
  setExample(*command, "hmi-host --project /opt/project links");
  command->callback([&action] { action.run = showLinks; });
}

}  // namespace tool
