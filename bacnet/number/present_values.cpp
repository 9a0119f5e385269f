#include "bacnet/number/present_values.h"

#include <algorithm>
#include <array>

#include "bacnet/number/object_types.h"

namespace bacnet {

namespace {

using namespace object_type;  // NOLINT(google-build-using-namespace)
using Kind = ObjectKind;
using Type = Datatype;

constexpr std::array<PresentValueMeaning, 32> kMeanings = {{
    {kAnalogInput, Kind::kAnalog, Type::kReal, false},
    {kAnalogOutput, Kind::kAnalog, Type::kReal, true},
    {kAnalogValue, Kind::kAnalog, Type::kReal, true},
    {kBinaryInput, Kind::kBinary, Type::kEnumerated, false},
    {kBinaryOutput, Kind::kBinary, Type::kEnumerated, true},
    {kBinaryValue, Kind::kBinary, Type::kEnumerated, true},
    {kCalendar, Kind::kPlain, Type::kBoolean, false},
    {kCommand, Kind::kPlain, Type::kUnsigned, false},
    {kLoop, Kind::kAnalog, Type::kReal, false},
    {kMultiStateInput, Kind::kMultiState, Type::kUnsigned, false},
    {kMultiStateOutput, Kind::kMultiState, Type::kUnsigned, true},
    {kSchedule, Kind::kPlain, Type::kAny, false},
    {kMultiStateValue, Kind::kMultiState, Type::kUnsigned, true},
    {kLifeSafetyPoint, Kind::kPlain, Type::kEnumerated, false},
    {kLifeSafetyZone, Kind::kPlain, Type::kEnumerated, false},
    {kAccumulator, Kind::kAnalog, Type::kUnsigned, false},
    {kPulseConverter, Kind::kAnalog, Type::kReal, false},
    {kAccessDoor, Kind::kPlain, Type::kEnumerated, true},
    {kBitstringValue, Kind::kPlain, Type::kBitString, true},
    {kCharacterstringValue, Kind::kPlain, Type::kCharacterString, true},
    {kDatePatternValue, Kind::kPlain, Type::kDate, true},
    {kDateValue, Kind::kPlain, Type::kDate, true},
    {kDatetimePatternValue, Kind::kPlain, Type::kDateTime, true},
    {kDatetimeValue, Kind::kPlain, Type::kDateTime, true},
    {kIntegerValue, Kind::kAnalog, Type::kSigned, true},
    {kLargeAnalogValue, Kind::kAnalog, Type::kDouble, true},
    {kOctetstringValue, Kind::kPlain, Type::kOctetString, true},
    {kPositiveIntegerValue, Kind::kAnalog, Type::kUnsigned, true},
    {kTimePatternValue, Kind::kPlain, Type::kTime, true},
    {kTimeValue, Kind::kPlain, Type::kTime, true},
    {kLightingOutput, Kind::kPlain, Type::kReal, true},
    {kBinaryLightingOutput, Kind::kPlain, Type::kEnumerated, true},
}};

}  // namespace

const PresentValueMeaning* presentValueOf(std::uint16_t objectType) {
  const auto* const found = std::find_if(kMeanings.begin(), kMeanings.end(), [&](const PresentValueMeaning& each) {
    return each.objectType == objectType;
  });
  return found == kMeanings.end() ? nullptr : found;
}

}  // namespace bacnet
