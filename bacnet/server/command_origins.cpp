#include "bacnet/server/command_origins.h"

#include <chrono>
#include <ctime>

namespace bacnet::server {

namespace {

constexpr std::uint8_t kDateTimeChoice = 2;  // of a time stamp

}  // namespace

void CCommandOrigins::note(std::uint8_t priority, const ValueSource& source) {
  using std::chrono::system_clock;
  const auto now = system_clock::now();
  const std::time_t seconds = system_clock::to_time_t(now);
  const auto part = std::chrono::duration_cast<std::chrono::milliseconds>(now.time_since_epoch()).count() % 1000;
  std::tm local{};
  localtime_r(&seconds, &local);
  const auto octet = [](auto number) { return static_cast<std::uint8_t>(number); };
  const int weekday = local.tm_wday == 0 ? 7 : local.tm_wday;
  last_ = {source,
           {octet(local.tm_year), octet(local.tm_mon + 1), octet(local.tm_mday), octet(weekday)},
           {octet(local.tm_hour), octet(local.tm_min), octet(local.tm_sec), octet(part / 10)}};
  origins_.at(priority - std::size_t{1}) = last_;
}

Value CCommandOrigins::stampOf(const Origin& origin) {
  return Constructed{kDateTimeChoice, {origin.date, origin.time}};
}

Values CCommandOrigins::sources() const {
  Values values;
  for (const Origin& each : origins_) values.push_back(toValue(each.source));
  return values;
}

Values CCommandOrigins::times() const {
  Values values;
  for (const Origin& each : origins_) values.push_back(stampOf(each));
  return values;
}

Values CCommandOrigins::lastTime() const {
  return {stampOf(last_)};
}

}  // namespace bacnet::server
