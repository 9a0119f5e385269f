#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "host/tool/command/commands.h"
#include "host/tool/command/device_choice.h"
#include "host/tool/command/type_option.h"
#include "host/tool/console/error_relay.h"
#include "host/tool/console/records.h"
#include "host/tool/network/listing_changes.h"
#include "plant/file.h"

namespace tool {

namespace {

struct ObjectsOptions {
  std::string device;
  SearchOptions search;
  std::string file;
  std::string before;
  std::vector<std::string> types;
};

std::vector<Column> objectColumns() {
  return {{"typeName", "Type"},   {"instance", "Instance", true},
          {"name", "Name"},       {"value", "Value", true},
          {"valueText", "State"}, {"units", "Units"},
          {"flags", "Flags"},     {"commandable", "Commandable"},
          {"cov", "Cov"},         {"description", "Description"}};
}

// A number stands for a type that the standard has no name for; one line has no room for all state texts.
Record shown(const Record& object, Format format) {
  Record record = object;
  if (format != Format::kTable) return record;
  if (record["typeName"].is_null()) record["typeName"] = record["type"].dump();
  for (const char* key : {"commandable", "cov"}) record[key] = record[key].get<bool>() ? "yes" : "";
  return record;
}

void save(const Listing& listing, const std::string& file) {
  std::string error;
  if (plant::writeFile(file, toText(listing), plant::Existing::kRefused, error) == 0) return;
  throw CFailure(ExitStatus::kUsage, error, "name a new file: what was saved before is not overwritten");
}

void showAll(const Listing& listing, Format format, COutput& output) {
  auto all = objectColumns();
  if (format != Format::kTable) {
    all.insert(all.begin(), {"type", "type", true});
    all.push_back({"states", "states"});
  }
  CRecordWriter writer(output, format, all);
  for (const Record& object : listing.objects) writer.add(shown(object, format));
  writer.flush();
}

Tone toneOf(const Record& change) {
  if (change["change"] == "added") return Tone::kGood;
  return change["change"] == "gone" ? Tone::kBad : Tone::kWarning;
}

void showChanges(const Listing& before, const Listing& now, Format format, COutput& output) {
  CRecordWriter writer(output, format,
                       {{"change", "Change"},
                        {"typeName", "Type"},
                        {"instance", "Instance", true},
                        {"name", "Name"},
                        {"field", "Field"},
                        {"was", "Was"},
                        {"is", "Is"}});
  const auto changes = changesBetween(before, now);
  for (Record change : changes) {
    if (change["typeName"].is_null()) change["typeName"] = change["type"].dump();
    writer.add(change, toneOf(change));
  }
  if (!changes.empty() || format != Format::kTable) writer.flush();
  say(fmt::format("{} difference{} to the list of {} objects", changes.size(), changes.size() == 1 ? "" : "s",
                  before.objects.size()));
}

Listing listingOf(const ObjectTypes& types, Listing listing) {
  const auto isOther = [&](const Record& object) { return !isAmong(types, object["type"].get<std::int32_t>()); };
  auto& objects = listing.objects;
  objects.erase(std::remove_if(objects.begin(), objects.end(), isOther), objects.end());
  return listing;
}

ExitStatus showObjects(const Options& options, COutput& output, const ObjectsOptions& own) {
  const ObjectTypes types = typesIn(own.types);
  const auto before = own.before.empty() ? std::nullopt : std::optional(listingOf(types, savedListing(own.before)));
  const DeviceChoice choice = deviceChoice(options, own.search, own.device);
  CStation station(choice.station);
  const auto device = findDevice(station, choice);
  if (!device) return ExitStatus::kInterrupted;
  Listing listing = readListing(station, *device, types);
  if (!own.search.bbmd.empty()) listing.device["bbmd"] = own.search.bbmd;

  if (before)
    showChanges(*before, listing, options.format, output);
  else
    showAll(listing, options.format, output);
  if (!own.file.empty() && !isInterrupted()) save(listing, own.file);
  say(fmt::format("device {} at {}: {} objects", device->iAm.device, listing.device["address"].get<std::string>(),
                  listing.objects.size()));
  if (isInterrupted()) return ExitStatus::kInterrupted;
  if (listing.problem.empty()) return ExitStatus::kWell;
  complain(listing.problem);
  return ExitStatus::kPointsFailed;
}

}  // namespace

void addObjects(CLI::App& app, Action& action) {
  CLI::App* const command = app.add_subcommand("objects", "what objects a device has; nothing is written to it");
  const auto own = std::make_shared<ObjectsOptions>();
  command->add_option("device", own->device, "instance or address; otherwise the device of the project's link")
      ->type_name("DEVICE");
  own->search.addTo(*command);
  command->add_option("--save", own->file, "keep the list in a new file, for make-project and for comparison")
      ->type_name("FILE");
  command->add_option("--compare", own->before, "show only what differs from a list that --save kept")
      ->type_name("FILE");
  addTypeOption(*command, own->types, "only objects of this type");
  setExample(*command, "hmi-host --interface eth0 objects 3001 --save 3001.json");
  command->callback([&action, own] {
    action = {[own](const Options& options, COutput& output) { return showObjects(options, output, *own); },
              own->device.empty()};
  });
}

}  // namespace tool
