#pragma once

#include <string>
#include <vector>

#include "tools/program/json.hpp"
#include "tools/render/arguments.hpp"
#include "tools/render/batch_plan.hpp"

namespace vesk::tools {

enum class BatchState {
  written,
  finished,  ///< by an earlier call
  failed,
  not_done,  ///< the program was asked to end before
};

/// What became of one input.
struct BatchResult {
  BatchJob job;
  BatchState state = BatchState::not_done;
  int attempts = 0;
  std::string error;  ///< why it failed
  Json told;          ///< the last attempt's figures and warnings, as `summary_json` has them
};

/// Renders every input by a process of its own, so many at a time as the arguments say, and tells
/// on standard error at once what failed and what was hardly meant.
///
/// A process, not a thread: what reads the input and encodes the output is other people's code, and
/// a file that crashes it must not end the rest. What failed is tried once more, since a plugin may
/// crash or hang by chance; not what was not even begun, as with an input that cannot be read, nor
/// what --strict or --verify has refused.
std::vector<BatchResult> render_batch(const RenderArguments& arguments,
                                      const std::vector<BatchJob>& jobs);

/// 0 when every output is there, otherwise 1.
int status_of(const std::vector<BatchResult>& results);

/// What it came to, in a line for people, or as a JSON object with every input.
std::string batch_text(const RenderArguments& arguments, const std::vector<BatchResult>& results,
                       double seconds);
std::string batch_json(const std::vector<BatchResult>& results, double seconds);

}  // namespace vesk::tools
