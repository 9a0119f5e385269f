#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <filesystem>
#include <memory>
#include <string>
#include <system_error>
#include <vector>

#include "host/tool/command/commands.h"
#include "host/tool/command/device_choice.h"
#include "host/tool/command/type_option.h"
#include "host/tool/console/error_relay.h"
#include "host/tool/console/records.h"
#include "host/tool/link/project.h"
#include "host/tool/network/device_link.h"
#include "host/tool/network/device_record.h"
#include "plant/project_writer.h"

namespace tool {

namespace {

struct MakeOptions {
  std::vector<std::string> sources;
  std::vector<std::string> types;
  SearchOptions search;
  plant::PointFilter filter;
  bool isDryRun = false;
};

// Of the devices named, or of all that answer. Ends early with Ctrl-C.
std::vector<Listing> readDevices(const Options& options, const MakeOptions& own) {
  std::vector<Listing> listings;
  const auto add = [&](CStation& station, const FoundDevice& device) {
    listings.push_back(readListing(station, device));
    if (device.isDuplicate) listings.back().device["note"] = kDuplicate;
    if (!own.search.bbmd.empty()) listings.back().device["bbmd"] = own.search.bbmd;
  };
  for (const std::string& source : own.sources) {
    if (isInterrupted()) break;
    std::error_code unknown;
    if (std::filesystem::exists(source, unknown)) {
      listings.push_back(savedListing(source));
      continue;
    }
    const DeviceChoice choice = deviceChoice(options, own.search, source);
    CStation station(choice.station);
    if (const auto device = findDevice(station, choice)) add(station, *device);
  }
  if (!own.sources.empty()) return listings;
  CStation station(own.search.station(options));
  for (const FoundDevice& device : searchFor(station, own.search.search())) {
    if (!isInterrupted()) add(station, device);
  }
  return listings;
}

// The device's link and points, as far as the project does not have them.
Record addTo(plant::CProjectWriter& project, const Listing& listing, const plant::PointFilter& filter,
             std::int32_t firstLink) {
  std::vector<plant::Point> points;
  for (const Record& object : listing.objects) {
    const plant::ObjectRecord record = objectOf(object);
    if (!filter.admits(record)) continue;
    for (plant::Point& point : plant::pointsOf(record, filter)) points.push_back(std::move(point));
  }
  plant::Link link = linkTo(listing.device);
  const bool isDuplicate = listing.device.value("note", "") == kDuplicate;
  link.linkId = numberOf(link, isDuplicate, project.links(), firstLink);
  if (!points.empty() && project.links().count(link.linkId) == 0) project.putLink(link, false);
  std::size_t added = 0;
  for (plant::Point& point : points) added += project.addPoint(link.linkId, point) == plant::Placement::kAdded ? 1 : 0;

  Record record;
  record["link"] = points.empty() ? Record() : Record(link.linkId);
  record["device"] = link.deviceId;
  record["address"] = listing.device["address"];
  record["name"] = listing.device.value("name", "");
  record["objects"] = listing.objects.size();
  record["added"] = added;
  record["kept"] = points.size() - added;
  return record;
}

ExitStatus makeProject(const Options& options, COutput& output, const MakeOptions& own) {
  plant::PointFilter filter = own.filter;
  filter.objectTypes = typesIn(own.types);
  plant::CProjectWriter project;
  std::string error;
  if (project.open(projectFile(options), error) != 0)
    throw CFailure(ExitStatus::kProject, error, "mend the file; 'hmi-host check' may tell more");

  const std::vector<Listing> listings = readDevices(options, own);
  CRecordWriter writer(output, options.format,
                       {{"link", "Link", true},
                        {"device", "Device", true},
                        {"address", "Address"},
                        {"name", "Name"},
                        {"objects", "Objects", true},
                        {"added", "Added", true},
                        {"kept", "Kept", true}});
  bool areWhole = !listings.empty();
  for (const Listing& listing : listings) {
    writer.add(addTo(project, listing, filter, options.link));
    areWhole = areWhole && listing.problem.empty();
  }
  const bool isWritten = !own.isDryRun && !isInterrupted() && project.isChanged();
  if (isWritten && project.save(error) != 0)
    throw CFailure(ExitStatus::kProject, error, "nothing has changed; make room, or see to the directory's rights");
  writer.flush();
  say(fmt::format("{}: {}", projectFile(options), isWritten ? "written" : "nothing is written"));
  for (const Listing& listing : listings) {
    if (!listing.problem.empty())
      complain(fmt::format("device {}: {}", listing.device["device"].dump(), listing.problem));
  }
  if (listings.empty()) complain("no device has answered; name the network interface with --interface");
  if (isInterrupted()) return ExitStatus::kInterrupted;
  return areWhole ? ExitStatus::kWell : ExitStatus::kPointsFailed;
}

}  // namespace

void addMakeProject(CLI::App& app, Action& action) {
  CLI::App* const command = app.add_subcommand("make-project", "a project file from devices, or more points for one");
  const auto own = std::make_shared<MakeOptions>();
  command
      ->add_option("source", own->sources,
                   "device instances, addresses, or lists that 'objects --save' wrote; otherwise all that answer")
      ->type_name("SOURCE");
  own->search.addTo(*command);
  command->add_option("--only", own->filter.names, "only objects whose name matches the glob")
      ->type_name("PATTERN")
      ->allow_extra_args(false);
  addTypeOption(*command, own->types, "only objects of this type");
  command->add_flag("--with-flags", own->filter.withFlags, "fault and out-of-service of each object, too");
  command->add_flag("--with-release", own->filter.withRelease, "a release button for each commandable object");
  command->add_flag("--dry-run", own->isDryRun, "tell what would come of it, and write nothing");
  setExample(*command, "hmi-host --project /opt/project --interface eth0 make-project 3001 3002");
  command->callback([&action, own] {
    action.run = [own](const Options& options, COutput& output) { return makeProject(options, output, *own); };
  });
}

}  // namespace tool
