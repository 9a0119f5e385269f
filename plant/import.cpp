#include "plant/import.h"

#include <algorithm>
#include <array>
#include <map>
#include <optional>
#include <set>

#include "plant/file.h"
#include "plant/point_table.h"

namespace plant {

namespace {

using Kind = ImportedLine::Kind;

void addLeftOut(const std::vector<LeftOut>& leftOut, ImportReport& report) {
  for (const LeftOut& each : leftOut) {
    ImportedLine line;
    line.line = each.line;
    line.name = each.name;
    line.note = each.reason;
    report.push_back(line);
  }
  std::stable_sort(report.begin(), report.end(),
                   [](const ImportedLine& a, const ImportedLine& b) { return a.line < b.line; });
}

// Which link each device of a list belongs to.
class CDeviceLinks {
 public:
  CDeviceLinks(const EdeList& list, std::int32_t firstLink, CProjectWriter& project)
      : firstLink_(firstLink), project_(project) {
    std::set<std::int32_t> devices;
    for (const EdeObject& object : list.objects) {
      if (object.device) devices.insert(*object.device);
    }
    isOnlyDevice_ = devices.size() == 1;
  }

  /// The device's link, made when there is none. `isNew` tells whether the project has changed by it.
  std::int32_t linkOf(std::optional<std::int32_t> device, std::optional<Placement>& change) {
    if (const auto known = numbers_.find(device); known != numbers_.end()) return known->second;
    const std::int32_t number = device ? numberFor(*device) : firstLink_;
    numbers_[device] = number;
    change = put(number, device);
    return number;
  }

 private:
  std::int32_t numberFor(std::int32_t device) const {
    const auto& links = project_.links();
    const auto own =
        std::find_if(links.begin(), links.end(), [&](const auto& each) { return each.second.deviceId == device; });
    if (own != links.end() && device != 0) return own->first;
    std::int32_t number = firstLink_;
    while (isTaken(number)) ++number;
    return number;
  }

  bool isTaken(std::int32_t number) const {
    const auto link = project_.links().find(number);
    if (link == project_.links().end()) return numbers_.count(std::nullopt) > 0 && number == firstLink_;
    return !(isOnlyDevice_ && number == firstLink_ && link->second.deviceId <= 0);
  }

  // Reading in batches is safe to ask for; a write batch of the driver's is for those who know it.
  Placement put(std::int32_t number, std::optional<std::int32_t> device) {
    const auto known = project_.links().find(number);
    Link link;
    if (known == project_.links().end())
      link.enableReadPropm = true;
    else
      link = known->second;
    link.linkId = number;
    if (device) link.deviceId = *device;
    return project_.putLink(link, true);
  }

  std::int32_t firstLink_;
  CProjectWriter& project_;
  bool isOnlyDevice_ = false;
  std::map<std::optional<std::int32_t>, std::int32_t> numbers_;
};

std::string nameOf(const EdeObject& object, NameSource source) {
  const std::array<const std::string*, 3> texts = {&object.keyname, &object.objectName, &object.description};
  const std::string& first = *texts[static_cast<std::size_t>(source)];
  if (!first.empty()) return first;
  for (const std::string* text : texts) {
    if (!text->empty()) return *text;
  }
  return objectName(object.objectType, object.instance);
}

std::string textsOf(const EdeTexts& texts, const std::optional<std::int32_t>& number) {
  const auto found = number ? texts.find(*number) : texts.end();
  if (found == texts.end()) return {};
  std::string all;
  for (const std::string& text : found->second) all += (all.empty() ? "" : ", ") + text;
  return all;
}

class CEdeImport {
 public:
  CEdeImport(const EdeFiles& files, const EdeChoice& choice, CProjectWriter& project)
      : files_(files), choice_(choice), project_(project), links_(files.list, choice.firstLink, project) {}

  void add(const EdeObject& object) {
    ImportedLine line;
    line.line = object.line;
    line.name = nameOf(object, choice_.names);
    const ObjectRecord record = {object.objectType, object.instance, line.name, object.isCommandable};
    if (!choice_.filter.admits(record)) return;
    const std::vector<Point> points = pointsOf(record, choice_.filter);
    if (points.empty()) {
      line.note = typeText(object.objectType) + " has no present value for a register";
      report_.push_back(line);
      return;
    }
    line.unit = textsOf(files_.units, object.unit);
    line.states = textsOf(files_.stateTexts, object.stateTexts);
    line.link = linkOf(object);
    line.kind = Kind::kPoint;
    for (const Point& point : points) addPoint(point, object, line);
  }

