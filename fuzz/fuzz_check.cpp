#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "fuzz/memory_file.h"
#include "plant/check.h"
#include "plant/point_table.h"
#include "plant/project_writer.h"

namespace {

void checkProblems(const std::vector<plant::Problem>& problems, std::string_view text) {
  const auto lines = static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n')) + 1;
  std::size_t line = 1;
  for (const plant::Problem& each : problems) {
    FUZZ_CHECK(each.line >= line && each.line <= lines);
    FUZZ_CHECK(!each.text.empty() && each.text.find('\n') == std::string::npos && !each.remedy.empty());
    line = each.line;
  }
}

std::string tableOf(const std::string& path) {
  std::vector<plant::Link> links;
  std::string error;
  FUZZ_CHECK(plant::readLinks(path, links, error) == 0);
  return plant::toTable(links);
}

}  // namespace

// A project file is checked, and written anew by the writer, which must not change what it means.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const CMemoryFile file;
  static const CMemoryFile copy;
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  const std::string path = file.hold(text);

  std::vector<plant::Problem> problems;
  std::vector<plant::Link> links;
  std::string error;
  const std::int32_t result = plant::checkProject(path, problems, error);
  FUZZ_CHECK(result == plant::readLinks(path, links, error));
  if (result != 0) {
    FUZZ_CHECK(problems.empty() && !error.empty());
    return 0;
  }
  checkProblems(problems, text);

  plant::CProjectWriter project;
  if (project.open(path, error) != 0) return 0;  // it reads comments and the like, too, and may find them broken
  for (const plant::Link& link : links) {
    for (plant::Point point : link.points) FUZZ_CHECK(project.addPoint(link.linkId, point) == plant::Placement::kKept);
  }
  FUZZ_CHECK(tableOf(copy.hold(project.text())) == plant::toTable(links));
  return 0;
}
