#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "bacnet/codec/value.h"

namespace bacnet::server {

/// Who-Has, clause 16.9: by the object's identifier or by its name.
struct WhoHas {
  std::optional<std::pair<std::uint32_t, std::uint32_t>> range;  ///< of devices, both ends included; none: everybody
  std::optional<ObjectId> object;
  CharacterString name;  ///< without `object`
};
struct IHave {
  ObjectId device;
  ObjectId object;
  CharacterString name;
};

std::optional<WhoHas> parseWhoHas(std::string_view data);
std::string encode(const IHave& answer);

}  // namespace bacnet::server
