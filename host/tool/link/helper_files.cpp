#include "host/tool/link/helper_files.h"

#include <elf.h>
#include <fmt/format.h>
#include <unistd.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>
#include <system_error>

#include "host/tool/failure.h"

namespace tool {

namespace {

namespace fs = std::filesystem;

#if defined(__aarch64__)
constexpr Elf64_Half kThisMachine = EM_AARCH64;
#elif defined(__x86_64__)
constexpr Elf64_Half kThisMachine = EM_X86_64;
#else
#error "name this machine as executables do"
#endif

constexpr const char* kShellCharacters = " \t\n|&;<>()$`\\\"'*?[";  // the start's command line has no quotes

std::string linkFile(std::int32_t link, const char* extension) {
  return fmt::format("{}/link_{}.{}", kRuntimeDirectory, link, extension);
}

// Result: empty when there is none.
std::string locateHelper(const std::string& projectDirectory) {
  const fs::path directory = projectDirectory;
  std::error_code unknown;
  if (fs::exists(directory / kHelperName, unknown)) return directory / kHelperName;
  for (fs::recursive_directory_iterator entry(directory / kFallbackFolder, unknown), end; !unknown && entry != end;
       entry.increment(unknown)) {
    if (entry->path().filename() == kHelperName && fs::is_regular_file(entry->symlink_status(unknown)))
      return entry->path();
  }
  return "";
}

// What keeps the kernel from executing the file. Result: empty when nothing is known to.
std::string unfitness(const std::string& helper) {
  Elf64_Ehdr header{};
  std::ifstream file(helper, std::ios::binary);
  file.read(reinterpret_cast<char*>(&header), sizeof(header));
  const auto count = static_cast<std::size_t>(file.gcount());
  if (count == 0) return "is empty or cannot be read";
  if (std::memcmp(header.e_ident, "#!", 2) == 0) return "";
  if (count < sizeof(header) || std::memcmp(header.e_ident, ELFMAG, SELFMAG) != 0) return "is no program";
  const bool fits = header.e_ident[EI_CLASS] == ELFCLASS64 && header.e_machine == kThisMachine;
  return fits ? "" : "is a program for another kind of machine";
}

}  // namespace

std::string findHelper(const std::string& projectDirectory) {
  std::string helper = locateHelper(projectDirectory);
  if (helper.empty())
    throw CFailure(ExitStatus::kUnreachable,
                   fmt::format("no {} in {} nor below its {}", kHelperName, projectDirectory, kFallbackFolder),
                   fmt::format("copy {} into the project directory", kHelperName));
  std::error_code unknown;
  if (!fs::is_regular_file(helper, unknown))
    throw CFailure(ExitStatus::kUnreachable, helper + " is no file", "put the helper's executable in its place");
  if (access(helper.c_str(), X_OK) != 0)
    throw CFailure(ExitStatus::kUnreachable, helper + " may not be executed", fmt::format("chmod +x '{}'", helper));
  if (const std::string reason = unfitness(helper); !reason.empty())
    throw CFailure(ExitStatus::kUnreachable, fmt::format("{} {}", helper, reason),
                   "copy the helper that was built for this machine there once more");
  if (helper.find_first_of(kShellCharacters) != std::string::npos)
    throw CFailure(ExitStatus::kUnreachable,
                   fmt::format("'{}' has a blank or a character that means something to the shell", helper),
                   "move the project to a directory without: the helper is started without quotes");
  return helper;
}

std::string helperSocket(std::int32_t link) {
  return linkFile(link, "sock");
}

std::string helperPidFile(std::int32_t link) {
  return linkFile(link, "pid");
}

std::string helperLog(std::int32_t link) {
  return linkFile(link, "log");
}

}  // namespace tool
