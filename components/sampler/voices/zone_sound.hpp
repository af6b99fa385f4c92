#pragma once

#include <memory>
#include <string>

#include "components/sampler/instrument/instrument.hpp"
#include "components/sampler/player.hpp"
#include "components/sampler/samples/sample_set.hpp"

namespace vesk::sampler {

/// An instrument of zones, loaded.
class ZoneSound final : public InstrumentSound {
 public:
  ZoneSound(Instrument instrument, std::shared_ptr<SampleSet> samples);

  Controls controls() const override;
  std::unique_ptr<Player> make_player(double sample_rate, unsigned max_frames,
                                      std::string& error) override;
  std::string remark() const override;

 private:
  std::shared_ptr<const Instrument> instrument_;
  std::shared_ptr<SampleSet> samples_;
};

}  // namespace vesk::sampler
