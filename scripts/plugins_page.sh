#!/usr/bin/env bash
# Soaks the LV2 plugins of Debian's packages and writes docs/plugins.md.
#     plugins_page.sh [LEVEL [PACKAGE ...]]     level 6 and all packages unless told; with packages
#                                               the page goes to standard output
# Nothing is installed: the packages and what they need are unpacked under build/plugins and laid over
# /usr in a mount namespace of the script's own (`unshare`), so that plugins find what they look for by
# absolute paths. 560 plugins take about half an hour on two cores.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
level=${1:-6}
shift $(($# > 0))
page=
[ $# -gt 0 ] || { page=docs/plugins.md; set -- abgate ardour-lv2-plugins avldrums.lv2 blop-lv2 \
  calf-plugins dpf-plugins-lv2 dragonfly-reverb-lv2 drumgizmo drumkv1-lv2 eq10q fomp foo-yc20 \
  guitarix-lv2 invada-studio-plugins-lv2 ir.lv2 lsp-plugins-lv2 lv2-examples lv2vocoder mda-lv2 \
  padthv1-lv2 qmidiarp rubberband-lv2 samplv1-lv2 setbfree so-synth-lv2 swh-lv2 synthv1-lv2 vocproc \
  x42-plugins yoshimi zam-plugins zynaddsubfx-lv2; }
work=$PWD/build/plugins

# Everything that is missing here, and the packages named whether they are installed or not.
fetch() {
  local needed missing=()
  mapfile -t needed < <({ printf '%s\n' "$@" avldrums.lv2-soundfont
    apt-get install --simulate --no-install-recommends "$@" avldrums.lv2-soundfont |
      awk '/^Inst/ {print $2}'; } | sort -u)
  mkdir -p "$work/debs" "$work/root/usr" "$work/root/etc"
  for package in "${needed[@]}"; do
    compgen -G "$work/debs/${package}_*.deb" >/dev/null || missing+=("$package")
  done
  [ ${#missing[@]} -gt 0 ] || return 0
  echo "Fetching ${#missing[@]} packages" >&2
  (cd "$work/debs" && apt-get download -qq "${missing[@]}" 2>/dev/null)
  for package in "${missing[@]}"; do
    for file in "$work/debs/${package}"_*.deb; do dpkg-deb -x "$file" "$work/root"; done
  done
}

if [ -z "${VESK_PLUGINS_INSIDE:-}" ]; then
  scripts/build.sh release vesk-host vesk-soak vesk-soak-state vesk-parameters vesk_lv2 vesk-lv2-scan vesk_windows_module >&2
  fetch "$@"
  as_root=()
  [ "$(id -u)" -eq 0 ] || as_root=(--map-root-user)
  # shellcheck disable=SC2016
  VESK_PLUGINS_INSIDE=1 unshare "${as_root[@]}" --mount bash -c '
    for folder in usr etc; do
      mount -t overlay overlay -o "lowerdir=$0/root/$folder:/$folder" "/$folder"
    done
    exec "$@"' "$work" "$0" "$level" "$@" >"$work/page.md"
  if [ -n "$page" ]; then mv "$work/page.md" $page; else cat "$work/page.md"; fi
  exit
fi

export HOME=$work/home XDG_CACHE_HOME=$work/cache
export LV2_PATH=$work/bundles:$work/vocabularies
unset DISPLAY
mkdir -p "$HOME" "$XDG_CACHE_HOME" "$work/vocabularies"
dpkg -L lv2-dev | grep '\.lv2$' | xargs -I{} ln -sfn {} "$work/vocabularies"
rm -f "$work"/part.*
passed=0 total=0 rows=
for package in "$@"; do
  file=$(compgen -G "$work/debs/${package}_*.deb" | sort -V | tail -n 1)
  rm -rf "$work/bundles"
  mkdir "$work/bundles"
  dpkg-deb -c "$file" | grep -oE ' \./usr/lib/lv2/[^/]+/$' | sed 's/ \.\(.*\)\/$/\1/' |
    xargs -I{} ln -s {} "$work/bundles"
  [ "$package" != avldrums.lv2 ] || ln -sfn /usr/lib/lv2/avldrums.lv2 "$work/bundles"
  version=$(dpkg-deb -f "$file" Version)
  echo "$package" >&2
  # Every specification of the package's plugins has ":LV2_" in it.
  build/release/bin/vesk-soak :LV2_ --level "$level" --markdown >"$work/part.$package" ||
    [ -s "$work/part.$package" ] || echo "0 of 0 passed: it has no plugin that is hosted." >"$work/part.$package"
  totals=$(head -n 1 "$work/part.$package")
  read -r these _ all _ <<<"$totals"
  passed=$((passed + these)) total=$((total + all))
  rows+="| $package | $version | ${totals%.} |"$'\n'
done

cat <<END
# Debian's LV2 plugins, soaked

Made by \`scripts/plugins_page.sh $level\` on $(date -u +%F) from commit $(git rev-parse --short HEAD), on
$(. /etc/os-release && echo "$PRETTY_NAME"), Linux $(uname -r), $(nproc) CPUs. Each plugin lived through
level $level of \`vesk-soak\`; [soak.md](soak.md) explains the outcomes, the remarks and the figures of the
load. Plugins that are not hosted do not stand here; \`vesk-list --problems\` names them.

**$passed of $total passed.**

| package | version | came to |
|---|---|---|
$rows
END
for package in "$@"; do
  printf '## %s\n\n' "$package"
  cat "$work/part.$package"
  echo
done
