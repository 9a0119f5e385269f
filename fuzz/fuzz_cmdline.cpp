#include <cstddef>
#include <cstdint>
#include <regex>
#include <string>
#include <vector>

#include "cbl/process/exec_command.h"
#include "fuzz/check.h"

namespace {

constexpr std::size_t kLongestForRegex = 256;  // the library's matcher recurses for every character

std::vector<std::string> splitByRegex(const std::string& line) {
  static const std::regex token(R"re(("(.*?)")|(\S+))re");
  std::vector<std::string> tokens;
  for (std::sregex_iterator at(line.begin(), line.end(), token), end; at != end; ++at) {
    tokens.push_back((*at)[3].length() != 0 ? (*at)[3].str() : (*at)[2].str());
  }
  return tokens;
}

}  // namespace

// The tokens are those of the regular expression that says the same in one line, behind what the vector held.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string line(reinterpret_cast<const char*>(data), size);
  std::vector<std::string> tokens = {"held"};
  const std::int32_t count = cbl::parseCmdline(line, tokens);
  FUZZ_CHECK(tokens.front() == "held");
  if (line.find('\0') != std::string::npos) {
    FUZZ_CHECK(count == -1 && tokens.size() == 1);
    return 0;
  }
  FUZZ_CHECK(count >= 0 && tokens.size() == static_cast<std::size_t>(count) + 1);
  tokens.erase(tokens.begin());
  if (size <= kLongestForRegex) FUZZ_CHECK(tokens == splitByRegex(line));
  return 0;
}
