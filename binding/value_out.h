#pragma once

#include <optional>

#include "bacnet/codec/tag.h"
#include "bacnet/codec/value.h"
#include "binding/result_codes.h"
#include "plant/project.h"
#include "plant/value.h"

namespace binding {

/// Whether writing `point` changes only some bits of what the device has, so that it has to be read first: a BOOL that
/// is a bit of a bit string or of an integer, and a number for a bit string.
bool needsCurrent(const plant::Point& point, bacnet::ApplicationType tag);

/// A point's value as the type that the device takes, nothing where that is not one primitive. `current` is what the
/// device has, there and where `needsCurrent` says so. Texts are read as they are shown: numbers, bits as 0101, octets
/// in hexadecimal, dates as 2026-11-21 and times as 12:30:00 with * for any, object identifiers as type,instance, and
/// date,time for what has both. Result: kDone or kDoesNotFit, then `out` is untouched.
ResultCode toDevice(const plant::Value& value, const plant::Point& point, std::optional<bacnet::ApplicationType> tag,
                    const bacnet::Values& current, bacnet::Values& out);

}  // namespace binding
