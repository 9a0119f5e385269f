#pragma once

#include <optional>
#include <string_view>

#include "bacnet/codec/tag.h"
#include "bacnet/codec/value.h"

namespace bacnet {

/// The type of the one primitive that `values` are; nothing for several, for Null, and for what has no application
/// type.
std::optional<ApplicationType> typeOf(const Values& values);

/// Reads a value of `type` in the forms that bacnet/codec/describe.h shows; fractions of a time may be left out, and a
/// weekday may stand behind any date; left out, it is that of the day where there is one day only. Nothing where the
/// text is none of that type.
std::optional<Value> valueOf(std::string_view text, ApplicationType type);

}  // namespace bacnet
