#include "cbl/file/read.h"

#include <cstdlib>
#include <memory>

#include "cbl/file/bom.h"

namespace cbl {

namespace {

struct CloseFile {
  void operator()(std::FILE* file) const { std::fclose(file); }
};
using File = std::unique_ptr<std::FILE, CloseFile>;

}  // namespace

std::int32_t readWholeFile(const char* path, std::string& content) {
  if (path == nullptr) return -1;
  const File file(std::fopen(path, "r"));
  if (!file) return -2;

  content.clear();
  char block[1024];
  while (const std::size_t count = std::fread(block, 1, sizeof(block), file.get())) content.append(block, count);
  return 0;
}

std::int32_t readIntFromFile(const char* path, std::int32_t& value, int base) {
  std::string content;
  const std::int32_t result = readWholeFile(path, content);
  if (result >= 0) value = static_cast<std::int32_t>(std::strtol(content.c_str(), nullptr, base));
  return result;
}

std::int32_t readLines(std::FILE* stream, std::list<std::string>* lines) {
  if (stream == nullptr) return -1;
  if (lines != nullptr) lines->clear();

  std::int32_t count = 0;
  char piece[4096];
  for (bool first = true; std::fgets(piece, sizeof(piece), stream) != nullptr; first = false) {
    std::string line = piece;
    std::string encoding;
    const std::int32_t mark = first ? detectBom(line, encoding) : 0;
    if (mark > 0) line.erase(0, static_cast<std::size_t>(mark));
    while (!line.empty() && (line.back() == '\r' || line.back() == '\n')) line.pop_back();
    if (line.empty()) continue;

    if (lines != nullptr) lines->push_back(line);
    ++count;
  }
  return count;
}

std::int32_t readLinesFromFile(const char* path, std::list<std::string>* lines) {
  if (path == nullptr) return -1;
  const File file(std::fopen(path, "r"));
  if (!file) return -1;
  const std::int32_t count = readLines(file.get(), lines);
  return count < 0 || std::ferror(file.get()) != 0 ? -2 : count;
}

}  // namespace cbl
