#!/usr/bin/env bash
# The longest event-loop stall of the window while "Test all" runs against eight loopback
# providers, two of which never answer (bench/testall/testall_stall.cpp). Offscreen, on a private
# session bus. The figure to compare with is one frame: 16 ms.
#
#   bench/testall.sh [runs] [deadline-ms]     (default 5 runs; silent providers end after 3000 ms)
#
# Builds in $BUILD_DIR (default ./build).
set -euo pipefail
root="$(cd "$(dirname "$0")/.." && pwd)"
build="${BUILD_DIR:-$root/build}"
cmake --build "$build" --target testall_stall >/dev/null
work="$(mktemp -d)"
trap 'rm -rf "$work"' EXIT
export HOME="$work" XDG_CONFIG_HOME="$work/.config" POSTHOG_KEY=""
export QT_QPA_PLATFORM=offscreen QT_LOGGING_RULES="qt.qpa.*=false"
exec dbus-run-session -- "$build/bench/testall/testall_stall" "$@"
