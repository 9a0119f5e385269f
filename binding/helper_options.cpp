#include "binding/helper_options.h"

#include <fmt/format.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <nlohmann/json.hpp>
#include <stdexcept>

#include "io/address.h"

namespace binding {

namespace {

using Json = nlohmann::json;

constexpr int kReservedPriority = 6;  // the standard's own, for minimum on and off times
constexpr int kLongestReadAheadMs = 10000;

int wholeNumber(const Json& value, int least, int most) {
  if (!value.is_number_integer() || value < least || value > most) {
    throw std::invalid_argument(fmt::format("has to be a whole number from {} to {}", least, most));
  }
  return value.get<int>();
}

bool yesOrNo(const Json& value) {
  if (!value.is_boolean()) throw std::invalid_argument("has to be true or false");
  return value.get<bool>();
}

void setBatch(const Json& value, HelperOptions& options) {
  if (value != "strict" && value != "partial") throw std::invalid_argument("has to be \"strict\" or \"partial\"");
  options.isBatchStrict = value == "strict";
}

void setPriority(const Json& value, HelperOptions& options) {
  const int priority = wholeNumber(value, 1, 16);
  if (priority == kReservedPriority) throw std::invalid_argument("must not be 6, which is reserved");
  options.priority = static_cast<std::uint8_t>(priority);
}

void setBroadcast(const Json& value, HelperOptions& options) {
  options.broadcast = value.is_string() ? io::parseIp(value.get<std::string>()) : std::nullopt;
  if (!options.broadcast) throw std::invalid_argument("has to be an address, as in \"192.0.2.255\"");
}

using Setter = void (*)(const Json&, HelperOptions&);

const std::map<std::string, Setter>& setters() {
  static const std::map<std::string, Setter> kSetters = {
      {"batch", setBatch},
      {"priority", setPriority},
      {"faultCode", [](const Json& value, HelperOptions& options) { options.isFaultRefused = yesOrNo(value); }},
      {"ownPort", [](const Json& value, HelperOptions& options) { options.hasOwnPort = yesOrNo(value); }},
      {"broadcast", setBroadcast},
      {"readAheadMs",
       [](const Json& value, HelperOptions& options) {
         options.readAhead = std::chrono::milliseconds(wholeNumber(value, 0, kLongestReadAheadMs));
       }},
  };
  return kSetters;
}

}  // namespace

bool parseHelperOptions(const std::string& text, HelperOptions& options, std::string& error) {
  constexpr bool kThrow = false;
  constexpr bool kWithComments = true;
  const Json file = Json::parse(text, nullptr, kThrow, kWithComments);
  if (!file.is_object()) {
    error = "is not a JSON object";
    return false;
  }
  HelperOptions read;
  for (const auto& [key, value] : file.items()) {
    const auto setter = setters().find(key);
    if (setter == setters().end()) {
      error = Json(key).dump() + " is no option";  // escaped: a key may have line breaks
      return false;
    }
    try {
      setter->second(value, read);
    } catch (const std::invalid_argument& mistake) {
      error = fmt::format("\"{}\" {}", key, mistake.what());
      return false;
    }
  }
  options = read;
  return true;
}

bool readHelperOptions(const std::string& directory, HelperOptions& options, std::string& error) {
  const std::filesystem::path path = std::filesystem::path(directory) / "helper.json";
  std::error_code unknown;
  if (!std::filesystem::exists(path, unknown)) {
    options = {};
    return true;
  }
  std::ifstream file;
  if (std::filesystem::is_regular_file(path, unknown)) file.open(path, std::ios::binary);
  const std::string text((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
  if (!file.is_open() || file.bad()) {
    error = path.string() + ": cannot be read";
    return false;
  }
  if (parseHelperOptions(text, options, error)) return true;
  error = path.string() + ": " + error;
  return false;
}

}  // namespace binding
