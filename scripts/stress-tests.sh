#!/usr/bin/env bash
# Runs the normal test stage several times while every core is kept busy, to find tests that
# pass on a quiet machine only. Prints each run's pass and fail counts and its duration.
#   ./scripts/stress-tests.sh [RUNS]        RUNS defaults to 3
#   VARNOOK_STRESS_LOAD=0                   run without the load (the quiet figures)
#   VARNOOK_STRESS_HOGS=N                   busy processes to start (default: one per core)
#   BUILD_DIR=...                           build folder (default: build)
# Exits non-zero when any run had a failure.
set -euo pipefail
root="$(cd "$(dirname "$0")/.." && pwd)"
cd "$root"

runs="${1:-3}"
load="${VARNOOK_STRESS_LOAD:-1}"
hogs="${VARNOOK_STRESS_HOGS:-$(nproc)}"
build="${BUILD_DIR:-$root/build}"
jobs="$(nproc)"

"$root/scripts/deps.sh"
launcher=()
command -v ccache >/dev/null && launcher=(-DCMAKE_CXX_COMPILER_LAUNCHER=ccache)
cmake -S . -B "$build" -G Ninja -DVARNOOK_WERROR=ON -DCMAKE_BUILD_TYPE=RelWithDebInfo \
  "${launcher[@]}" >/dev/null
cmake --build "$build" --parallel "$jobs" >/dev/null

pids=()
stop_load() {
  for pid in "${pids[@]}"; do kill "$pid" 2>/dev/null || true; done
  for pid in "${pids[@]}"; do wait "$pid" 2>/dev/null || true; done
  pids=()
}
trap stop_load EXIT INT TERM

if [ "$load" != 0 ]; then
  for _ in $(seq "$hogs"); do
    # A CPU-bound loop of the shell's own, so nothing needs installing.
    (trap - INT TERM; while :; do :; done) &
    pids+=($!)
  done
  echo "== $hogs busy processes started"
fi

total_failed=0
logs="$(mktemp -d)"
for run in $(seq "$runs"); do
  log="$logs/run-$run.log"
  start=$(date +%s)
  status=0
  ctest --test-dir "$build" --parallel "$jobs" --output-on-failure >"$log" 2>&1 || status=$?
  seconds=$(($(date +%s) - start))
  summary=$(grep -E '^[0-9]+% tests passed' "$log" || echo "no summary")
  total=$(sed -nE 's/.* ([0-9]+) tests failed out of ([0-9]+).*/\2/p' "$log")
  failed=$(sed -nE 's/.* ([0-9]+) tests failed out of ([0-9]+).*/\1/p' "$log")
  passed=$((${total:-0} - ${failed:-0}))
  echo "run $run: ${passed} passed, ${failed:-0} failed in ${seconds} s ($summary)"
  if [ "$status" -ne 0 ]; then
    total_failed=$((total_failed + 1))
    grep -E '^\s+[0-9]+ - ' "$log" | sed 's/^/    /' || true
    echo "    log: $log"
  fi
done
stop_load
trap - EXIT INT TERM
echo "== $runs runs, $total_failed with failures"
[ "$total_failed" -eq 0 ]
