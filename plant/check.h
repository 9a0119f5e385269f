#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace plant {

enum class Severity {
  kWarning,  ///< read in a way that its author may not have meant
  kError,    ///< lost, or of no use to the device
};

/// Something in the project file that is not as it should be.
struct Problem {
  std::size_t line = 0;  ///< from 1
  Severity severity = Severity::kWarning;
  std::optional<std::int32_t> link;  ///< the link it belongs to, if any
  std::string where;                 ///< "BACnet", "Symbols", or a point's name
  std::string text;                  ///< what is wrong, in one line
  std::string remedy;                ///< what to do, in one line
};

/// Examines a whole BACnetLabel.xml and adds what it finds to `problems`, in the order of the lines. The file alone is
/// read. Result and `error` as `readProject`; on failure there is nothing in `problems`.
std::int32_t checkProject(const std::string& path, std::vector<Problem>& problems, std::string& error);

}  // namespace plant
