#pragma once

#include "bacnet/codec/reader.h"
#include "bacnet/codec/writer.h"
#include "bacnet/service/failure.h"
#include "bacnet/service/property.h"

namespace bacnet {

/// What several services have in common: the standard's BACnetPropertyValue (property, index, value, priority in
/// context tags from 0 on), and class and code of an error in tags of their types.
PropertyWrite readPropertyValue(CReader& in);
void writePropertyValue(CWriter& out, const PropertyWrite& value);

/// A priority in a context tag, if it is there.
std::optional<std::uint8_t> readPriority(CReader& in, std::uint8_t tag);

Error readError(CReader& in);
void writeError(CWriter& out, const Error& error);

}  // namespace bacnet
