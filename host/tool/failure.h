#pragma once

#include <optional>
#include <stdexcept>
#include <string>

namespace tool {

/// What the process ends with.
enum class ExitStatus : int {
  kWell = 0,
  kInternal = 1,      ///< a fault of the tool itself, or its output cannot be written
  kUsage = 2,         ///< bad option, unknown point, a value that does not fit, no such network interface
  kProject = 3,       ///< project file missing or broken, or the link is not in it
  kPlugin = 4,        ///< the plug-in cannot be loaded or has another ABI version
  kUnreachable = 5,   ///< the helper cannot be started or does not answer, or no device does
  kRefused = 6,       ///< the helper refused the configuration or the connection, or answered rubbish
  kPointsFailed = 7,  ///< some points failed
  kTaken = 8,         ///< a helper serves the link for another project
  kInterrupted = 130,
};

/// What a failure is about.
enum class Subject {
  kLink,    ///< the project's link, or its helper: 'hmi-host doctor' can examine it
  kDevice,  ///< a device that the user named
};

/// Ends the running command: one line for the user, made of what is wrong and what to do about it.
class CFailure : public std::runtime_error {
 public:
  CFailure(ExitStatus status, const std::string& problem, const std::string& remedy, Subject subject = Subject::kLink)
      : std::runtime_error(problem + "; " + remedy),
        status_(status),
        problem_(problem),
        remedy_(remedy),
        subject_(subject) {}

  ExitStatus status() const { return status_; }
  const std::string& problem() const { return problem_; }
  const std::string& remedy() const { return remedy_; }
  Subject subject() const { return subject_; }

 private:
  ExitStatus status_;
  std::string problem_;
  std::string remedy_;
  Subject subject_;
};

/// Runs `call`. Result: the failure that it ended with, for callers that have something to show before they end.
template <typename Call>
std::optional<CFailure> failureOf(Call&& call) {
  try {
    call();
    return std::nullopt;
  } catch (const CFailure& failure) {
    return failure;
  }
}

}  // namespace tool
