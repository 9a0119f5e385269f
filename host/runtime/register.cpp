#include "hmi/register.h"

#include <charconv>
#include <system_error>
#include <utility>

CRegister::CRegister() = default;
CRegister::CRegister(std::string name, std::uint32_t length) : name_(std::move(name)), length_(length) {}
CRegister::CRegister(const CRegister&) = default;
CRegister& CRegister::operator=(const CRegister&) = default;
CRegister::~CRegister() = default;

const std::string& CRegister::getName() const {
  return name_;
}

std::uint32_t CRegister::getLength() const {
  return length_;
}

void CRegister::setLength(std::uint32_t length) {
  length_ = length;
}

std::string CRegister::getParameter(const std::string& key) const {
  const auto found = parameters_.find(key);
  return found == parameters_.end() ? std::string() : found->second;
}

void CRegister::setParameter(const std::string& key, const std::string& value) {
  parameters_[key] = value;
}

namespace driver {

namespace {

constexpr std::uint32_t kBytesPerWord = 2;

}  // namespace

// This runtime counts a register's length in bytes. "AddrStepSize" on a register overrides that, 0 included.
std::uint32_t getRegisterAddrStepSize(CRegister& reg) {
  const std::string text = reg.getParameter("AddrStepSize");
  const char* const end = text.data() + text.size();
  std::uint32_t step = 0;
  const auto [stop, failure] = std::from_chars(text.data(), end, step);
  return failure == std::errc() && stop == end ? step : kBytesPerWord;
}

}  // namespace driver
