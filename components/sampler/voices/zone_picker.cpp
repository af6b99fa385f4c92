#include "components/sampler/voices/zone_picker.hpp"

#include <algorithm>

namespace vesk::sampler {
namespace {

using Kind = GroupCondition::Kind;

}  // namespace

void MidiState::reset() noexcept VESK_REALTIME {
  controllers.fill(0);
  controllers[7] = controllers[11] = 127;
  controllers[10] = 64;
  bend = 0;
  pressure = 0;
  key_pressures.fill(0);
}

ZonePicker::ZonePicker(const Instrument& instrument, const SampleSet& samples)
    : instrument_(instrument) {
  for (const bool is_release : {false, true}) {
    KeyLists& list = lists_[is_release ? 1 : 0];
    for (int key = 0; key < 128; ++key) {
      // The key as it is struck: a list has what its transposition matches.
      const int sounding = key + instrument.settings.transpose;
      for (std::size_t i = 0; i < instrument.zones.size(); ++i) {
        const Zone& zone = instrument.zones[i];
        const Group* group = zone.group ? &instrument.groups[*zone.group] : nullptr;
        if (sounding >= zone.keys.low && sounding <= zone.keys.high && samples.has(i) &&
            (group == nullptr ? !is_release
                              : !group->is_muted && group->sounds_on_release == is_release))
          list.zones.push_back(static_cast<std::uint32_t>(i));
      }
      list.starts[key + 1] = static_cast<std::uint32_t>(list.zones.size());
    }
  }
  make_chains();
  bool has_switch = false;
  for (const Group& group : instrument.groups) {
    if (group.condition.kind != Kind::note) continue;
    const unsigned key = group.condition.number & 127u;
    is_switch_[key] = true;
    if (!has_switch) first_switch_ = key;
    has_switch = true;
  }
  reset();
}

/// Follows the links from each group that no walk has come to. A walk that does not come back to
/// its beginning starts over there.
void ZonePicker::make_chains() {
  const auto& groups = instrument_.groups;
  turns_.resize(groups.size());
  std::vector<bool> is_known(groups.size());
  for (std::size_t first = 0; first < groups.size(); ++first) {
    if (groups[first].condition.kind != Kind::round_robin || is_known[first]) continue;
    const auto begin = static_cast<std::uint32_t>(first);
    const auto chain = static_cast<std::uint32_t>(chains_.size());
    chains_.push_back({begin, begin});
    for (std::size_t group = first;;) {
      is_known[group] = true;
      turns_[group] = {chain, begin};
      const auto next = groups[group].next_in_turn;
      if (!next || is_known[*next] || groups[*next].condition.kind != Kind::round_robin) break;
      turns_[group].next = static_cast<std::uint32_t>(*next);
      group = *next;
    }
  }
  struck_chains_.resize(chains_.size());
}

void ZonePicker::strike(unsigned key) noexcept VESK_REALTIME {
  if (is_switch_[key]) last_switch_ = key;
}

bool ZonePicker::is_met(std::size_t index, unsigned channel,
                        const MidiState& midi) noexcept VESK_REALTIME {
  const GroupCondition& condition = instrument_.groups[index].condition;
  switch (condition.kind) {
    case Kind::always:
      break;
    case Kind::note:
      return condition.number == last_switch_;
    case Kind::controller:
      return condition.values.holds(midi.controllers[condition.number & 127u]);
    case Kind::bend:
      return condition.values.holds(static_cast<unsigned>(midi.bend + 8192) >> 7);
    case Kind::channel:
      return condition.values.holds(channel + 1);
    case Kind::round_robin: {
      const std::uint32_t number = turns_[index].chain;
      Chain& chain = chains_[number];
      if (!chain.was_struck) struck_chains_[struck_count_++] = number;
      chain.was_struck = true;
      return chain.turn == index;
    }
  }
  return true;
}

void ZonePicker::take_turns() noexcept VESK_REALTIME {
  for (; struck_count_ > 0; --struck_count_) {
    Chain& chain = chains_[struck_chains_[struck_count_ - 1]];
    chain.turn = turns_[chain.turn].next;
    chain.was_struck = false;
  }
}

void ZonePicker::reset() noexcept VESK_REALTIME {
  last_switch_ = first_switch_;
  for (Chain& chain : chains_) chain.turn = chain.first;
}

}  // namespace vesk::sampler
