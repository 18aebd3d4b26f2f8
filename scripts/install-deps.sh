#!/usr/bin/env bash
# Installs the Debian packages the studio needs to build, test and run, when they are missing.
# Works as root or through sudo.
set -euo pipefail

packages=(
    build-essential cmake ninja-build git pkg-config
    qt6-base-dev qt6-svg-dev qt6-multimedia-dev libgl-dev
    libpugixml-dev libarchive-dev
    libgtest-dev libgmock-dev libbenchmark-dev
    cc65 make gcab xvfb xauth
    clang libclang-rt-14-dev
)

missing=()
for p in "${packages[@]}"; do
    if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed"; then
        missing+=("$p")
    fi
done

if [ ${#missing[@]} -eq 0 ]; then
    echo "install-deps: all packages present"
    exit 0
fi

as_root=()
if [ "$(id -u)" -ne 0 ]; then
    as_root=(sudo)
fi
echo "install-deps: installing ${missing[*]}"
export DEBIAN_FRONTEND=noninteractive
"${as_root[@]}" apt-get update -qq
"${as_root[@]}" apt-get install -y -qq --no-install-recommends "${missing[@]}"
