#!/usr/bin/env bash
# Tries the README's two commands the way a new user would, on a Debian 12 with nothing
# installed: makes a minimal Debian 12 in DIR (debootstrap --variant=minbase bookworm), clones
# this checkout's committed state into it, and runs, as root inside it,
#   ./scripts/demo.sh --render out     and     ./scripts/test.sh
# printing each one's result and duration. Mounts are undone on exit, however it ends.
#
#   sudo ./scripts/fresh-debian.sh DIR        (about half an hour; not part of CI)
#   VARNOOK_DEBIAN_MIRROR=URL                 Debian mirror (default: http://deb.debian.org/debian)
#   VARNOOK_FRESH_STAGES="normal"             test stages to run inside (default: all of them)
#
# DIR is made if missing; an existing Debian in DIR is reused (delete DIR for a fresh one).
# Run it before changing which packages the project needs, and after.
set -euo pipefail
root="$(cd "$(dirname "$0")/.." && pwd)"

dir="${1:?usage: scripts/fresh-debian.sh DIR}"
mirror="${VARNOOK_DEBIAN_MIRROR:-http://deb.debian.org/debian}"
if [ "$(id -u)" -ne 0 ]; then
  echo "fresh-debian.sh needs root (debootstrap, chroot and mounts)" >&2
  exit 2
fi
mkdir -p "$dir"
dir="$(cd "$dir" && pwd)"

if ! command -v debootstrap >/dev/null; then
  echo "== Installing debootstrap"
  DEBIAN_FRONTEND=noninteractive apt-get update -qq
  DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends debootstrap
fi

mounted=()
cleanup() {
  local i
  for ((i = ${#mounted[@]} - 1; i >= 0; i--)); do
    umount "${mounted[$i]}" 2>/dev/null || umount -l "${mounted[$i]}" 2>/dev/null || true
  done
}
trap cleanup EXIT INT TERM
mount_into() { # type-or-bind, source, target
  mkdir -p "$3"
  if [ "$1" = bind ]; then mount --bind "$2" "$3"; else mount -t "$1" "$2" "$3"; fi
  mounted+=("$3")
}

timed() { # label, command...
  local label="$1" start status=0
  shift
  start=$(date +%s)
  "$@" || status=$?
  echo "== $label: $([ $status -eq 0 ] && echo passed || echo "FAILED (exit $status)") in $(($(date +%s) - start)) s"
  return $status
}

if [ ! -x "$dir/usr/bin/apt-get" ]; then
  timed "debootstrap" debootstrap --variant=minbase bookworm "$dir" "$mirror"
fi
cp /etc/resolv.conf "$dir/etc/resolv.conf" 2>/dev/null || true
mount_into proc proc "$dir/proc"
mount_into sysfs sysfs "$dir/sys"
mount_into bind /dev "$dir/dev"
mount_into devpts devpts "$dir/dev/pts"
mount_into tmpfs tmpfs "$dir/dev/shm"

checkout="$dir/root/varnook"
rm -rf "$checkout"
git clone --quiet "$root" "$checkout"
echo "== Cloned $(git -C "$checkout" log -1 --format='%h %s')"

inside() { # command line to run in the checkout, as root, with a bare environment
  chroot "$dir" /usr/bin/env -i HOME=/root LANG=C.UTF-8 TERM=dumb \
    PATH=/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin \
    ${VARNOOK_FRESH_STAGES:+VARNOOK_TEST_STAGES="$VARNOOK_FRESH_STAGES"} \
    /bin/bash -c "cd /root/varnook && $1"
}

failed=0
timed "demo (./scripts/demo.sh --render out)" inside "./scripts/demo.sh --render out" || failed=1
pages=$(find "$checkout/out" -name '*.png' 2>/dev/null | wc -l)
echo "   $pages pages rendered in $checkout/out"
[ "$pages" -gt 0 ] || failed=1
timed "tests (./scripts/test.sh)" inside "./scripts/test.sh" || failed=1
exit $failed
