#!/usr/bin/env bash
# The configuration benchmarks counted in instructions instead of time, under callgrind.
# Instruction counts do not depend on what else the machine is doing, so they are the figures
# to compare from one change to the next on a shared machine; bench/run.sh gives the times.
#
#   bench/cost.sh [bots]      bots: 1, 100 or 1000 (default 1000)
#
# Prints, per benchmark, the instructions of one pass of its loop and the ratio of ours to
# the QJsonDocument floor. Needs a Release build in build-bench (bench/run.sh makes one;
# BENCH_BUILD_DIR chooses another); installs valgrind when it is missing.
set -euo pipefail
root="$(cd "$(dirname "$0")/.." && pwd)"
build="${BENCH_BUILD_DIR:-$root/build-bench}"
bots="${1:-1000}"
program="$build/bench/bench_config"
[ -x "$program" ] || { echo "no $program: run bench/run.sh first" >&2; exit 1; }
"$root/scripts/deps.sh" valgrind

work="$(mktemp -d)"
trap 'rm -rf "$work"' EXIT

# Instructions of one iteration of the benchmark function `name` at this size.
per_iteration() { # name
  local out="$work/$1.out"
  valgrind --tool=callgrind --callgrind-out-file="$out" \
    "--toggle-collect=(anonymous namespace)::$1(benchmark::State&)" \
    "$program" --benchmark_filter="^$1/$bots\$" --benchmark_min_time=0.001 \
    --benchmark_color=false >"$work/$1.txt" 2>"$work/$1.err"
  local iterations instructions
  iterations=$(awk -v want="$1/$bots" '$1 == want { print $6 }' "$work/$1.txt")
  instructions=$(awk '/^summary:/ { print $2 }' "$out")
  echo $((instructions / iterations))
}

printf '| %-22s | %14s | %14s | %6s |\n' "Operation ($bots bots)" "Ours (instr.)" "Floor (instr.)" "Ratio"
printf '|%s|%s|%s|%s|\n' "------------------------" "----------------" "----------------" "--------"
row() { # label ours floor
  local ours floor
  ours=$(per_iteration "$2")
  floor=$(per_iteration "$3")
  printf '| %-22s | %14s | %14s | %5sx |\n' "$1" "$ours" "$floor" \
    "$(awk -v a="$ours" -v b="$floor" 'BEGIN { printf "%.2f", a / b }')"
}
row "load+apply" loadAndApply floorParse
row "write" write floorSerialise
row "model load+write (file)" modelLoadAndWrite floorFileRoundTrip
