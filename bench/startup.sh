#!/usr/bin/env bash
# Start-up cost of the settings window against an empty Qt window started the same way:
# time from process start to the end of the window's first paint, and peak resident memory,
# offscreen, on the demo-sized configuration (2 bots, 20 skills). Prints medians and ratios.
# A third program, the same empty window with one label and one line edit, shows what the
# first text of any window costs (the font set-up an empty window never does).
#
#   bench/startup.sh [runs]      (default 15 runs of each, alternating)
#   bench/startup.sh runs STATUS (the status-file variant: the program with a normal status
#                                 file beside its configuration against the same with STATUS,
#                                 alternating; prints both medians and their ratio)
#
# Builds in $BUILD_DIR (default ./build). Runs on a private session bus so that the single-
# instance check and the notification transport take part as they do on a desktop.
set -euo pipefail
root="$(cd "$(dirname "$0")/.." && pwd)"
runs="${1:-15}"
status_variant="${2:-}"
[ -n "$status_variant" ] && status_variant="$(realpath "$status_variant")"
build="${BUILD_DIR:-$root/build}"

if [ -z "${STARTUP_INNER:-}" ]; then
  launcher=()
  command -v ccache >/dev/null && launcher=(-DCMAKE_CXX_COMPILER_LAUNCHER=ccache)
  cmake -S "$root" -B "$build" -G Ninja "${launcher[@]}" >/dev/null
  cmake --build "$build" --target startup_probe emptywindow >/dev/null
  export STARTUP_INNER=1
  exec dbus-run-session -- "$0" "$@"
fi

work="$(mktemp -d)"
trap 'rm -rf "$work"' EXIT
export HOME="$work/home" XDG_CONFIG_HOME="$work/home/.config" POSTHOG_KEY=""
export QT_QPA_PLATFORM=offscreen QT_LOGGING_RULES="qt.qpa.*=false"
mkdir -p "$HOME" "$work/skills"
cat >"$work/bot-config.json" <<'JSON'
{
  "base_url": "https://api.openai.com/v1", "api_key": "sk-demo", "model": "gpt-5",
  "fallbacks": [{"name": "b", "base_url": "https://openrouter.ai/api/v1", "api_key": "k",
                 "model": "deepseek-v4-flash-free"}],
  "bot_tokens": ["1:a", "2:b"], "bot_nicknames": ["Momo", ""],
  "allowed_ids": [512807364], "trigger_words": ["jarvis"]
}
JSON
for i in $(seq 1 20); do
  printf -- '---\ndescription: "Sample skill %d"\n---\n# Skill %d\n\nDoes thing %d.\n' \
    "$i" "$i" "$i" >"$work/skills/skill-$i.md"
done

measure() { # program [args…] -> "ms kb"
  local out
  out="$(STARTUP_T0_NS="$(date +%s%N)" "$@")"
  # shown_ms=12.34 maxrss_kb=5678
  echo "$out" | sed -n 's/^shown_ms=\([0-9.]*\) maxrss_kb=\([0-9]*\)$/\1 \2/p'
}
median() { sort -n | awk '{a[NR]=$1} END {if (NR%2) print a[(NR+1)/2]; else print (a[NR/2]+a[NR/2+1])/2}'; }

