#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <string>
#include <string_view>
#include <variant>

#include "bacnet/codec/text.h"
#include "bacnet/codec/value_text.h"
#include "binding/value_in.h"
#include "binding/value_out.h"
#include "fuzz/check.h"
#include "helper/request/point_table.h"
#include "plant/value.h"

namespace {

using bacnet::ApplicationType;
using binding::ResultCode;

struct Register {
  plant::Point point;
  std::int32_t size = 0;  // bytes
};

Register takeRegister(std::string_view& input) {
  constexpr const char* kTypes[] = {"BOOL", "UDINT", "UINT", "REAL", "DOUBLE", "STRING", "other"};
  Register reg;
  reg.point.propId = takeByte(input);
  plant::setDataType(reg.point, kTypes[takeByte(input) % std::size(kTypes)]);
  reg.point.bitNum = takeByte(input) - 64;
  const std::int32_t text = 2 * (takeByte(input) + 1);
  reg.size = reg.point.type == plant::DataType::kString ? text : reg.point.size;
  return reg;
}

bool isInteger(plant::DataType type) {
  return type != plant::DataType::kBool && type != plant::DataType::kReal && type != plant::DataType::kDouble &&
         type != plant::DataType::kString;
}

// What a register shows of a value.
plant::Words wordsOf(const Register& reg, const plant::Value& value) {
  plant::Words words;
  const std::string text = helper::wordsText({&reg.point, reg.size}, value, words);
  FUZZ_CHECK(words.size() == plant::wordsFor(reg.size));
  FUZZ_CHECK(static_cast<std::size_t>(std::count(text.begin(), text.end(), ',')) + 1 == words.size());
  return words;
}

// Whether the point shows all that its device has, so that writing what was read changes nothing.
bool isExact(const Register& reg, ApplicationType type) {
  switch (type) {
    case ApplicationType::kBoolean:
    case ApplicationType::kBitString:
      return reg.point.type == plant::DataType::kBool;
    case ApplicationType::kUnsigned:
    case ApplicationType::kSigned:
      return reg.point.type == plant::DataType::kBool || isInteger(reg.point.type);
    case ApplicationType::kEnumerated:
      return isInteger(reg.point.type);
    default:
      return false;
  }
}

// A point of one bit of an enumeration shows that bit and writes the whole. An integer for a Real is read as a signed
// one and written as an unsigned one. A text may have been cut.
bool isReadOtherwiseThanWritten(const Register& reg, ApplicationType type, const plant::Value& value) {
  if (reg.point.type == plant::DataType::kBool) return type == ApplicationType::kEnumerated && reg.point.bitNum != 0;
  if (reg.point.type == plant::DataType::kString) return type != ApplicationType::kCharacterString;
  const bool isFloating = type == ApplicationType::kReal || type == ApplicationType::kDouble;
  return isFloating && isInteger(reg.point.type) && std::get<std::uint32_t>(value) > std::numeric_limits<int>::max();
}

// What was read may be written: the register then shows the same.
void writeBack(const Register& reg, const plant::Value& value, const bacnet::Values& answer) {
  const auto type = bacnet::typeOf(answer);
  if (!type) return;
  bacnet::Values out;
  const ResultCode code = binding::toDevice(value, reg.point, *type, answer, out);
  FUZZ_CHECK(code == ResultCode::kDone || !isExact(reg, *type));
  if (code != ResultCode::kDone) return;
  if (isExact(reg, *type)) FUZZ_CHECK(bacnet::encode(out) == bacnet::encode(answer));
  if (isReadOtherwiseThanWritten(reg, *type, value)) return;
  plant::Value again;
  FUZZ_CHECK(binding::fromDevice(out, reg.point, reg.size, again) == ResultCode::kDone);
  FUZZ_CHECK(wordsOf(reg, again) == wordsOf(reg, value));
}

void read(const Register& reg, const bacnet::Values& answer) {
  plant::Value value = std::uint32_t{4711};
  const ResultCode code = binding::fromDevice(answer, reg.point, reg.size, value);
  const bool isNull = answer.size() == 1 && std::holds_alternative<bacnet::Null>(answer.front());
  FUZZ_CHECK((code == ResultCode::kNull) == isNull);
  if (code != ResultCode::kDone) {
    FUZZ_CHECK(isNull || code == ResultCode::kDoesNotFit);
    FUZZ_CHECK(value == plant::Value(std::uint32_t{4711}));
    return;
  }
  const plant::Words words = wordsOf(reg, value);
  if (const auto* const text = std::get_if<std::string>(&value)) {
    FUZZ_CHECK(text->size() <= static_cast<std::size_t>(reg.size) && bacnet::isUtf8(*text));
  } else {
    plant::Value shown;
    FUZZ_CHECK(plant::fromWords(reg.point, words, shown) && wordsOf(reg, shown) == words);
  }
  writeBack(reg, value, answer);
}

// Whatever a host writes is refused, or is a value of the type that the device takes.
void write(const Register& reg, const plant::Words& words, ApplicationType type, const bacnet::Values& current) {
  plant::Value value;
  if (!plant::fromWords(reg.point, words, value)) return;
  bacnet::Values out;
  const ResultCode code = binding::toDevice(value, reg.point, type, current, out);
  if (code != ResultCode::kDone) {
    FUZZ_CHECK(code == ResultCode::kDoesNotFit && out.empty());
    return;
  }
  // One bit of an integer goes into the integer that the device has shown, whatever it should be.
  const bool isBit = reg.point.type == plant::DataType::kBool && binding::needsCurrent(reg.point, type);
  FUZZ_CHECK(type == ApplicationType::kNull || bacnet::typeOf(out) == (isBit ? bacnet::typeOf(current) : type));
  const std::string bytes = bacnet::encode(out);
  const auto read = bacnet::parseValues(bytes);
  FUZZ_CHECK(read && read->size() == 1 && bacnet::encode(*read) == bytes);
}

}  // namespace

// A point: property, type, bit, size; then the type that is written, a number of words, and what the device has.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::string_view input(reinterpret_cast<const char*>(data), size);
  const Register reg = takeRegister(input);
  const auto type = static_cast<ApplicationType>(takeByte(input) % 13U);
  plant::Words words(takeByte(input));
  for (short& word : words) {
    const unsigned high = takeByte(input);
    word = static_cast<short>(high << 8U | takeByte(input));
  }
  const auto values = bacnet::parseValues(input);
  if (values) read(reg, *values);
  write(reg, words, type, values.value_or(bacnet::Values()));
  return 0;
}
