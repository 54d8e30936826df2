#!/usr/bin/env bash
# Builds everything and runs every test, then does it again under AddressSanitizer,
# UndefinedBehaviorSanitizer and LeakSanitizer, then gives each fuzz target a short run.
# Exits non-zero on any failure.
#   VARNOOK_TEST_STAGES="normal sanitize fuzz"   which stages to run (default: all three)
#   VARNOOK_FUZZ_SECONDS=10                       seconds per fuzz target
set -euo pipefail
root="$(cd "$(dirname "$0")/.." && pwd)"
cd "$root"

"$root/scripts/deps.sh"

stages="${VARNOOK_TEST_STAGES:-normal sanitize fuzz}"
jobs="$(nproc)"
launcher=()
command -v ccache >/dev/null && launcher=(-DCMAKE_CXX_COMPILER_LAUNCHER=ccache)

run_suite() { # build-dir, extra cmake arguments...
  local build="$1"; shift
  cmake -S . -B "$build" -G Ninja -DVARNOOK_WERROR=ON "${launcher[@]}" "$@" >/dev/null
  cmake --build "$build" --parallel "$jobs"
  ctest --test-dir "$build" --output-on-failure --parallel "$jobs"
}

for stage in $stages; do
  case "$stage" in
    normal)
      echo "== Build and test"
      run_suite "${BUILD_DIR:-$root/build}" -DCMAKE_BUILD_TYPE=RelWithDebInfo
      ;;
    sanitize)
      echo "== Build and test with AddressSanitizer, UndefinedBehaviorSanitizer and LeakSanitizer"
      export ASAN_OPTIONS="detect_leaks=1:abort_on_error=0:strict_string_checks=1:detect_stack_use_after_return=1"
      export UBSAN_OPTIONS="print_stacktrace=1:halt_on_error=1"
      export LSAN_OPTIONS="suppressions=$root/tests/lsan.supp:print_suppressions=0"
      run_suite "$root/build-sanitize" -DCMAKE_BUILD_TYPE=Debug -DVARNOOK_SANITIZE=ON \
        -DVARNOOK_BUILD_BENCH=OFF
      unset ASAN_OPTIONS UBSAN_OPTIONS LSAN_OPTIONS
      ;;
    fuzz)
      echo "== Fuzz targets, ${VARNOOK_FUZZ_SECONDS:-10}s each"
      "$root/scripts/fuzz.sh" "${VARNOOK_FUZZ_SECONDS:-10}"
      ;;
    *) echo "unknown stage: $stage" >&2; exit 2 ;;
  esac
done
