#include "components/sampler/voices/zone_sound.hpp"

#include "components/sampler/voices/zone_player.hpp"

namespace vesk::sampler {

ZoneSound::ZoneSound(Instrument instrument, std::shared_ptr<SampleSet> samples)
    : instrument_(std::make_shared<const Instrument>(std::move(instrument))),
      samples_(std::move(samples)) {}

Controls ZoneSound::controls() const {
  const Settings& settings = instrument_->settings;
  return {.gain_db = settings.gain_db,
          .tune_cents = settings.tune_cents,
          .pan = settings.pan,
          .polyphony = settings.polyphony,
          .attack = settings.envelope.attack,
          .release = settings.envelope.release};
}

std::unique_ptr<Player> ZoneSound::make_player(double sample_rate, unsigned, std::string&) {
  return std::make_unique<ZonePlayer>(instrument_, samples_, controls(), sample_rate);
}

std::string ZoneSound::remark() const {
  const auto missing = samples_->missing();
  if (missing.empty()) return {};
  return std::to_string(missing.size()) + " of " + std::to_string(instrument_->samples.size()) +
         " samples are missing, the first is " + instrument_->samples[missing.front()].file_name;
}

}  // namespace vesk::sampler
