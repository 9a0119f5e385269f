#include "support/frame_encoder.h"

#include <zlib.h>

#include <stdexcept>

namespace support {

namespace {

std::string bigEndian(std::uint64_t value, int bytes) {
  std::string text;
  for (int shift = 8 * (bytes - 1); shift >= 0; shift -= 8) text += static_cast<char>(value >> shift);
  return text;
}

std::string checksum(const std::string& bytes) {
  const auto* data = reinterpret_cast<const Bytef*>(bytes.data());
  return bigEndian(crc32(0, data, static_cast<uInt>(bytes.size())), 4);
}

}  // namespace

std::string encodeBody(const std::vector<std::string>& elements) {
  std::string body = "*" + std::to_string(elements.size()) + "\r\n";
  for (const std::string& element : elements) body += "$" + std::to_string(element.size()) + "\r\n" + element + "\r\n";
  return body;
}

std::string lz4Frame(const std::string& content, const LZ4F_preferences_t* preferences) {
  std::string frame(LZ4F_compressFrameBound(content.size(), preferences), '\0');
  const std::size_t size = LZ4F_compressFrame(frame.data(), frame.size(), content.data(), content.size(), preferences);
  if (LZ4F_isError(size) != 0) throw std::runtime_error(LZ4F_getErrorName(size));
  frame.resize(size);
  return frame;
}

std::string encodeFrame(const std::string& carriedBody, const FrameFields& fields) {
  std::string frame = "VLX\x01" + bigEndian(fields.identifier, 4);
  frame += static_cast<char>(fields.type << 4 | fields.mode);
  frame += std::string(3, '\0') + bigEndian(fields.timestamp, 8) + bigEndian(carriedBody.size(), 4) + carriedBody;
  return frame + checksum(frame);
}

void sealFrame(std::string& frame) {
  frame.resize(frame.size() - 4);
  frame += checksum(frame);
}

std::string messageFrame(const std::vector<std::string>& elements, std::uint32_t identifier, std::uint8_t type,
                         bool compressed) {
  const std::string body = encodeBody(elements);
  FrameFields fields;
  fields.identifier = identifier;
  fields.type = type;
  fields.mode = compressed ? 1 : 0;
  return encodeFrame(compressed ? lz4Frame(body) : body, fields);
}

}  // namespace support
