#include "bacnet/client/present_value.h"

#include <cmath>
#include <variant>

namespace bacnet {

namespace {

constexpr std::size_t kPlainOctets = 9;   // a Double's, the longest of fixed length
constexpr std::size_t kHeaderOctets = 6;  // of a text's tag, length and character set

}  // namespace

std::optional<double> numberOf(const Values& values) {
  if (values.size() != 1) return std::nullopt;
  if (const auto* real = std::get_if<float>(&values.front())) return *real;
  if (const auto* real = std::get_if<double>(&values.front())) return *real;
  return std::nullopt;
}

bool isWithin(const Values& a, const Values& b, double increment) {
  if (a == b) return true;
  const auto x = numberOf(a);
  const auto y = numberOf(b);
  if (!x || !y) return false;
  return std::fabs(*x - *y) < increment || (std::isnan(*x) && std::isnan(*y));
}

std::size_t octetsOf(const Values& values) {
  std::size_t octets = 0;
  for (const auto& value : values) {
    const auto* text = std::get_if<CharacterString>(&value);
    const auto* raw = std::get_if<OctetString>(&value);
    octets += text ? kHeaderOctets + text->bytes.size() : raw ? kHeaderOctets + raw->bytes.size() : kPlainOctets;
  }
  return octets;
}

}  // namespace bacnet
