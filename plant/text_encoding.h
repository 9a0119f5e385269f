#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace plant {

/// `text`, which is in `charset` (a name as iconv knows it), in UTF-8. Nothing when it is not of that charset.
std::optional<std::string> toUtf8(std::string_view text, const char* charset);

/// A text whose encoding nobody tells, in UTF-8 without a byte-order mark. A mark decides; without one it is UTF-16
/// where zero bytes alternate with others, UTF-8 where it is well-formed, and Windows' superset of Latin-1 otherwise.
std::string decoded(std::string_view bytes);

}  // namespace plant
