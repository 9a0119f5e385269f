#include "cbl/z/lz4_buffer.h"

#include <lz4frame.h>

#include <algorithm>
#include <limits>
#include <memory>
#include <utility>

namespace cbl {

namespace {

constexpr std::size_t kInputBlock = 65536;
constexpr std::size_t kLongest = std::numeric_limits<std::int32_t>::max();

struct FreeContext {
  void operator()(LZ4F_cctx* context) const { LZ4F_freeCompressionContext(context); }
  void operator()(LZ4F_dctx* context) const { LZ4F_freeDecompressionContext(context); }
};

std::int32_t compress(const std::string& in, std::string& out) {
  LZ4F_cctx* created = nullptr;
  if (LZ4F_isError(LZ4F_createCompressionContext(&created, LZ4F_VERSION)) != 0) return -1;
  const std::unique_ptr<LZ4F_cctx, FreeContext> context(created);

  const std::size_t room = LZ4F_compressBound(kInputBlock, nullptr);
  const std::unique_ptr<char[]> work(new char[room]);
  std::string result;
  const auto append = [&](std::size_t produced) {
    if (LZ4F_isError(produced) != 0) return -2;
    if (produced > kLongest - result.size()) return -4;
    result.append(work.get(), produced);
    return 0;
  };

  std::int32_t code = append(LZ4F_compressBegin(context.get(), work.get(), room, nullptr));
  for (std::size_t at = 0; code == 0 && at < in.size(); at += kInputBlock) {
    const std::size_t block = std::min(kInputBlock, in.size() - at);
    code = append(LZ4F_compressUpdate(context.get(), work.get(), room, in.data() + at, block, nullptr));
  }
  if (code == 0) code = append(LZ4F_compressEnd(context.get(), work.get(), room, nullptr));
  if (code != 0) return code;

  out = std::move(result);
  return static_cast<std::int32_t>(out.size());
}

std::int32_t decompress(const std::string& in, std::string& out) {
  LZ4F_dctx* created = nullptr;
  if (LZ4F_isError(LZ4F_createDecompressionContext(&created, LZ4F_VERSION)) != 0) return -1;
  const std::unique_ptr<LZ4F_dctx, FreeContext> context(created);

  const std::unique_ptr<char[]> work(new char[kInputBlock]);
  std::string result;
  std::size_t at = 0;
  std::size_t expected = 1;  // what the library still wants; 0 once the frame is complete
  while (expected != 0) {
    std::size_t produced = kInputBlock;
    std::size_t consumed = in.size() - at;
    expected = LZ4F_decompress(context.get(), work.get(), &produced, in.data() + at, &consumed, nullptr);
    if (LZ4F_isError(expected) != 0) return -2;
    if (produced > kLongest - result.size()) return -4;
    result.append(work.get(), produced);
    at += consumed;
    if (expected != 0 && consumed == 0 && produced == 0) return -3;
  }
  if (at != in.size()) return -3;

  out = std::move(result);
  return static_cast<std::int32_t>(out.size());
}

}  // namespace

std::int32_t lz4Buffer(const std::string& in, std::string& out, Lz4Direction direction) {
  return direction == Lz4Direction::kCompress ? compress(in, out) : decompress(in, out);
}

}  // namespace cbl
