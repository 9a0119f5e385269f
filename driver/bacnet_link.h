#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "cbl/bus/velix_client.h"
#include "driver/symbol_record.h"

namespace pugi {
class xml_node;
}

namespace driver {

inline constexpr std::size_t kReplyCodeAt = 1;  // element of a reply; what stands before it is not examined
inline constexpr const char* kProjectFileName = "BACnetLabel.xml";  // in the project directory

/// One link: its parameters and points from the project file, and the bus client to its helper process.
///
/// Every remote call blocks as `velix::CVelixClient::call` does; `connectLink` makes at most three of them and runs
/// `ensureServer` once. Takes no lock of its own. The point calls and `disconnect`'s flags are guarded by the driver's
/// mutex; `startLink`, `loadProject` and `connectLink` must not overlap them. Conversions of a reply's texts throw
/// std::invalid_argument or std::out_of_range, as std::stoi does.
class CBACnetLink {
 public:
  CBACnetLink() = default;
  /// Closes the bus client and frees the points. The helper process stays.
  ~CBACnetLink();

  CBACnetLink(const CBACnetLink&) = delete;
  CBACnetLink& operator=(const CBACnetLink&) = delete;

  // --- helper process (link_supervisor.cpp) ---

  /// Keeps link number and project directory (ending in a path separator) and brings the helper up.
  /// Result: 0; -1 the helper is not reachable.
  std::int32_t startLink(std::int32_t linkNumber, const std::string& directory);

  /// Makes sure that the link's helper runs and the bus client is connected to it: a helper whose socket cannot be
  /// connected is killed by its pid file and started anew, from the project directory or below its "Devlib". How long
  /// it blocks stands in docs/reliability.md. Must not run twice at the same time for one link.
  bool ensureServer();

  // --- project file (link_project.cpp) ---

  /// Reads the link's part of the project file, adds its points to those held, and hands the file to the helper.
  /// Result: 0; -1 empty path; -2 missing or not well-formed (logged); -3 no "ProjectInfo"; else `sendProjectConfig`'s.
  std::int32_t loadProject(const std::string& path, std::int32_t linkNumber);

  /// Finds the point whose RegId is the decimal number at the start of `name`. Result: 0; -1 none (`record` untouched).
  std::int32_t findSymbol(const std::string& name, SymbolRecord& record) const;
  /// The same without a copy. Result: the point, valid until points are added or freed; null when there is none.
  const SymbolRecord* symbolOf(const std::string& name) const;

  // --- hand-off and connect (link_connection.cpp) ---

  /// Result: the helper's code; -99 no answer, or a reply too short.
  std::int32_t sendProjectConfig();

  /// Asks the helper to connect; when it does not answer, brings it up, hands it the project file and asks once more.
  /// `connected` is set from the helper's code and otherwise kept.
  /// Result: the helper's code; -1 no answer or a reply too short, the helper cannot be brought up, or it refuses the
  /// project file.
  std::int32_t connectLink();

  // --- points (link_points.cpp); one remote call each ---
  // Result: 0; -1 no reply, or a reply too short; else the helper's code. Words are appended, never cleared, and stay
  // when a later one does not convert.

  std::int32_t readPoint(PointAccess point, std::vector<short>& words);
  /// `values[i]` takes the words of `points[i]`; points that the reply leaves out get none.
  std::int32_t readPoints(const std::vector<PointAccess>& points, const std::vector<std::vector<short>*>& values);
  std::int32_t writePoint(PointAccess point, const std::vector<short>& words);
  /// `values` is as long as `points`; entries may designate the same words.
  std::int32_t writePoints(const std::vector<PointAccess>& points, const std::vector<std::vector<short>*>& values);

  std::uint8_t statusFlags[2] = {0, 0};  ///< cleared together with `connected`, never set
  bool connected = false;
  std::map<std::uint32_t, SymbolRecord> symbols;  ///< by RegId
  std::string ip;
  std::int32_t desPort = 0;
  std::int32_t srcPort = 0;
  std::int32_t deviceId = 0;
  std::int32_t enableSCOV = 0;
  std::int32_t mode = 0;
  std::uint16_t network = 0;
  std::int32_t macLen = 0;
  std::string virtualMac;
  bool enableReadPropm = false;
  bool enableWritePropm = false;
  std::int32_t linkId = -1;
  std::string configPath;  ///< the project directory, ending in a path separator
  velix::CVelixClient client;

 private:
  void readLinkParameters(const pugi::xml_node& element);
  void readSymbols(const pugi::xml_node& element);
  std::int32_t callForCode(const cbl::CVelixMessage& request, cbl::CVelixMessage& reply);
};

}  // namespace driver
