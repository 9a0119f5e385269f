#include "host/tool/network/listing_changes.h"

#include <fmt/format.h>

#include <map>
#include <string>
#include <utility>

namespace tool {

namespace {

using Key = std::pair<std::uint64_t, std::uint64_t>;  // type, instance
using Objects = std::map<Key, const Record*>;

// What a project relies on; values move.
constexpr const char* kCompared[] = {"name", "description", "units", "states", "commandable"};

Record fieldOf(const Record& object, const char* field) {
  const auto found = object.find(field);
  return found == object.end() ? Record() : *found;
}

Objects byKey(const Listing& listing) {
  Objects objects;
  for (const Record& each : listing.objects)
    objects[{each["type"].get<std::uint64_t>(), each["instance"].get<std::uint64_t>()}] = &each;
  return objects;
}

Record changeOf(const Record& object, const char* change) {
  Record record;
  record["change"] = change;
  for (const char* field : {"type", "typeName", "instance", "name"}) record[field] = fieldOf(object, field);
  record["field"] = Record();
  record["was"] = Record();
  record["is"] = Record();
  return record;
}

void addDifference(const Record& object, const char* field, const Record& was, const Record& is,
                   std::vector<Record>& changes) {
  if (was == is) return;
  changes.push_back(changeOf(object, std::string(field) == "name" ? "renamed" : "changed"));
  changes.back()["field"] = field;
  changes.back()["was"] = was;
  changes.back()["is"] = is;
}

std::string objectText(const Record& object) {
  const Record type = fieldOf(object, "typeName");
  return fmt::format("{} {}", type.is_string() ? type.get<std::string>() : object["type"].dump(),
                     object["instance"].dump());
}

// Objects by their names, as far as each is one object's alone.
std::map<std::string, Key> byName(const Objects& objects) {
  std::map<std::string, Key> names;
  std::map<std::string, int> count;
  for (const auto& [key, object] : objects) {
    const Record name = fieldOf(*object, "name");
    if (name.is_string() && ++count[name.get<std::string>()] == 1) names[name.get<std::string>()] = key;
  }
  for (const auto& [name, times] : count) {
    if (times > 1) names.erase(name);
  }
  return names;
}

}  // namespace

std::vector<Record> changesBetween(const Listing& before, const Listing& now) {
  std::vector<Record> changes;
  Objects then = byKey(before);
  Objects fresh = byKey(now);
  for (const auto& [key, object] : byKey(now)) {
    const auto old = then.find(key);
    if (old == then.end()) continue;
    for (const char* field : kCompared)
      addDifference(*object, field, fieldOf(*old->second, field), fieldOf(*object, field), changes);
    then.erase(old);
    fresh.erase(key);
  }
  const auto names = byName(fresh);
  for (const auto& [name, key] : byName(then)) {
    const auto moved = names.find(name);
    if (moved == names.end()) continue;
    const Record& object = *fresh[moved->second];
    addDifference(object, "object", objectText(*then[key]), objectText(object), changes);
    then.erase(key);
    fresh.erase(moved->second);
  }
  for (const auto& [key, object] : fresh) {
    if (before.problem.empty()) changes.push_back(changeOf(*object, "added"));
  }
  if (!now.problem.empty()) return changes;
  for (const auto& [key, object] : then) changes.push_back(changeOf(*object, "gone"));
  return changes;
}

}  // namespace tool
