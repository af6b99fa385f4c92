#include "components/sampler/voices/exs_sound.hpp"

#include "components/sampler/instrument/exs_reader.hpp"
#include "components/sampler/instrument/sample_search.hpp"
#include "components/sampler/samples/sample_set.hpp"
#include "components/sampler/voices/zone_sound.hpp"

namespace vesk::sampler {

std::unique_ptr<InstrumentSound> load_exs_sound(const std::string& path, std::string& error) {
  auto instrument = read_exs_file(path, error);
  if (!instrument) return nullptr;
  auto samples = SampleSet::load(*instrument, find_samples(*instrument, path), default_budget());
  const auto missing = samples->missing();
  bool is_heard = false;
  for (std::size_t zone = 0; zone < instrument->zones.size(); ++zone)
    is_heard = is_heard || samples->has(zone);
  if (!is_heard) {
    error = path + ": none of its samples was found";
    if (!missing.empty())
      error += ", the first is " + instrument->samples[missing.front()].file_name;
    return nullptr;
  }
  return std::make_unique<ZoneSound>(std::move(*instrument), std::move(samples));
}

}  // namespace vesk::sampler
