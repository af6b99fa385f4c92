#pragma once

#include <optional>
#include <string>
#include <vector>

#include "tools/render/arguments.hpp"

namespace vesk::tools {

/// One input of many.
struct BatchJob {
  std::string input;
  std::string output;  ///< below the folder of outputs
};

/// Names an output for every input: the input's own name with the format's ending, in the folder of
/// outputs or, where the arguments keep folders, in the input's folder below that. What an output
/// is called depends on its input alone, so that a later call with other inputs finds it again.
///
/// Empty with a sentence in `error`: two inputs would be written to one file, one would be written
/// over, or one is no file's name.
std::optional<std::vector<BatchJob>> plan_batch(const RenderArguments& arguments,
                                                std::string& error);

}  // namespace vesk::tools