  ImportReport take() { return std::move(report_); }

 private:
  std::string typeText(std::int32_t type) const {
    const std::string words = textsOf(files_.objectTypes, type);
    return "object type " + std::to_string(type) + (words.empty() ? "" : " (" + words + ")");
  }

  std::int32_t linkOf(const EdeObject& object) {
    std::optional<Placement> change;
    const std::int32_t number = links_.linkOf(object.device, change);
    if (change && *change != Placement::kKept) {
      ImportedLine line;
      line.line = object.line;
      line.kind = Kind::kLink;
      line.placement = *change;
      line.link = number;
      line.name = object.device ? "device " + std::to_string(*object.device) : "a device without number";
      if (!object.device) line.note = "the list names no device; write Ip or DeviceId into the link";
      report_.push_back(line);
    }
    return number;
  }

  void addPoint(const Point& wanted, const EdeObject& object, ImportedLine line) {
    line.point = wanted;
    line.placement = project_.addPoint(line.link, line.point);
    if (line.placement == Placement::kAdded && line.point.name != wanted.name)
      line.note = "'" + wanted.name + "' is taken, or cannot be a name";
    else if (object.stateTexts && line.states.empty() && !files_.stateTexts.empty())
      line.note = "there is no state text " + std::to_string(*object.stateTexts);
    report_.push_back(line);
  }

  const EdeFiles& files_;
  const EdeChoice& choice_;
  CProjectWriter& project_;
  CDeviceLinks links_;
  ImportReport report_;
};

const char* noteOf(Placement placement) {
  return placement == Placement::kDiffers ? "the project has it otherwise, and keeps it" : "";
}

}  // namespace

std::int32_t readEdeFiles(const std::string& path, EdeFiles& files, std::string& error) {
  std::string bytes;
  if (readFile(path, bytes, error) != 0) return -1;
  const std::string list = bytes;
  const std::pair<const char*, EdeTexts*> companions[] = {
      {"StateTexts", &files.stateTexts}, {"Units", &files.units}, {"ObjTypes", &files.objectTypes}};
  for (const auto& [ending, texts] : companions) {
    const std::string companion = edeCompanion(path, ending);
    if (companion.empty()) continue;
    if (readFile(companion, bytes, error) != 0) return -1;
    *texts = readEdeTexts(bytes);
  }
  files.list = readEdeList(list, files.objectTypes);
  return 0;
}

ImportReport importEde(const EdeFiles& files, const EdeChoice& choice, CProjectWriter& project) {
  CEdeImport import(files, choice, project);
  for (const EdeObject& object : files.list.objects) import.add(object);
  ImportReport report = import.take();
  addLeftOut(files.list.leftOut, report);
  return report;
}

ImportReport importTable(std::string_view bytes, bool mayChange, CProjectWriter& project) {
  std::vector<LeftOut> leftOut;
  ImportReport report;
  std::set<std::pair<std::int32_t, std::int32_t>> seen;  // link, RegId
  for (const TableRow& row : readTable(bytes, leftOut)) {
    ImportedLine line;
    line.line = row.line;
    line.link = row.link.linkId;
    line.name = row.isLink ? "" : row.point.fullName();
    line.point = row.point;
    if (row.isLink) {
      line.kind = Kind::kLink;
      line.placement = project.putLink(row.link, mayChange);
    } else if (row.hasRegId && !seen.emplace(line.link, row.point.regId).second) {
      leftOut.push_back({row.line, line.name, "RegId " + std::to_string(row.point.regId) + " once more"});
      continue;
    } else {
      line.kind = Kind::kPoint;
      line.placement =
          row.hasRegId ? project.putPoint(line.link, row.point, mayChange) : project.addPoint(line.link, line.point);
    }
    line.note = noteOf(line.placement);
    report.push_back(line);
  }
  addLeftOut(leftOut, report);
  return report;
}

}  // namespace plant
