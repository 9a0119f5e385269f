#include <rttr/registration.h>
#include <rttr/variant.h>

#include <cstdint>
#include <iostream>  // the standard streams are up before the type is registered, whatever the host uses of them
#include <string>

#include "driver/bacnet_ip_driver.h"
#include "hmi/factory.h"

namespace {

constexpr const char* kTypeName = "BACnet_IP";  // as the host looks it up

}  // namespace

// Runs when the library is loaded, and is taken back when it is unloaded.
RTTR_PLUGIN_REGISTRATION {
  rttr::registration::class_<driver::CBACnetIpDriver>(kTypeName).constructor<>()(rttr::policy::ctor::as_std_shared_ptr);
}

extern "C" {

/// Always 1.
[[gnu::visibility("default")]] std::int32_t Get_Driver_ABI_Version() {
  return 1;
}

/// Has the host's factory construct the driver into `out`. Result: the factory's, unchanged; its exceptions pass.
[[gnu::visibility("default")]] std::int32_t Create_Driver(rttr::variant& out) {
  return driver::createDriver(std::string(kTypeName), out);
}
}
