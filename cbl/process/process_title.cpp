#include "cbl/process/process_title.h"

#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <vector>

namespace cbl {

namespace {

// Frees the environment's strings that follow `end` without a gap for another use. Result: the new end of the area.
char* takeOverEnvironment(char* end) {
  std::vector<std::string> copies;
  for (char** variable = environ; *variable != nullptr; ++variable) {
    copies.emplace_back(*variable);
    if (*variable == end) end += copies.back().size() + 1;
  }

  clearenv();
  for (const std::string& copy : copies) {
    const std::size_t equals = copy.find('=');
    if (equals == std::string::npos) continue;
    setenv(copy.substr(0, equals).c_str(), copy.c_str() + equals + 1, 1);
  }
  return end;
}

}  // namespace

std::int32_t setProcessTitle(std::int32_t argc, char** argv, const std::string& title) {
  if (argc < 1 || argv == nullptr || title.empty()) return -1;

  while (argc > 1 && argv[argc - 1] == nullptr) --argc;  // a title that was set before has taken the arguments
  char* begin = argv[0];
  char* end = argv[argc - 1] + std::strlen(argv[argc - 1]) + 1;
  if (title.size() >= static_cast<std::size_t>(end - begin) && environ != nullptr && environ[0] == end) {
    end = takeOverEnvironment(end);
  }

  const auto room = static_cast<std::size_t>(end - begin);
  std::memset(begin, 0, room);
  std::copy_n(title.begin(), std::min(title.size(), room - 1), begin);
  if (argc > 1) argv[1] = nullptr;
  return 0;
}

}  // namespace cbl
