#!/usr/bin/env bash
# Every benchmark of the project in one run, as ratios against what the same work costs
# without this program's code:
#   - start to window shown, and peak memory, against an empty Qt window (bench/startup.sh);
#   - load+apply, write, and model load+write of 1,000 bots against QJsonDocument alone
#     (bench_config), CPU time, fastest of interleaved repetitions, and the same counted in
#     instructions under callgrind (bench/cost.sh);
#   - listing 10,000 skills against walking the folder and reading the files (bench_skills);
#   - a status refresh with 200,000 bot handles against one with 1,000, per handle
#     (bench_status), and the first paint with that status file against a normal one
#     (bench/startup.sh with a status file).
# Prints a Markdown table and the machine it ran on. Figures from a busy machine are not worth
# keeping: run it when nothing else is compiling.
#
#   bench/run.sh                 build in Release (build-bench) and run everything
#   BENCH_REPETITIONS=9          repetitions of each micro benchmark (the fastest is reported)
#   BENCH_STARTUP_RUNS=15        start-ups of each program (median is reported)
#   BENCH_BUILD_DIR=…            build folder (default: build-bench beside this script's repo)
set -euo pipefail
root="$(cd "$(dirname "$0")/.." && pwd)"
build="${BENCH_BUILD_DIR:-$root/build-bench}"
repetitions="${BENCH_REPETITIONS:-9}"
startup_runs="${BENCH_STARTUP_RUNS:-15}"

"$root/scripts/deps.sh" valgrind

launcher=()
command -v ccache >/dev/null && launcher=(-DCMAKE_CXX_COMPILER_LAUNCHER=ccache)
cmake -S "$root" -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=Release -DVARNOOK_BUILD_TESTS=OFF \
  -DVARNOOK_BUILD_BENCH=ON "${launcher[@]}" >/dev/null
cmake --build "$build" --parallel "$(nproc)" \
  --target bench_config bench_skills bench_status startup_probe emptywindow >/dev/null

work="$(mktemp -d)"
trap 'rm -rf "$work"' EXIT

# Google Benchmark's console lines "<name> <time> <unit> <cpu> <unit> <iterations>", one per
# repetition: the least CPU time of `name`, in microseconds. On a shared machine other work can
# only add to a measurement, so the fastest repetition is the one least disturbed.
min_cpu_us() { # file name
  awk -v want="$2" '
    $1 == want {
      v = $4; u = $5
      if (u == "ns") v /= 1000; else if (u == "ms") v *= 1000; else if (u == "s") v *= 1000000
      if (!found || v < best) best = v
      found = 1
    }
    END { if (!found) exit 1; printf "%.1f\n", best }' "$1"
}

# Repetitions of ours and of the floor run interleaved in random order, so that a slow spell of
# the machine weighs on both sides of a ratio rather than on one.
run_bench() { # program filter output
  "$build/bench/$1" --benchmark_filter="$2" --benchmark_repetitions="$repetitions" \
    --benchmark_enable_random_interleaving=true --benchmark_display_aggregates_only=false \
    --benchmark_color=false >"$3" 2>"$3.err"
}

echo "Start-up ($startup_runs runs of each program)…" >&2
BUILD_DIR="$build" "$root/bench/startup.sh" "$startup_runs" >"$work/startup"
empty_ms=$(awk '/^empty window /{print $3}' "$work/startup")
empty_kb=$(awk '/^empty window /{print $4}' "$work/startup")
app_ms=$(awk '/^varnook-settings /{print $2}' "$work/startup")
app_kb=$(awk '/^varnook-settings /{print $3}' "$work/startup")
text_ms=$(awk '/^window with text /{print $4}' "$work/startup")

echo "Configuration documents ($repetitions repetitions)…" >&2
run_bench bench_config \
  '^(loadAndApply|floorParse|write|floorSerialise|modelLoadAndWrite|floorFileRoundTrip)/1000$' \
  "$work/config"
