#include <gtest/gtest.h>

#include <stdexcept>

#include "hmi/factory.h"
#include "support/plugin.h"

namespace {

std::string askedFor;
rttr::variant* given = nullptr;
std::int32_t result = 0;

}  // namespace

// This program's own factory: the plug-in must hand everything through to it.
std::int32_t driver::createDriver(const std::string& typeName, rttr::variant& out) {
  askedFor = typeName;
  given = &out;
  if (result == 1000) throw std::runtime_error("no driver today");
  return result;
}

TEST(PluginFactory, HandsNameVariantAndResultThrough) {
  const support::Plugin plugin;
  for (const std::int32_t wanted : {0, 1, -1, -77, 2147483647, -2147483647 - 1}) {
    result = wanted;
    rttr::variant out;
    EXPECT_EQ(plugin.create(out), wanted);
    EXPECT_EQ(askedFor, std::string("BACnet_IP"));
    EXPECT_EQ(given, &out);
    EXPECT_FALSE(out.is_valid());
  }
}

TEST(PluginFactory, LetsTheFactorysExceptionPass) {
  const support::Plugin plugin;
  result = 1000;
  rttr::variant out;
  EXPECT_THROW(plugin.create(out), std::runtime_error);
}
