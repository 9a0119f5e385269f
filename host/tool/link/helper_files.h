#pragma once

#include <cstdint>
#include <string>

namespace tool {

// Where a link's helper and its files are.

inline constexpr const char* kProjectFile = "BACnetLabel.xml";
inline constexpr const char* kHelperName = "BACnet_Velix";
inline constexpr const char* kFallbackFolder = "Devlib";
inline constexpr const char* kRuntimeDirectory = "/tmp/velix_bacnet";

/// The helper's executable: in the project directory, else below its Devlib. Throws CFailure (unreachable) when there
/// is none, or none that a shell can start on this machine.
std::string findHelper(const std::string& projectDirectory);

std::string helperSocket(std::int32_t link);
std::string helperPidFile(std::int32_t link);
std::string helperLog(std::int32_t link);

}  // namespace tool
