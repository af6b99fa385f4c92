#pragma once

#include <chrono>
#include <functional>
#include <string>
#include <vector>

#include "spec/chain_text.hpp"
#include "tools/parameters/description.hpp"
#include "tools/soak/levels.hpp"
#include "tools/soak/result.hpp"

namespace vesk::tools {

/// Of all stages but those that try others, in Hz.
constexpr int usual_rate = 48'000;

struct SoakSettings {
  int level = 5;
  std::chrono::seconds limit{300};    ///< for a whole life
  std::chrono::seconds patience{20};  ///< for a load, a period, an answer to a question
  std::vector<std::string> stages;    ///< those to go through; empty for all of the level
  bool opens_editors = false;
  std::vector<std::string> editor_environment;  ///< where the display is
};

/// A component to soak.
struct Candidate {
  ChainElement element;
  std::string name;
  bool is_delay = false;  ///< it says of itself that sound comes out later than it went in
};

/// One component's life while it goes on: what its stages share. One thread.
struct Life {
  Life(const SoakSettings& wanted, const Candidate& candidate, std::string scratch_folder,
       std::function<void(const std::string& stage)> tell);

  /// Begins a stage; false when the life has to end, because time is up or the program is.
  bool begin(const std::string& name);
  /// Fills `parameters` once; false when that has ended the life.
  bool ask_parameters();
  /// Ends the life and says why, unless it has ended before. Always false.
  bool end(Outcome outcome, const std::string& why);
  /// Ends it by what became of another process that had loaded the component: since a host has done
  /// so before, it is no refusal. Always false.
  bool end_question(const std::string& error);
  void remark(const std::string& kind, const std::string& text, bool is_fault);
  /// Ends the life as `unfinished` when its time is up or the program is interrupted.
  bool is_in_time();

  const SoakSettings& settings;
  const Level& level;
  const ChainElement& element;
  const bool is_delay;
  const std::string folder;  ///< its own, empty at the start
  std::vector<ParameterDescription> parameters;
  std::string preset_path;  ///< a state that it has saved; empty for none
  std::string setting;      ///< what its parameters are just set to, in words
  float peak = 0;           ///< of all that it has played
  bool has_played = false;
  SoakResult result;

 private:
  std::function<void(const std::string& stage)> tell_;
  std::string stage_;
  std::chrono::steady_clock::time_point start_;
  bool has_parameters_ = false;
  bool has_ended_ = false;
};

/// What a life consists of, in its order.
std::vector<std::string> stage_names();

/// Takes a component through the life that the level asks for.
SoakResult soak(const SoakSettings& settings, const Candidate& candidate,
                const std::string& scratch_folder,
                const std::function<void(const std::string& stage)>& tell);

}  // namespace vesk::tools
