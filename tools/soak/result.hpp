#pragma once

#include <optional>
#include <string>
#include <vector>

namespace vesk::tools {

/// How a component's life ended. All but `ok` are failures.
enum class Outcome {
  ok,
  refused,     ///< it cannot be loaded, and says so
  silent,      ///< it never made a sound
  not_finite,  ///< samples that are infinite or not numbers
  crash,       ///< its process ended by itself
  hang,        ///< a period, a load or a question was not answered
  unfinished,  ///< the whole took longer than its limit
};

/// Something that did not end the life.
struct Remark {
  std::string kind;  ///< memory, lock, file, wait, state, bytes, latency, denormals, load, editor
  std::string text;
  bool is_fault = false;  ///< else worth knowing
};

/// Answer times in real time pace, in per cent of a period.
struct Load {
  double median = 0;
  double most_of_hundred = 0;  ///< 99 of a hundred periods take no longer
  double most = 0;
};

/// What became of one component.
struct SoakResult {
  std::string specification;
  std::string name;
  Outcome outcome = Outcome::ok;
  std::string reason;  ///< of a failure: one sentence with the stage in which it came
  std::vector<Remark> remarks;
  std::optional<Load> load;
  double reported_latency_frames = 0;
  std::optional<double> measured_latency_frames;
  std::optional<double> tail_cost;  ///< time of a period of silence after sound, sound's being 1
  bool was_watched = false;         ///< what it calls in its periods was counted
  bool editor_was_opened = false;
  double seconds = 0;
};

}  // namespace vesk::tools
