#!/usr/bin/env bash
# Dependencies point one way. Each line: a folder, then the folders of ours it may include from.
cd "$(dirname "${BASH_SOURCE[0]}")/.." || exit
status=0
allow() {
  local folder=$1 allowed=$2 found
  [ -d "$folder" ] || { echo "there is no folder $folder"; status=1; return; }
  found=$(grep -rnE '#\s*(include|import)\s+"[a-z_0-9]+/' --include='*.[ch]pp' --include='*.h' --include='*.mm' --include='*.m' --include='*.c' "$folder" |
    grep -vE "#\s*(include|import)\s+\"($allowed)")
  [ -z "$found" ] || { echo "$folder may include from ($allowed) only:"; echo "$found"; status=1; }
}
allow spec       'spec/|platform/'
allow plugin     'plugin/|spec/|platform/'
allow windows    'windows/|platform/'
allow host       'host/|plugin/|spec/|windows/|platform/'
allow client     'vesk/|client/src/|host/block.hpp|host/atomics.hpp|spec/chain_text.hpp|platform/realtime.hpp'

lv2=components/lv2
support=components/unit_support
between_threads="$support/(diagnostics|exchange_slot|message_ring|midi_queue|signal).hpp"
allow $lv2/catalogue "$lv2/catalogue/|platform/"
allow $lv2/scan      "$lv2/(scan|catalogue)/|platform/"
allow $support       "$support/|platform/"
allow $lv2/instance  "$lv2/(instance|catalogue)/|$between_threads|platform/"
allow $lv2/unit      "$lv2/(unit|instance|catalogue)/|$support/|platform/"
allow $lv2/editor    "$lv2/editor/|$lv2/unit/editor_link.hpp|$lv2/instance/plugin_log.hpp|$between_threads|$lv2/catalogue/(bytes|child_process|file|interface_kind|record).hpp|platform/"
allow $lv2/helper    "$lv2/(helper|editor)/|$lv2/unit/editor_link.hpp|$lv2/catalogue/(interface_kind|record).hpp|platform/"
allow $lv2           "$lv2/|$support/|platform/"
# What is known about plugins, and one that runs, could serve any kind of host.
found=$(grep -rnE '#\s*include\s+<(AudioToolbox|CoreFoundation)/' $lv2/{catalogue,scan,instance})
[ -z "$found" ] || { echo "Audio Units below $lv2/unit:"; echo "$found"; status=1; }

sampler=components/sampler
allow $sampler/instrument "$sampler/instrument/|platform/"
allow $sampler/samples    "$sampler/(samples|instrument)/|$support/signal.hpp|platform/"
allow $sampler/voices     "$sampler/((voices|samples|instrument)/|player.hpp)|platform/"
allow $sampler/soundfont  "$sampler/(soundfont/|player.hpp)|platform/"
allow $sampler/unit       "$sampler/(unit/|soundfont/soundfont.hpp|voices/exs_sound.hpp|player.hpp)|$support/|platform/"
allow $sampler            "$sampler/|$support/|platform/"
found=$(grep -rnE '#\s*include\s+<(AudioToolbox|CoreFoundation)/' $sampler/{instrument,samples,voices,soundfont})
[ -z "$found" ] || { echo "Audio Units below $sampler/unit:"; echo "$found"; status=1; }

allow tools/program  'tools/program/|spec/chain_text.hpp'
allow tools/parameters 'tools/(parameters|program)/|spec/|platform/(cf_text|parameter_symbol|unit_extras).hpp'
allow tools/naming   'tools/(naming|parameters|program)/|spec/'
allow tools/hosting  'tools/(hosting|program)/|vesk/|spec/chain_text.hpp'
allow tools/midi     'tools/(midi|program)/|vesk/|host/block.hpp|platform/realtime.hpp'
allow tools/audio    'tools/(audio|program)/'
allow tools/render   'tools/(render|audio|hosting|midi|parameters|program)/|vesk/|spec/chain_text.hpp|host/block.hpp'
allow tools/live     'tools/(live|hosting|midi|naming|program)/|vesk/|spec/(chain_text|catalogue).hpp|host/block.hpp|platform/realtime.hpp'
allow tools/edit     'tools/(edit|audio|hosting|live|midi|parameters|program)/|vesk/|spec/chain_text.hpp|host/block.hpp'
allow tools/list     'tools/(list|naming|parameters|program)/|spec/|components/sampler/instrument/'
allow tools/soak     'tools/(soak|hosting|naming|parameters|program)/|vesk/|spec/|plugin/audio_unit_plugin.hpp|host/block.hpp'
allow tools/doctor   'tools/(doctor|program)/|platform/linux/mach/realtime_kit.hpp'
allow tools/play     'tools/(play|live|program)/|vesk/'

# The layer knows nothing of the system, but for the windows that its proxy stands in for.
found=$(grep -rnE '#\s*(include|import)\s+"(host|spec|plugin|windows|client|tools|components)/' platform |
  grep -vE '^platform/linux/(window_proxy|app_kit)/[^:]*:[0-9]+:#\s*(include|import)\s+"windows/(windows.hpp|window_delegate.h)"')
[ -z "$found" ] || { echo "the layer includes from the system:"; echo "$found"; status=1; }
# The system never includes a private header of the layer or of a component, with two exceptions.
# What an instrument file holds is knowledge of a format and no component's: vesk-list shows it
# without a unit around it. And the doctor tells what the layer finds.
found=$(grep -rnE '#\s*(include|import)\s+"(platform/linux|components)/' host spec plugin windows client tools |
  grep -vE '^tools/list/[^:]*:[0-9]+:#\s*include\s+"components/sampler/instrument/' |
  grep -vE '^tools/doctor/[^:]*:[0-9]+:#\s*include\s+"platform/linux/mach/realtime_kit.hpp"')
[ -z "$found" ] || { echo "private headers of the layer in the system:"; echo "$found"; status=1; }
# The parser of chain texts stands in programs that have neither an SDK nor the layer.
found=$(grep -nE '#\s*include\s+(<[A-Z]|"platform/|"spec/(catalogue|plugin_spec))' spec/chain_text.?pp spec/four_cc.?pp)
[ -z "$found" ] || { echo "types of the system in the parser of chain texts:"; echo "$found"; status=1; }
exit $status
