#!/usr/bin/env bash
# Opens the settings window on a self-contained demo: a sample configuration with two bots,
# backup models and allowed chats, twenty skills, two persona files, and the simulated bot
# service answering on the session bus with made-up traffic.
#
#   scripts/demo.sh               open the window (under xvfb-run when there is no display)
#   scripts/demo.sh --render DIR  draw every page to PNG files in DIR instead
#   scripts/demo.sh --render DIR --palette dark   the same in a dark palette
#   QT_SCALE_FACTOR=2 scripts/demo.sh --render DIR   the same at twice the pixel density
#
# Everything lives in ./demo-data, made afresh on every run; nothing in your home folder is
# touched (HOME points into ./demo-data for the demo's processes).
set -euo pipefail
root="$(cd "$(dirname "$0")/.." && pwd)"
cd "$root"

render=""
palette=()
if [ "${1:-}" = "--render" ]; then
  render="${2:?usage: scripts/demo.sh --render DIR [--palette dark|light]}"
  case "$render" in /*) ;; *) render="$root/$render" ;; esac
  if [ "${3:-}" = "--palette" ]; then
    palette=(--palette "${4:?usage: scripts/demo.sh --render DIR [--palette dark|light]}")
  elif [ $# -gt 2 ]; then
    echo "usage: scripts/demo.sh --render DIR [--palette dark|light]" >&2
    exit 2
  fi
elif [ $# -gt 0 ]; then
  echo "usage: scripts/demo.sh [--render DIR [--palette dark|light]]" >&2
  exit 2
fi

[ -z "${DEMO_INNER:-}" ] && "$root/scripts/deps.sh"

# The window and the simulator must share a session bus: start a private one when there is
# none, and a virtual display when there is no display.
if [ -z "$render" ] && [ -z "${DEMO_INNER:-}" ]; then
  export DEMO_INNER=1
  wrap=()
  if [ -z "${DBUS_SESSION_BUS_ADDRESS:-}" ]; then
    echo "No session bus: starting a private one for the demo."
    wrap+=(dbus-run-session --)
  fi
  if [ -z "${DISPLAY:-}" ] && [ -z "${WAYLAND_DISPLAY:-}" ]; then
    echo "No display (\$DISPLAY and \$WAYLAND_DISPLAY are empty): running the window under xvfb-run."
    echo "Nothing will appear on screen; try 'scripts/demo.sh --render DIR' to see the pages."
    wrap+=(xvfb-run -a -s "-screen 0 1280x800x24")
  fi
  if [ ${#wrap[@]} -gt 0 ]; then
    exec "${wrap[@]}" "$0" "$@"
  fi
fi

build="${BUILD_DIR:-$root/build}"
launcher=()
command -v ccache >/dev/null && launcher=(-DCMAKE_CXX_COMPILER_LAUNCHER=ccache)
cmake -S . -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo "${launcher[@]}" >/dev/null
cmake --build "$build" --parallel "$(nproc)" --target varnook-settings varnook-bot-sim

# ---- demo data ---------------------------------------------------------------------------------
data="$root/demo-data"
rm -rf "$data"
mkdir -p "$data/skills" "$data/home/.zandrel"

cat >"$data/bot-config.json" <<JSON
{
  "base_url": "https://api.openai.com/v1",
  "api_key": "sk-demo-not-a-real-key",
  "model": "gpt-5",
  "model_name": "Main",
  "fallbacks": [
    {"name": "Fast backup", "base_url": "https://openrouter.ai/api/v1", "api_key": "sk-or-demo", "model": "deepseek-v4-flash-free"},
    {"name": "Local", "base_url": "http://127.0.0.1:11234/v1", "api_key": "", "model": "qwen3-8b"}
  ],
  "bot_tokens": ["123456:ABC-demo-token-one", "654321:XYZ-demo-token-two"],
  "bot_nicknames": ["Momo", ""],
  "bot_profiles": [
    {"trigger_words": ["momo", "hey momo"], "bot_mode": "researcher", "briefing_time": "07:30"},
    {"model": "deepseek-v4-flash-free", "soul_file": "persona-pirate.md", "bot_mode": "chef"}
  ],
  "allowed_ids": [512807364, -1002718305964],
  "briefing_time": "08:00",
  "briefing_prompt": "weather, my reminders for today, and any price alerts",
  "trigger_words": ["jarvis", "hey bot"],
  "clip_trigger_words": ["clip this", "save this"],
  "soul_file": "$data/soul.md",
  "max_tokens": 4000,
  "chat_buffer_max": 40,
  "recall_limit": 15,
  "fact_cap": 5000,
  "research_max_tokens": 1200,
  "api_timeout": 90,
  "enabled_skills": ["pomodoro"],
  "bot_mode": "assistant"
}
JSON

cat >"$data/soul.md" <<'MD'
# Soul

You are a calm, precise assistant. Answer briefly, cite sources for facts, and ask before
acting on anything that costs money.
MD
cat >"$data/persona-pirate.md" <<'MD'
# Pirate persona

Speak like a friendly pirate captain, but keep every fact correct.
MD
cat >"$data/notes.md" <<'MD'
Not a persona: the Soul menu does not list this file.
MD

# name|title|description|example body line
skills=(
  "stock-research|Stock research|Deep research on a listed company: filings, news and price action.|Summarise the last four quarters before giving a view."
  "insider-trading|Insider trades|Recent insider buying and selling for a ticker.|List the last ten filings with dates and amounts."
  "stocks-crypto|Stocks & crypto prices|Live quotes for stocks and coins.|Quote the price with the day's change."
  "currency|Currency converter|Converts between currencies at today's rate.|Use the mid-market rate and say when it was taken."
  "briefing|Daily briefing|The morning message with weather, reminders and alerts.|Keep it under ten lines."
  "digest|Chat digest|Summarises a busy group chat.|Group the summary by topic."
  "reminders|Reminders|Sets and lists reminders.|Confirm the time back in the user's time zone."
  "habits|Habit tracker|Tracks daily habits and streaks.|Celebrate streaks of seven days or more."
  "review|Weekly review|A guided weekly review of goals and notes.|Ask one question at a time."
  "pomodoro|Pomodoro timer|Focus sessions with breaks.|Announce the end of each session."
  "bookmarks|Bookmarks|Saves links and messages for later.|Tag every bookmark with one word."
  "expenses|Expenses|Tracks spending by category.|Ask for the category when it is unclear."
  "media|Media analysis|Looks at photos, audio and video sent to the bot.|Describe before you judge."
  "voice|Voice replies|Reads answers aloud as voice messages.|Keep voice replies under a minute."
  "translation|Translation|Translates messages between languages.|Keep names and numbers unchanged."
  "feeds|Feeds|Follows RSS feeds and reports what is new.|Show at most five items per feed."
  "memory|Long-term memory|Remembers facts about each user.|Never store secrets."
  "pdf|PDF|Read, merge, split, fill and OCR PDF files.|Say how many pages were read."
  "weather|Weather|Forecasts for saved places.|Give temperatures in the user's units."
  "recipes|Recipes|Finds and scales recipes.|List ingredients before steps."
)
for entry in "${skills[@]}"; do
  IFS='|' read -r name title description body <<<"$entry"
  cat >"$data/skills/$name.md" <<MD
---
name: $name
description: "$description"
---
# $title

$body
MD
done

cat >"$data/varnook-status.json" <<'JSON'
{"bot_running": false, "pid": 0}
JSON

# ---- run -------------------------------------------------------------------------------------
export HOME="$data/home"
export XDG_CONFIG_HOME="$data/home/.config"
export POSTHOG_KEY=""

if [ -n "$render" ]; then
  echo "Rendering every page of the demo to $render"
  exec "$build/src/varnook-settings" --render-pages "$render" "$data/bot-config.json" "${palette[@]}"
fi

"$build/tools/varnook-bot-sim/varnook-bot-sim" --config "$data/bot-config.json" --running \
  --demo-traffic &
sim=$!
trap 'kill "$sim" 2>/dev/null || true; wait "$sim" 2>/dev/null || true' EXIT

echo "Opening the settings window on $data/bot-config.json (the simulated service runs as pid $sim)."
status=0
"$build/src/varnook-settings" "$data/bot-config.json" || status=$?
exit "$status"
