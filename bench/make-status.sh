#!/usr/bin/env bash
# Writes a status file of a service running COUNT bots with 4-letter handles ("aaaa", "baaa",
# …), as the status-file variant of bench/startup.sh takes it. 200,000 handles make about
# 1,000,000 bytes: about as many as fit under the 1 MiB cap.
#
#   bench/make-status.sh COUNT FILE
set -euo pipefail
count="${1:?COUNT}"
file="${2:?FILE}"
awk -v n="$count" 'BEGIN {
  printf "{\"bot_running\": true, \"pid\": 4242, \"requests\": 15, \"bot_handle\": \""
  for (i = 0; i < n; i++) {
    if (i > 0) printf ","
    v = i
    for (k = 0; k < 4; k++) { printf "%c", 97 + v % 26; v = int(v / 26) }
  }
  printf "\"}\n"
}' >"$file"
