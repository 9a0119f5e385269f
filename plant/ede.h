#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace plant {

/// One object of an EDE list, its fields checked.
struct EdeObject {
  std::size_t line = 0;
  std::optional<std::int32_t> device;  ///< instance number of its device; none for 0, too
  std::int32_t objectType = 0;
  std::int32_t instance = 0;
  std::string keyname;
  std::string objectName;
  std::string description;
  bool isCommandable = false;
  std::optional<std::int32_t> stateTexts;  ///< reference into the list of state texts
  std::optional<std::int32_t> unit;        ///< unit code
};

/// A line of a file that nothing was made of, and why.
struct LeftOut {
  std::size_t line = 0;
  std::string name;
  std::string reason;
};

struct EdeList {
  std::string projectName;
  std::vector<EdeObject> objects;
  std::vector<LeftOut> leftOut;
};

/// Texts by number: those of one state after the other, of a unit, or of an object type.
using EdeTexts = std::map<std::int32_t, std::vector<std::string>>;

/// Reads an EDE object list of any of the usual encodings and separators. Columns go by their names where the file
/// names them, by their usual position otherwise; a name it does not know is passed over.
/// An object type may stand there in the words that `types` has for its number, too.
EdeList readEdeList(std::string_view bytes, const EdeTexts& types = {});

/// Reads a file of texts that goes with such a list: state texts, units or object types.
EdeTexts readEdeTexts(std::string_view bytes);

/// The path beside that of a list NAME_EDE.csv that ends in _`ending`.csv; upper and lower case alike. Empty when there
/// is none.
std::string edeCompanion(const std::string& listPath, const std::string& ending);

}  // namespace plant
