# Sourced by the scripts beside it: --help, the repository as working directory, Debian's packages, builds and tests.
set -euo pipefail

if [ "${1:-}" = --help ] || [ "${1:-}" = -h ]; then
  awk 'NR == 1 { next } !/^#/ { exit } { sub(/^# ?/, ""); print }' "$0"
  exit 0
fi
cd "$(dirname "${BASH_SOURCE[0]}")/.."
source scripts/runtime_directory.sh

build_packages=(g++ cmake ninja-build librttr-dev libpugixml-dev liblz4-dev libcli11-dev nlohmann-json3-dev libfmt-dev
  libcpp-httplib-dev libjs-dygraphs)
test_packages=(libgtest-dev libgmock-dev zlib1g-dev iproute2)
arm_packages=(g++-aarch64-linux-gnu libpugixml-dev:arm64 liblz4-dev:arm64 librttr-core0.9.6:arm64 libfmt-dev:arm64
  libcpp-httplib-dev:arm64)
arm_test_packages=(qemu-user libgtest-dev:arm64 libgmock-dev:arm64 zlib1g-dev:arm64)
bench_packages=(libbenchmark-dev libhiredis-dev libmodbus-dev)
fuzz_packages=(zlib1g-dev clang-14 libclang-rt-14-dev)
lint_packages=(clang-tidy-14 clang-tools-14)
interop_packages=(nodejs ca-certificates tshark iproute2)
page_packages=(chromium chromium-driver python3-selenium fonts-dejavu-core iproute2)

if command -v ccache >/dev/null; then
  export CMAKE_CXX_COMPILER_LAUNCHER=${CMAKE_CXX_COMPILER_LAUNCHER-ccache}
  export CCACHE_SLOPPINESS=${CCACHE_SLOPPINESS-pch_defines,time_macros} # or it leaves out what has a precompiled header
fi

fail() {
  echo "$(basename "$0"): $*" >&2
  exit 1
}

as_root() {
  if [ "$(id -u)" -eq 0 ]; then
    "$@"
  else
    sudo "$@"
  fi
}

is_installed() {
  dpkg-query -W -f '${db:Status-Status}\n' "$1" 2>/dev/null | grep -qx installed
}

# Installs those of the given packages that are missing; NAME:arm64 is one for 64-bit Arm.
need_packages() {
  local missing=() foreign=() package
  for package in "$@"; do
    is_installed "$package" || missing+=("$package")
  done
  [ ${#missing[@]} -gt 0 ] || return 0
  if [[ "${missing[*]}" == *:arm64* && $(dpkg --print-architecture) != arm64 ]]; then
    foreign=(dpkg --add-architecture arm64)
  fi
  local install=(apt-get -qq -y --no-install-recommends install "${missing[@]}")
  if [ "$(id -u)" -ne 0 ] && ! command -v sudo >/dev/null; then
    echo "packages are missing, and there is no sudo here; as root run" >&2
    echo "  ${foreign[*]:+${foreign[*]} && }apt-get update && ${install[*]/-qq/}" >&2
    exit 1
  fi
  echo "installing: ${missing[*]}" >&2
  [ ${#foreign[@]} -eq 0 ] || as_root "${foreign[@]}"
  as_root apt-get -qq update
  as_root env DEBIAN_FRONTEND=noninteractive "${install[@]}" >/dev/null
}

# Puts the foreign BACnet stacks, of the versions that the tests name, into a folder: foreign_stacks FOLDER.
foreign_stacks() {
  command -v npm >/dev/null || need_packages npm # some packages of nodejs bring it along
  mkdir -p "$1"
  cp tests/interop/package.json tests/interop/package-lock.json "$1/"
  npm --prefix "$1" ci --ignore-scripts --no-audit --no-fund --loglevel=error >/dev/null
}

# Configures and builds a preset, with ninja's own counter to show how far it is.
build_preset() {
  local preset=$1 folder
  shift
  for folder in build "build/$preset"; do
    if [ -e "$folder" ] && [ ! -w "$folder" ]; then
      fail "$PWD/$folder belongs to $(stat -c %U "$folder"): remove it as that user, or work in a clone of your own"
    fi
  done
  echo "building build/$preset" >&2
  cmake --preset "$preset" "$@" >/dev/null
  cmake --build --preset "$preset" >&2
}

# Runs a preset's tests, and says at the end why some were skipped: run_tests PRESET [OPTION-OF-CTEST...].
run_tests() {
  local preset=$1 status=0
  shift
  ctest --preset "$preset" "$@" || status=$?
  awk '/: Skipped$/ { getline reason } /^\[  SKIPPED \].*\)$/ { print "skipped: " $4 ": " reason }' \
    "build/$preset/Testing/Temporary/LastTest.log"
  return "$status"
}

namespaces=(--net --mount --pid --fork --kill-child --propagation unchanged)
[ "$(id -u)" -eq 0 ] || namespaces=(--user --map-root-user "${namespaces[@]}")

# Ends the script where there can be no namespaces.
need_namespaces() {
  unshare "${namespaces[@]}" true || fail "no namespaces are to be had here, so nothing was tried (in a container: CAP_SYS_ADMIN)"
}

# Runs a command with a network, processes and a helpers' directory of its own; what it started ends with it.
run_apart() {
  mkdir -p "$runtime_directory"
  # Mounts are private to the run, so that the helpers' directory of the machine is not touched. The shell stays, to take
  # in the processes whose parents end.
  # shellcheck disable=SC2016
  unshare "${namespaces[@]}" bash -ec '
    if mountpoint -q /; then mount --make-rprivate /; fi
    mount -t proc proc /proc
    mount -t tmpfs -o mode=755 tmpfs "$1"
    shift
    status=0
    "$@" || status=$?
    exit "$status"' apart "$runtime_directory" "$@"
}
