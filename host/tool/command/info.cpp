#include <CLI/CLI.hpp>

#include "host/tool/command/commands.h"
#include "host/tool/link/helper_files.h"
#include "host/tool/link/helper_version.h"
#include "host/tool/link/network_interface.h"
#include "host/tool/link/project.h"
#include "host/tool/link/session.h"

namespace tool {

namespace {

// A helper that cannot say it is no reason to say nothing else.
void addHelper(Record& record, const Options& options) {
  HelperVersion version;
  if (failureOf([&] { version = versionOf(findHelper(options.project)); })) return;
  record["helper"] = version.text;
  record["simulated"] = version.isSimulated;
}

void addLink(Record& record, const plant::Link& link) {
  record["ip"] = link.ip;
  record["desPort"] = link.desPort;
  record["srcPort"] = link.srcPort;
  record["deviceId"] = link.deviceId;
  record["enableReadPropm"] = link.enableReadPropm;
  record["enableWritePropm"] = link.enableWritePropm;
  record["enableSCOV"] = link.enableSCOV;
  record["mode"] = link.mode;
  record["network"] = link.network;
  record["macLen"] = link.macLen;
  record["virtualMac"] = link.virtualMac;
  record["points"] = link.points.size();
}

// What is known is shown also when the helper is not to be had; that failure then ends the command.
ExitStatus showInfo(const Options& options, COutput& output) {
  const plant::Link link = readPresentLink(options);
  const std::string address = addressOf(options.networkInterface);
  CSession session(options);

  const auto failure = failureOf([&] {
    session.init();
    session.connect();
  });

  Record record;
  record["plugin"] = session.plugin().path();
  record["abiVersion"] = session.plugin().abiVersion();
  record["typeName"] = session.typeName();
  record["project"] = options.project;
  record["link"] = options.link;
  record["interface"] = options.networkInterface;
  record["address"] = address;
  addHelper(record, options);
  addLink(record, link);
  record["status"] = session.driver().getStatus();
  record["connectState"] = session.driver().getConnectState();
  writeSingle(output, options.format, record);
  if (failure) throw CFailure(*failure);
  return ExitStatus::kWell;
}

}  // namespace

void addInfo(CLI::App& app, Action& action) {
  CLI::App* const command = app.add_subcommand("info", "plug-in, link parameters and states");
  setExample(*command, "hmi-host --project /opt/project info");
  command->callback([&action] { action.run = showInfo; });
}

}  // namespace tool
