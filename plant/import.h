#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "plant/ede.h"
#include "plant/object_points.h"
#include "plant/project_writer.h"

namespace plant {

/// What an import made of one line of its file.
struct ImportedLine {
  enum class Kind { kLink, kPoint, kNothing };
  std::size_t line = 0;
  Kind kind = Kind::kNothing;
  Placement placement = Placement::kKept;  ///< of a link or point
  std::int32_t link = 0;
  Point point;         ///< as it stands in the project now
  std::string name;    ///< what the file calls it
  std::string note;    ///< why nothing came of it, or what the reader should know; may be empty
  std::string unit;    ///< as the file's list of units tells it; may be empty
  std::string states;  ///< likewise, the texts of states 1, 2, ... with commas between
};
using ImportReport = std::vector<ImportedLine>;

/// Which of an EDE object's texts its point is called after; the others stand in when that one is empty.
enum class NameSource { kKeyname, kObjectName, kDescription };

struct EdeChoice {
  std::int32_t firstLink = 1;
  NameSource names = NameSource::kKeyname;
  PointFilter filter;
};

/// An object list and what goes with it.
struct EdeFiles {
  EdeList list;
  EdeTexts stateTexts;
  EdeTexts units;
  EdeTexts objectTypes;
};

/// Reads the list at `path` and the files beside it that go with it. Result: 0; -1 with `error`: one of them is there
/// and cannot be read.
std::int32_t readEdeFiles(const std::string& path, EdeFiles& files, std::string& error);

/// Puts the objects of an EDE list into a project, present values first of all. Objects of a device go to the link that
/// has its DeviceId. A device that has none gets the next number from `firstLink` on; when it is the only device of the
/// list and link `firstLink` names no device yet, it gets that one. Objects without a device go to `firstLink`. What is
/// in the project already stays as it is.
ImportReport importEde(const EdeFiles& files, const EdeChoice& choice, CProjectWriter& project);

/// Puts the rows of a table as `toTable` makes it into a project: links by number, points by RegId. What is in the
/// project already in another way is changed only when `mayChange`.
ImportReport importTable(std::string_view bytes, bool mayChange, CProjectWriter& project);

}  // namespace plant
