#pragma once

// Reading in processes that may die.
//
// A list of jobs is cut into chunks, each done by a forked child that reports every result through
// a pipe. A child that crashes, or hangs over one job, costs that job; another child goes on with
// the rest of its chunk.

#include <functional>
#include <string>
#include <vector>

#include "components/lv2/catalogue/byte_stream.hpp"

namespace vesk::lv2::scan {

struct Job {
  enum class Kind { map, describe, preset };

  Kind kind = Kind::map;
  std::string bundle;
  std::vector<std::string> extra_bundles;  ///< describe: more presets; preset: its own
  std::string uri{};                       ///< the plugin
  std::string preset{};
};

struct JobResult {
  Bytes payload;        ///< what `perform` made of it; empty after a failure
  std::string failure;  ///< "crashed its reader (Segmentation fault)"; empty after success
  std::string noise;    ///< what libraries printed meanwhile, 4 KiB at most
};

/// Called in this process after each job, with its number in the list.
using JobDone = std::function<void(std::size_t job, const JobResult& result)>;

/// Does all jobs, on as many processors as there are. Jobs of one bundle are best neighbours.
void run_jobs(const std::vector<Job>& jobs, std::size_t jobs_a_chunk, const JobDone& done);

}  // namespace vesk::lv2::scan
