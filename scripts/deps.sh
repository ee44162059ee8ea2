# Installs the Debian packages the build needs, only those that are missing.
# Usage: source scripts/deps.sh; ensure_packages pkg...
ensure_packages() {
  local missing=()
  for pkg in "$@"; do
    dpkg-query -W -f='${Status}' "$pkg" 2>/dev/null | grep -q "install ok installed" || missing+=("$pkg")
  done
  [ ${#missing[@]} -eq 0 ] && return 0
  echo "Installazione pacchetti mancanti: ${missing[*]}"
  local sudo=""
  [ "$(id -u)" -ne 0 ] && sudo="sudo"
  $sudo apt-get update -qq
  DEBIAN_FRONTEND=noninteractive $sudo apt-get install -y -qq "${missing[@]}"
}

BUILD_PACKAGES=(g++ cmake ninja-build pkgconf libssl-dev openssl libzstd-dev parallel)
TEST_PACKAGES=(clang libclang-rt-14-dev libgtest-dev libbenchmark-dev gnucobol3 binutils zstd)
