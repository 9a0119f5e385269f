# Sourced by the scripts beside it: the repository as working directory, and Debian's packages.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

build_packages=(g++ cmake ninja-build librttr-dev libpugixml-dev liblz4-dev libcli11-dev nlohmann-json3-dev libfmt-dev)
test_packages=(libgtest-dev libgmock-dev zlib1g-dev)

as_root() {
  if [ "$(id -u)" -eq 0 ]; then
    "$@"
  elif command -v sudo >/dev/null; then
    sudo "$@"
  else
    echo "packages are missing; run as root, or install sudo: $*" >&2
    return 1
  fi
}

is_installed() {
  dpkg-query -W -f '${db:Status-Status}\n' "$1" 2>/dev/null | grep -qx installed
}

# Installs those of the given packages that are missing.
need_packages() {
  local missing=() package
  for package in "$@"; do
    is_installed "$package" || missing+=("$package")
  done
  [ ${#missing[@]} -eq 0 ] && return
  echo "installing: ${missing[*]}" >&2
  as_root apt-get -qq update
  as_root env DEBIAN_FRONTEND=noninteractive apt-get -qq -y --no-install-recommends install "${missing[@]}" >/dev/null
}

# Configures and builds a preset; quiet unless it fails.
build_preset() {
  local preset=$1
  shift
  cmake --preset "$preset" "$@" >/dev/null
  cmake --build --preset "$preset" -- --quiet
}
