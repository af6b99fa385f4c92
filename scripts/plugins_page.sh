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
jobs=${JOBS:-$(nproc)}
deb_of() { compgen -G "$work/debs/${1}_*.deb" | sort -V | tail -n 1; }

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
  scripts/build.sh release vesk-host vesk-list vesk-soak vesk-soak-state vesk-parameters vesk_lv2 vesk-lv2-scan vesk_windows_module >&2
  fetch "$@"
  as_root=()
  [ "$(id -u)" -eq 0 ] || as_root=(--map-root-user)
  # HOME will be another's, and /etc not this system's own.
  commit=$(git rev-parse --short HEAD)
  # shellcheck disable=SC1091
  system=$(. /etc/os-release && echo "$PRETTY_NAME")
  export commit system
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
unset DISPLAY
mkdir -p "$HOME" "$XDG_CACHE_HOME" "$work/vocabularies"
dpkg -L lv2-dev | grep '\.lv2$' | xargs -I{} ln -sfn {} "$work/vocabularies"

# bundles_of PACKAGE: makes $work/bundles of links to its bundles.
bundles_of() {
  rm -rf "$work/bundles"
  mkdir "$work/bundles"
  for each in $(deb_of "$1") $(deb_of "$1-soundfont"); do
    dpkg-deb -c "$each" | grep -oE ' \./usr/lib/lv2/[^/]+/$' | sed 's/ \.\(.*\)\/$/\1/' |
      xargs -I{} ln -sfn {} "$work/bundles"
  done
}
codes() { build/release/bin/vesk-list | grep -oE '[a-z]{4}:[^[:space:]]+:LV2_' || true; }

rm -rf "$work/all"
mkdir "$work/all"
for package in "$@"; do
  bundles_of "$package"
  cp -P "$work"/bundles/* "$work/all" 2>/dev/null || true
done
# Every specification of an LV2 plugin has ":LV2_" in it.
LV2_PATH=$work/all:$work/vocabularies build/release/bin/vesk-soak :LV2_ --level "$level" --jobs "$jobs" \
  --markdown >"$work/rows.md" || [ -s "$work/rows.md" ]
# Where the plugins would be if they were installed.
sed -i "s#$work/all/#/usr/lib/lv2/#g" "$work/rows.md"

cat <<END
# Debian's LV2 plugins, soaked

Made by \`scripts/plugins_page.sh $level\` on $(date -u +%F) from commit $commit, on $system,
Linux $(uname -r), $(nproc) CPUs. Each plugin lived through level $level of \`vesk-soak\`; [soak.md](soak.md)
explains the outcomes, the remarks and the figures of the load. Plugins that are not hosted do not
stand here; \`vesk-list --problems\` names them.

**$(head -n 1 "$work/rows.md")**

| package | version | plugins | without remark | with remarks | failed |
|---|---|---|---|---|---|
END
for package in "$@"; do
  bundles_of "$package"
  # shellcheck disable=SC2016
  LV2_PATH=$work/bundles:$work/vocabularies codes | sed 's/.*/| `&` |/' >"$work/codes"
  grep -F -f "$work/codes" "$work/rows.md" >"$work/rows.$package" || true
  # The outcome is the third cell: "ok", "ok, memory", "crash".
  awk -F ' \\| ' -v package="$package" -v version="$(dpkg-deb -f "$(deb_of "$package")" Version)" '
    { ++all; $3 == "ok" ? ++ok : $3 ~ /^ok/ ? ++remarked : ++failed }
    END { printf "| %s | %s | %d | %d | %d | %d |\n", package, version, all, ok, remarked, failed }' \
    "$work/rows.$package"
done
for package in "$@"; do
  [ -s "$work/rows.$package" ] || continue
  printf '\n## %s\n\n' "$package"
  sed -n '/^| plugin/,/^|---/p' "$work/rows.md"
  cat "$work/rows.$package"
done

cat <<'END'

## Whose fault

Each failure and each kind of remark was looked into, and none is the host's. "Elsewhere": a host of
one file around lilv, which has nothing of vesk in it and was given the same settings.

| what | plugins | why |
|---|---|---|
| refused | the three of so-synth | they want `__powf_finite`, which the C library has no longer; elsewhere too |
| | Rubber Band R3 | described, and not in the library |
| crash | ACE Delay | `Sync BPM` is on and it is told a position without a tempo; elsewhere too, and not with a tempo |
| | ZynReverb | `std::bad_alloc` leaves its run; elsewhere too |
| | synthv1 | not finite elsewhere, at the same settings; at times it crashes here |
| | samplv1 | one life in thirty: it destroys a thread that it has just started; elsewhere 180 of 1,011 times |
| not finite | MDA RezFilter, LS Filter, Flanger, Wave shaper, Multivoice Chorus, Analogue Oscillator, padthv1 | elsewhere too |
| | reverb, Constant Signal Generator; at times DC Offset Remover, MDA Vocoder, Valve saturation | they use memory that they have not written (valgrind; for reverb `MALLOC_PERTURB_=170` elsewhere), so it depends on what was there |
| silent | ACE Fluid Synth, LV2 Convolution | they have no file |
| | LSP's samplers, Calf Fluidsynth, x42 Preset Convolver | the same, but their files have no property, or one of another name than described: only presets and their own interfaces can give them one |
| | Clock Pulse, Clock Square, Vocoder | they wait for a second signal, where hosts of one stereo bus have silence |
| memory | Dragonfly, x42 Instrument Tuner | in the first run that has frames. One such run before the first period would help these six; but 116 of 581 plugins sound different after it |
| | the others | whenever it is due: a setting that changes, a transform, a note |
| latency | Calf, Guitarix, swh and others that report 0 | they have no port for it |
| | Artificial latency | it says something else than it does on purpose |
END
