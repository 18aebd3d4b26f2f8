#!/usr/bin/env bash
# Installs what is missing, builds, and starts the studio. Without a display it says so and
# runs the command line's headless demo instead.
set -euo pipefail
cd "$(dirname "$0")/.."

bash scripts/install-deps.sh
cmake -S . -B build/release -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo \
    > build-configure.log 2>&1 || { cat build-configure.log; exit 1; }
rm -f build-configure.log
cmake --build build/release -j "$(nproc 2>/dev/null || echo 2)" --target tessarine tessarine-cli

if [ -n "${DISPLAY:-}" ] || [ -n "${WAYLAND_DISPLAY:-}" ]; then
    exec build/release/bin/tessarine
fi
echo "No display found (neither DISPLAY nor WAYLAND_DISPLAY is set): running the headless demo."
build/release/bin/tessarine-cli --version
exec build/release/bin/tessarine-cli demo
