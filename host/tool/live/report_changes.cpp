#include "host/tool/live/report_changes.h"

#include <fmt/format.h>

#include <algorithm>
#include <map>
#include <set>
#include <string>

namespace tool {

namespace {

using Texts = std::map<std::string, std::set<std::string>>;  // of the problems, by what they are about

std::string textIn(const Record& record, const char* key) {
  const auto field = record.find(key);
  return field == record.end() ? "" : fieldText(*field);
}

std::string pointKey(const Record& record) {
  return textIn(record, "link") + '/' + textIn(record, "regId");
}

// What a finding is about. Mistakes of the file are known by their words: their lines move.
std::string keyOf(const Record& finding) {
  const std::string check = textIn(finding, "check");
  const std::string regId = textIn(finding, "regId");
  return fmt::format("{}/{}/{}/{}", textIn(finding, "link"), regId.empty() ? textIn(finding, "where") : regId, check,
                     check == "file" ? textIn(finding, "problem") : "");
}

// A report that was itself compared has lines that are no findings of its own.
bool isFinding(const Record& finding) {
  return !textIn(finding, "severity").empty() && textIn(finding, "change") != "mended";
}

Texts textsOf(const LiveReport& report) {
  Texts texts;
  for (const Record& each : report.findings) {
    if (isFinding(each)) texts[keyOf(each)].insert(textIn(each, "problem"));
  }
  return texts;
}

std::set<std::string> linksOf(const LiveReport& report) {
  std::set<std::string> links;
  for (const Record& each : report.links) links.insert(textIn(each, "link"));
  return links;
}

// Links and points that were really looked at.
std::set<std::string> reachedOf(const LiveReport& report) {
  std::set<std::string> reached = {""};
  for (const Record& each : report.links) {
    if (!textIn(each, "device").empty()) reached.insert(textIn(each, "link"));
  }
  for (const Record& each : report.points) {
    if (textIn(each, "status") != "not read") reached.insert(pointKey(each));
  }
  return reached;
}

bool isLookedAt(const Record& finding, const std::set<std::string>& links, const std::set<std::string>& reached) {
  if (textIn(finding, "check") == "file")
    return textIn(finding, "link").empty() || links.count(textIn(finding, "link")) > 0;
  return reached.count(textIn(finding, "regId").empty() ? textIn(finding, "link") : pointKey(finding)) > 0;
}

Record changeOf(const Record& subject, const char* check, const char* change, const std::string& words) {
  Record record;
  record["change"] = change;
  record["severity"] = "";
  record["link"] = subject["link"];
  record["regId"] = subject.value("regId", Record());
  record["where"] = std::string(check) == "point" ? textIn(subject, "name") : "BACnet";
  record["check"] = check;
  record["line"] = Record();
  record["problem"] = words;
  record["remedy"] = "";
  return record;
}

std::string identityOf(const Record& point) {
  return fmt::format("'{}', object {},{}, property {}, {}", textIn(point, "name"), textIn(point, "objectType"),
                     textIn(point, "instance"), textIn(point, "property"), textIn(point, "dataType"));
}

void compareLinks(const LiveReport& before, bool coversAll, LiveReport& report) {
  const auto then = linksOf(before);
  const auto now = linksOf(report);
  for (const Record& each : report.links) {
    if (then.count(textIn(each, "link")) == 0)
      report.findings.push_back(changeOf(each, "link", "added", "this link was not in the report of then"));
  }
  for (const Record& each : before.links) {
    if (coversAll && now.count(textIn(each, "link")) == 0)
      report.findings.push_back(changeOf(each, "link", "removed", "the project has this link no more"));
  }
}

void comparePoints(const LiveReport& before, LiveReport& report) {
  const auto linksThen = linksOf(before);
  const auto linksNow = linksOf(report);
  std::map<std::string, const Record*> then;
  for (const Record& each : before.points) {
    if (linksNow.count(textIn(each, "link")) > 0) then[pointKey(each)] = &each;
  }
  for (const Record& each : report.points) {
    if (linksThen.count(textIn(each, "link")) == 0) continue;
    const auto old = then.find(pointKey(each));
    if (old == then.end()) {
      report.findings.push_back(changeOf(each, "point", "added", identityOf(each)));
      continue;
    }
    const std::string was = identityOf(*old->second);
    if (was != identityOf(each))
      report.findings.push_back(
          changeOf(each, "point", "changed", fmt::format("{}; it was {}", identityOf(each), was)));
    then.erase(old);
  }
  for (const auto& [key, old] : then) report.findings.push_back(changeOf(*old, "point", "removed", identityOf(*old)));
}

}  // namespace

void compare(const LiveReport& before, bool coversAll, LiveReport& report) {
  const Texts then = textsOf(before);
  const Texts now = textsOf(report);
  const auto links = linksOf(report);
  const auto reached = reachedOf(report);
  report.since = before.time;
  for (Record& each : report.findings) {
    const auto old = then.find(keyOf(each));
    const bool isSame = old != then.end() && old->second.count(textIn(each, "problem")) > 0;
    each["change"] = old == then.end() ? "new" : isSame ? "same" : "changed";
  }
  for (const Record& each : before.findings) {
    if (!isFinding(each) || now.count(keyOf(each)) > 0 || !isLookedAt(each, links, reached)) continue;
    report.findings.push_back(each);
    report.findings.back()["change"] = "mended";
  }
  compareLinks(before, coversAll, report);
  comparePoints(before, report);
}

}  // namespace tool
