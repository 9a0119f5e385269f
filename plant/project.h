#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace plant {

/// How a point's 16-bit words are to be understood.
enum class DataType { kBool, kUdint, kUint, kReal, kDouble, kString, kEnumerated, kRaw };

/// One "Symbol" of BACnetLabel.xml as its tools and the helper see it.
struct Point {
  std::string name;              ///< without the index
  std::int32_t arrayIndex = -1;  ///< the index in square brackets, -1 without one
  std::int32_t regId = 0;
  std::int32_t objectType = 0;
  std::int32_t instance = 0;
  std::int32_t propId = 0;
  std::string dataTypeWord;  ///< "DataType" as it stands in the file
  DataType type = DataType::kRaw;
  std::int32_t size = 4;  ///< value size in bytes; for a STRING per element, the register's length decides
  std::int32_t bitNum = 0;
  bool priorityReset = false;

  std::string fullName() const;  ///< with the index: Temp[3]
};

/// Sets name and index from the text of "Name".
void setName(Point& point, const std::string& text);
/// Sets the word of "DataType", and type and size, which follow from it and from `propId`.
void setDataType(Point& point, const std::string& word);
/// Whether `word` is one that "DataType" knows.
bool isDataType(const std::string& word);

/// One link of BACnetLabel.xml with its points in document order, a repeated RegId dropped (the first one stays).
struct Link {
  std::int32_t linkId = 0;
  std::string ip;
  std::int32_t desPort = 0;
  std::int32_t srcPort = 0;
  std::int32_t deviceId = 0;
  bool enableReadPropm = false;
  bool enableWritePropm = false;
  std::int32_t enableSCOV = 0;
  std::int32_t mode = 0;
  std::int32_t network = 0;
  std::int32_t macLen = 0;
  std::string virtualMac;
  bool present = false;  ///< a "BACnet" or "Symbols" element of this number exists
  std::vector<Point> points;
};

/// Reads the part of a BACnetLabel.xml that belongs to link `linkId`. On failure `link` is untouched and `error` says
/// in one line what is wrong (with the line number when the file is not well-formed XML).
/// Result: 0; -1 missing or unreadable; -2 not well-formed; -3 no "ProjectInfo" element.
std::int32_t readProject(const std::string& path, std::int32_t linkId, Link& link, std::string& error);

/// Reads every link that the file has, in the order of their numbers. Result and `error` as above.
std::int32_t readLinks(const std::string& path, std::vector<Link>& links, std::string& error);

}  // namespace plant
