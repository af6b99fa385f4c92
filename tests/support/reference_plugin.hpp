#pragma once

#include <lilv/lilv.h>

#include <memory>
#include <span>
#include <string>
#include <vector>

#include "host/block.hpp"

namespace vesk::reference {

/// The reference for LV2 plugins: one run through lilv in this process, without anything of ours.
class ReferencePlugin {
 public:
  /// Null, with a sentence on standard error, when there is no such plugin.
  static std::unique_ptr<ReferencePlugin> load(LilvWorld* world, const std::string& uri,
                                               double sample_rate, unsigned max_frames);
  ~ReferencePlugin();
  ReferencePlugin(const ReferencePlugin&) = delete;
  ReferencePlugin& operator=(const ReferencePlugin&) = delete;

  /// Runs a period; `events` become an atom sequence. Reads `input`, writes `output`.
  void run(std::uint32_t frames, std::span<const host::MidiEvent> events);

  std::vector<float> input[2];
  std::vector<float> output[2];

 private:
  ReferencePlugin() = default;
  void write_sequence(std::span<const host::MidiEvent> events);

  LilvInstance* instance_ = nullptr;
  std::vector<float> controls_;
  std::vector<std::uint64_t> sequence_;  // 8-byte aligned, as atoms are
  std::vector<std::vector<std::uint64_t>> atom_outputs_;
};

}  // namespace vesk::reference
