#include "host/chain.hpp"

#include <cstdio>
#include <utility>

#include "platform/plugin_call.hpp"

namespace vesk::host {
namespace {

bool load_element(const std::string& text, double sample_rate, unsigned max_frames, Block& block,
                  Chain& chain, std::string& error) {
  auto spec = PluginSpec::parse(text, error);
  if (!spec) return false;

  if (chain.plugins.empty()) {
    chain.first_is_effect = spec->is_effect();
  } else if (!spec->is_effect()) {
    error = spec->name + " is not an effect, so can only start a chain";
    return false;
  }

  const auto index = static_cast<unsigned>(chain.plugins.size());
  chain.plugins.push_back(std::make_unique<AudioUnitPlugin>(*std::move(spec), false));
  AudioUnitPlugin& plugin = *chain.plugins.back();
  const platform::PluginCall call(index, "load");
  if (!plugin.load(sample_rate, max_frames, error)) {
    error = plugin.spec().name + ": " + error;
    return false;
  }
  block.instantiate_ms_total += plugin.timings().instantiate_ms;
  block.initialize_ms_total += plugin.timings().initialize_ms;
  block.restore_ms_total += plugin.timings().restore_ms;
  block.latency_seconds_total += plugin.latency_seconds();
  return true;
}

}  // namespace

void Chain::dispose() {
  for (unsigned i = 0; i < plugins.size(); ++i) {
    const platform::PluginCall call(i, "dispose");
    plugins[i]->detach();
    plugins[i]->dispose();
  }
}

Chain::~Chain() {
  while (!plugins.empty()) {
    const platform::PluginCall call(static_cast<unsigned>(plugins.size() - 1), "dispose");
    plugins.pop_back();
  }
}

bool load_chain(const std::string& text, double sample_rate, unsigned max_frames, Block& block,
                Chain& chain, std::string& error) {
  for (const std::string& element : PluginSpec::split_chain(text))
    if (!load_element(element, sample_rate, max_frames, block, chain, error)) return false;
  return true;
}

void publish_failure(Block& block, const std::string& error) {
  std::snprintf(block.error, sizeof block.error, "%s", error.c_str());
  // Release: the text, before the state that says it is there.
  store_release(block.state, failed);
}

void publish_ready(Block& block) {
  // Release: the totals, before the state that says they are complete.
  store_release(block.state, ready);
}

}  // namespace vesk::host