if [ -n "$status_variant" ]; then
  # Two copies of the same setup that differ only in their status file.
  mkdir -p "$work/normal" "$work/variant"
  for side in normal variant; do
    cp "$work/bot-config.json" "$work/$side/"
    ln -s "$work/skills" "$work/$side/skills"
  done
  printf '%s' '{"bot_running": true, "pid": 4242, "bot_handle": "momo_bot,helper_bot",
    "bot_nicknames": ["Momo", ""], "requests": 15, "requests_by_bot": [12, 3],
    "tokens_in": 12400, "tokens_out": 3100, "base_url": "https://api.openai.com/v1",
    "model": "gpt-5", "fallbacks": 1}' >"$work/normal/varnook-status.json"
  cp "$status_variant" "$work/variant/varnook-status.json"
  probe="$build/bench/startup/startup_probe"
  measure "$probe" "$work/normal/bot-config.json" >/dev/null
  measure "$probe" "$work/variant/bot-config.json" >/dev/null
  : >"$work/normal.times" ; : >"$work/variant.times"
  for _ in $(seq 1 "$runs"); do
    measure "$probe" "$work/normal/bot-config.json" >>"$work/normal.times"
    measure "$probe" "$work/variant/bot-config.json" >>"$work/variant.times"
  done
  normal_ms=$(cut -d' ' -f1 "$work/normal.times" | median)
  variant_ms=$(cut -d' ' -f1 "$work/variant.times" | median)
  normal_kb=$(cut -d' ' -f2 "$work/normal.times" | median)
  variant_kb=$(cut -d' ' -f2 "$work/variant.times" | median)
  printf 'runs: %s each, offscreen, 2 bots, 20 skills; status file %s (%s bytes)\n' "$runs" \
    "$(basename "$status_variant")" "$(stat -c %s "$status_variant")"
  printf '%-16s %12s %14s\n' "" "to shown (ms)" "peak RSS (KiB)"
  printf '%-16s %12s %14s\n' "normal status" "$normal_ms" "$normal_kb"
  printf '%-16s %12s %14s\n' "given status" "$variant_ms" "$variant_kb"
  awk -v a="$variant_ms" -v e="$normal_ms" -v ak="$variant_kb" -v ek="$normal_kb" \
    'BEGIN { printf "ratio            %12.2fx %13.2fx   (goal: within 1.20x)\n", a/e, ak/ek }'
  exit 0
fi

# One warm-up of each so that both start from a warm file cache.
measure "$build/bench/emptywindow/emptywindow" >/dev/null
measure "$build/bench/emptywindow/emptywindow" --text >/dev/null
measure "$build/bench/startup/startup_probe" "$work/bot-config.json" >/dev/null

: >"$work/empty" ; : >"$work/text" ; : >"$work/app"
for _ in $(seq 1 "$runs"); do
  measure "$build/bench/emptywindow/emptywindow" >>"$work/empty"
  measure "$build/bench/emptywindow/emptywindow" --text >>"$work/text"
  measure "$build/bench/startup/startup_probe" "$work/bot-config.json" >>"$work/app"
done

empty_ms=$(cut -d' ' -f1 "$work/empty" | median); app_ms=$(cut -d' ' -f1 "$work/app" | median)
empty_kb=$(cut -d' ' -f2 "$work/empty" | median); app_kb=$(cut -d' ' -f2 "$work/app" | median)
text_ms=$(cut -d' ' -f1 "$work/text" | median); text_kb=$(cut -d' ' -f2 "$work/text" | median)
printf 'runs: %s each, offscreen, 2 bots, 20 skills\n' "$runs"
printf '%-16s %12s %14s\n' "" "to shown (ms)" "peak RSS (KiB)"
printf '%-16s %12s %14s\n' "empty window" "$empty_ms" "$empty_kb"
printf '%-16s %12s %14s\n' "window with text" "$text_ms" "$text_kb"
printf '%-16s %12s %14s\n' "varnook-settings" "$app_ms" "$app_kb"
awk -v a="$app_ms" -v e="$empty_ms" -v ak="$app_kb" -v ek="$empty_kb" \
  'BEGIN { printf "ratio            %12.2fx %13.2fx   (goal: within 1.50x on both)\n", a/e, ak/ek }'
awk -v a="$text_ms" -v e="$empty_ms" -v ak="$text_kb" -v ek="$empty_kb" \
  'BEGIN { printf "text window      %12.2fx %13.2fx   (what the first text costs)\n", a/e, ak/ek }'
awk -v a="$app_ms" -v e="$text_ms" -v ak="$app_kb" -v ek="$text_kb" \
  'BEGIN { printf "vs text window   %12.2fx %13.2fx\n", a/e, ak/ek }'
