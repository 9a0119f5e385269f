#include <cstddef>
#include <cstdint>
#include <set>
#include <string>
#include <vector>

#include "fuzz/memory_file.h"
#include "plant/import.h"
#include "plant/point_table.h"

namespace {

// The links of a project as they read when it is saved.
std::vector<plant::Link> saved(const plant::CProjectWriter& project) {
  static const CMemoryFile file;
  std::vector<plant::Link> links;
  std::string error;
  FUZZ_CHECK(plant::readLinks(file.hold(project.text()), links, error) == 0);
  return links;
}

void open(plant::CProjectWriter& project) {
  std::string error;
  FUZZ_CHECK(project.open("/proc/no such file", error) == 0);
}

// An import gives each point a name and a number of its own, and once more brings nothing.
void checkList(std::string_view bytes) {
  plant::EdeFiles files;
  files.list = plant::readEdeList(bytes);
  files.stateTexts = plant::readEdeTexts(bytes);
  plant::EdeChoice choice;
  choice.filter.withFlags = choice.filter.withRelease = true;
  plant::CProjectWriter project;
  open(project);
  const plant::ImportReport report = plant::importEde(files, choice, project);
  FUZZ_CHECK(report.size() >= files.list.leftOut.size());
  for (const plant::Link& link : saved(project)) {
    std::set<std::string> names;
    std::set<std::int32_t> numbers;
    for (const plant::Point& point : link.points) {
      FUZZ_CHECK(!point.name.empty() && names.insert(point.fullName()).second);
      FUZZ_CHECK(point.regId > 0 && numbers.insert(point.regId).second);
    }
  }
  for (const plant::ImportedLine& line : plant::importEde(files, choice, project))
    FUZZ_CHECK(line.kind == plant::ImportedLine::Kind::kNothing || line.placement == plant::Placement::kKept);
}

// A project that came of a table gives a table that the same project comes of.
void checkTable(std::string_view bytes) {
  plant::CProjectWriter project;
  open(project);
  plant::importTable(bytes, true, project);
  const std::string table = plant::toTable(saved(project));
  plant::CProjectWriter again;
  open(again);
  plant::importTable(table, false, again);
  FUZZ_CHECK(plant::toTable(saved(again)) == table);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view bytes(reinterpret_cast<const char*>(data), size);
  checkList(bytes);
  checkTable(bytes);
  return 0;
}
