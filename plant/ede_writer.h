#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

#include "plant/project.h"

namespace plant {

/// A project as an EDE: the texts of its files, and what they have no place for.
struct EdeText {
  std::string list;         ///< NAME_EDE.csv
  std::string objectTypes;  ///< NAME_ObjTypes.csv
  std::size_t objects = 0;
  std::size_t leftOut = 0;        ///< points that are not the present value of an object that has a number
  std::size_t otherDataType = 0;  ///< points of a DataType that an import would not give them
};

struct EdeHead {
  std::string projectName;
  std::string date;  ///< 2027-03-09
};

/// `typeName` gives the text of an object type, or none. An object is settable where a point of the project writes or
/// releases a priority of it, or where its type is an output's. Separated by `;`, in UTF-8 with its mark, so that
/// spreadsheets read it.
EdeText toEde(const std::vector<Link>& links, const EdeHead& head,
              const std::function<std::string(std::int32_t)>& typeName);

}  // namespace plant
