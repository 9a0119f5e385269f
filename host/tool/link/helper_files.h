#pragma once

#include <cstdint>
#include <string>

namespace tool {

// Where a link's helper and its files are.

inline constexpr const char* kHelperName = "BACnet_Velix";
inline constexpr const char* kFallbackFolder = "Devlib";
inline constexpr const char* kRuntimeDirectory = "/tmp/velix_bacnet";

/// The helper's executable: in the project directory, else below its Devlib. Result: its path; the helper's bare name
/// when there is none.
std::string findHelper(const std::string& projectDirectory);

std::string helperSocket(std::int32_t link);
std::string helperPidFile(std::int32_t link);
std::string helperLog(std::int32_t link);

}  // namespace tool