echo "Skills folder ($repetitions repetitions)…" >&2
run_bench bench_skills '^(listAndParse|readFloor)/10000$' "$work/skills"
echo "Status file ($repetitions repetitions)…" >&2
run_bench bench_status '^statusRefresh/(1000|200000)$' "$work/status"
echo "First paint with a 200,000-handle status file ($startup_runs runs of each)…" >&2
"$root/bench/make-status.sh" 200000 "$work/status-200000.json"
BUILD_DIR="$build" "$root/bench/startup.sh" "$startup_runs" "$work/status-200000.json" \
  >"$work/startup-status"
normal_status_ms=$(awk '/^normal status /{print $3}' "$work/startup-status")
big_status_ms=$(awk '/^given status /{print $3}' "$work/startup-status")

row() { # what ours floor unit
  awk -v what="$1" -v ours="$2" -v floor="$3" -v unit="$4" 'BEGIN {
    printf "| %s | %s %s | %s %s | %.2fx |\n", what, ours, unit, floor, unit, ours / floor }'
}
us_to_ms() { awk -v v="$1" 'BEGIN { printf "%.2f\n", v / 1000 }'; }

cpu="$(awk -F': ' '/^model name/ {print $2; exit}' /proc/cpuinfo)"
qt="$(qtpaths6 --qt-version 2>/dev/null || pkg-config --modversion Qt6Core 2>/dev/null || echo unknown)"

echo "| What | Ours | Floor | Ratio |"
echo "|---|---|---|---|"
row "Start to window shown (vs an empty Qt window)" "$app_ms" "$empty_ms" "ms"
row "Start to window shown (vs the same window with one label and one field)" "$app_ms" \
  "$text_ms" "ms"
row "Peak memory at first paint (vs an empty Qt window)" \
  "$(awk -v k="$app_kb" 'BEGIN { printf "%.1f", k / 1024 }')" \
  "$(awk -v k="$empty_kb" 'BEGIN { printf "%.1f", k / 1024 }')" "MiB"
row "Load and apply 1,000 bots (vs QJsonDocument parse)" \
  "$(us_to_ms "$(min_cpu_us "$work/config" loadAndApply/1000)")" \
  "$(us_to_ms "$(min_cpu_us "$work/config" floorParse/1000)")" "ms"
row "Write 1,000 bots (vs QJsonDocument serialise)" \
  "$(us_to_ms "$(min_cpu_us "$work/config" write/1000)")" \
  "$(us_to_ms "$(min_cpu_us "$work/config" floorSerialise/1000)")" "ms"
row "Model load and write file, 1,000 bots (vs read, parse, serialise, write)" \
  "$(us_to_ms "$(min_cpu_us "$work/config" modelLoadAndWrite/1000)")" \
  "$(us_to_ms "$(min_cpu_us "$work/config" floorFileRoundTrip/1000)")" "ms"
row "List 10,000 skills (vs walking the folder and reading the files)" \
  "$(us_to_ms "$(min_cpu_us "$work/skills" listAndParse/10000)")" \
  "$(us_to_ms "$(min_cpu_us "$work/skills" readFloor/10000)")" "ms"
row "Status refresh per handle, 200,000 handles (vs 1,000 handles)" \
  "$(awk -v v="$(min_cpu_us "$work/status" statusRefresh/200000)" 'BEGIN { printf "%.1f", v * 1000 / 200000 }')" \
  "$(awk -v v="$(min_cpu_us "$work/status" statusRefresh/1000)" 'BEGIN { printf "%.1f", v * 1000 / 1000 }')" "ns"
row "First paint with a 200,000-handle status file (vs a 2-bot status file)" \
  "$big_status_ms" "$normal_status_ms" "ms"
echo
echo "Machine: $(nproc) CPU(s), ${cpu:-unknown CPU}; Qt $qt; Release build; start-up: median of" \
  "$startup_runs offscreen runs, wall time; micro benchmarks: least CPU time of $repetitions" \
  "interleaved repetitions."
echo
echo "Instructions (callgrind; the same on any machine load):"
echo
BENCH_BUILD_DIR="$build" "$root/bench/cost.sh" 1000
