#!/usr/bin/env bash
# Installs the Debian packages the build, the tests and the tools need.
# Idempotent: it runs `apt-get update` and `apt-get install` only when a package is missing.
set -euo pipefail

packages=(
  build-essential cmake ninja-build pkg-config
  libgoogle-glog-dev
  libgtest-dev libgmock-dev googletest
  libbenchmark-dev
  nlohmann-json3-dev
  libstb-dev
  libcli11-dev
  # The fuzz preset: clang 14 with its sanitizer and libFuzzer runtimes; llvm's symbolizer turns
  # the addresses of a finding's stack into file and line.
  clang libclang-rt-14-dev llvm
)

missing=()
for p in "${packages[@]}"; do
  if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed'; then
    missing+=("$p")
  fi
done

if [ ${#missing[@]} -eq 0 ]; then
  exit 0
fi

echo "install-deps: installing ${missing[*]}"
sudo_cmd=()
if [ "$(id -u)" -ne 0 ]; then
  sudo_cmd=(sudo)
fi
export DEBIAN_FRONTEND=noninteractive
"${sudo_cmd[@]}" apt-get update -qq
"${sudo_cmd[@]}" apt-get install -y -qq --no-install-recommends "${missing[@]}"
