#!/usr/bin/env bash
# Tries the last commit as a newcomer to a release of Debian would: scripts/check_release.sh RELEASE
# [FOLDER], where RELEASE is bookworm, trixie and so on. Makes a small system of that release in
# FOLDER, and there installs, builds, plays the demo and runs every test in a clone. Needs root and
# debootstrap.
#
# FOLDER is kept, and used again as it is; without one the system is a temporary one. The mirror is
# apt's own here unless VESK_MIRROR and VESK_SECURITY_MIRROR name others.
set -euo pipefail
source=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
release=${1:?usage: check_release.sh RELEASE [FOLDER]}
[ "$(id -u)" -eq 0 ] || { echo "$0: making a system takes root" >&2; exit 2; }
for program in debootstrap git; do
  command -v "$program" >/dev/null || { echo "$0: $program is missing" >&2; exit 2; }
done

# shellcheck disable=SC2016
sites=$(apt-get indextargets --format '$(SITE)' 'Created-By: Packages' 2>/dev/null || true)
mirror=${VESK_MIRROR:-$(grep -m 1 '/debian/*$' <<<"$sites" || true)}
security=${VESK_SECURITY_MIRROR:-$(grep -m 1 '/debian-security/*$' <<<"$sites" || true)}
mirror=${mirror:-http://deb.debian.org/debian}
security=${security:-http://deb.debian.org/debian-security}
proxy=''
eval "$(apt-config shell proxy Acquire::http::Proxy 2>/dev/null)"

root=$(realpath -m -- "${2:-$(mktemp -d)}")
[ $# -gt 1 ] || trap 'rm -rf --one-file-system "$root"' EXIT

if [ ! -e "$root/etc/debian_version" ]; then
  echo "== Making a system of $release from $mirror in $root"
  http_proxy=${proxy:-${http_proxy:-}} debootstrap --variant=minbase --include=ca-certificates \
    "$release" "$root" "$mirror"
  cat >"$root/etc/apt/sources.list" <<EOF
deb $mirror $release main
deb $mirror $release-updates main
deb $security $release-security main
EOF
  [ -z "$proxy" ] || echo "Acquire::http::Proxy \"$proxy\";" >"$root/etc/apt/apt.conf.d/proxy"
fi
mkdir -p "$root"/{proc,dev/pts,dev/shm}
rm -rf "$root/root/vesk"
git clone --quiet "$source" "$root/root/vesk"

# With nothing of this machine's environment, in namespaces that take mounts and processes with them.
inside() {
  # shellcheck disable=SC2016
  unshare --mount --pid --fork --kill-child sh -c '
    mount -t proc proc "$1/proc"
    mount -t devpts -o newinstance,ptmxmode=0666,mode=620 devpts "$1/dev/pts"
    mount -t tmpfs tmpfs "$1/dev/shm"
    exec chroot "$1" env -i HOME=/root PATH=/usr/sbin:/usr/bin:/sbin:/bin LANG=C.UTF-8 TERM="$2" \
      sh -c "cd /root/vesk && $3"' sh "$root" "${TERM:-dumb}" "$1"
}
results=()
try() {
  echo "== $release: $1"
  local begin=$SECONDS verdict=passed
  inside "$1" || verdict=FAILED
  results+=("$verdict  $1 ($((SECONDS - begin)) s)")
}
try scripts/demo.sh
try 'test -s demo.wav && test -s demo.png && test -s demo-sampler.wav'
try 'scripts/test.sh release'

echo "== Debian $(<"$root/etc/debian_version") ($release), $(git -C "$source" log -1 --format=%h):"
printf '%s\n' "${results[@]}"
[[ ${results[*]} != *FAILED* ]]
