#!/usr/bin/env bash
# Builds the libFuzzer targets with clang and runs each for a number of seconds over its seed
# corpus (the test fixtures). Usage: scripts/fuzz.sh [seconds per target, default 60]
set -euo pipefail
root="$(cd "$(dirname "$0")/.." && pwd)"
seconds="${1:-60}"
"$root/scripts/deps.sh"

build="${FUZZ_BUILD_DIR:-$root/build-fuzz}"
launcher=()
command -v ccache >/dev/null && launcher=(-DCMAKE_CXX_COMPILER_LAUNCHER=ccache)
CC=clang CXX=clang++ cmake -S "$root" -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo \
  -DVARNOOK_BUILD_FUZZ=ON -DVARNOOK_BUILD_TESTS=OFF -DVARNOOK_BUILD_BENCH=OFF "${launcher[@]}" >/dev/null
targets=$(cd "$root/fuzz" && ls fuzz_*.cpp | sed 's/\.cpp$//')
cmake --build "$build" --parallel "$(nproc)" --target $targets

status=0
for t in $targets; do
  corpus="$build/corpus/$t"
  mkdir -p "$corpus"
  # Seeds: fuzz/corpus/<target>/ when present, else every fixture of the tests.
  seeds="$root/fuzz/corpus/$t"
  [ -d "$seeds" ] || seeds="$root/tests/fixtures"
  find "$seeds" -type f -size -1024k -exec cp -f {} "$corpus/" \; 2>/dev/null || true
  echo "== $t for ${seconds}s"
  if ! "$build/fuzz/$t" -max_total_time="$seconds" -timeout=10 -rss_limit_mb=4096 \
       -artifact_prefix="$build/$t-" "$corpus" 2>"$build/$t.log"; then
    echo "$t FAILED; see $build/$t.log"; tail -30 "$build/$t.log"; status=1
  else
    grep -E '^(#[0-9]+.*DONE|Done)' "$build/$t.log" | tail -1 || true
  fi
done
exit $status
