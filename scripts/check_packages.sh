#!/usr/bin/env bash
# Makes the Debian packages of the tree as it is, in build/packages, and tries them in a fresh small
# system of this machine's release: installs them, lists, renders a second, embeds a host from C and
# from Python. Needs root and debootstrap.
#     check_packages.sh [FOLDER]
# FOLDER keeps the system for another run; without one it is a temporary one. The mirror is apt's own
# here unless VESK_MIRROR names another.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
[ "$(id -u)" -eq 0 ] || { echo "$0: making a system takes root" >&2; exit 2; }
for program in debootstrap cpack dpkg-shlibdeps; do
  command -v "$program" >/dev/null || { echo "$0: $program is missing" >&2; exit 2; }
done
begin=$SECONDS
# shellcheck source=/dev/null
release=$(. /etc/os-release && echo "$VERSION_CODENAME")
# shellcheck disable=SC2016
sites=$(apt-get indextargets --format '$(SITE)' 'Created-By: Packages' 2>/dev/null || true)
mirror=${VESK_MIRROR:-$(grep -m 1 '/debian/*$' <<<"$sites" || true)}
mirror=${mirror:-http://deb.debian.org/debian}
proxy=''
eval "$(apt-config shell proxy Acquire::http::Proxy 2>/dev/null)"

echo "== Building"
scripts/build.sh packages
rm -f build/packages/*.deb
(cd build/packages && cpack >/dev/null)
built=$SECONDS

root=$(realpath -m -- "${1:-$(mktemp -d)}")
[ $# -gt 0 ] || trap 'rm -rf --one-file-system "$root"' EXIT
if [ ! -e "$root/etc/debian_version" ]; then
  echo "== Making a system of $release from $mirror"
  http_proxy=${proxy:-${http_proxy:-}} debootstrap --variant=minbase --include=ca-certificates \
    "$release" "$root" "$mirror" >/dev/null
  [ -z "$proxy" ] || echo "Acquire::http::Proxy \"$proxy\";" >"$root/etc/apt/apt.conf.d/proxy"
fi
rm -rf "$root/root/try" && mkdir -p "$root"/{proc,dev/pts,dev/shm,root/try}
# A minimal system keeps manual pages out.
rm -f "$root"/etc/dpkg/dpkg.cfg.d/*
cp build/packages/*.deb docs/examples/embed.c songs/demo.mid "$root/root/try"

cat >"$root/root/try/try.sh" <<'EOT'
set -eu
export DEBIAN_FRONTEND=noninteractive
apt-get update -qq
apt-get install -qq --no-install-recommends ./*.deb mda-lv2 gcc libc6-dev pkg-config >/dev/null
dpkg -l 'vesk*' 'libvesk*' python3-vesk | grep ^ii
! ldd /usr/bin/vesk-* /usr/lib/*/libvesk.so.0 /usr/lib/vesk/*.so | grep 'not found'
for program in /usr/bin/vesk-*; do
  test -s "/usr/share/man/man1/$(basename "$program").1" || { echo "$program has no page"; exit 1; }
done
vesk-list | grep -q aumu:Sm48:LV2_
vesk-render 'MDA ePiano' --midi demo.mid --duration 1 --tail 0 --strict -q -o second.wav
test "$(stat -c %s second.wav)" -gt $((48000 * 8))
gcc -std=c11 embed.c $(pkg-config --cflags --libs vesk) -lm -o embed
./embed aumu:Sm48:LV2_ | tee /dev/stderr | grep -q 'peak 0\.[0-9]*[1-9]'
python3 -c "
import numpy, vesk
with vesk.Host('aumu:Sm48:LV2_', offline=True) as host:
    assert numpy.abs(host.render(48000, events=[(0, 0x90, 60, 100)])).max() > 0.01"
apt-get purge -qq 'vesk*' 'libvesk*' python3-vesk >/dev/null
! find /usr -name '*vesk*' | grep .
EOT
echo "== Trying them"
# shellcheck disable=SC2016
unshare --mount --pid --fork --kill-child sh -c '
  mount -t proc proc "$1/proc"
  mount -t devpts -o newinstance,ptmxmode=0666,mode=620 devpts "$1/dev/pts"
  mount -t tmpfs tmpfs "$1/dev/shm"
  exec chroot "$1" env -i HOME=/root PATH=/usr/sbin:/usr/bin:/sbin:/bin LANG=C.UTF-8 \
    sh -c "cd /root/try && sh try.sh"' sh "$root"
ls -l build/packages/*.deb
echo "== Debian $(<"$root/etc/debian_version"): passed; built in $((built - begin)) s, all in $((SECONDS - begin)) s"
