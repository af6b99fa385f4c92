#pragma once

// Reading in processes that may die.
//
// A list of jobs is cut into batches, each done by a forked reader that leaves every result in a
// file in memory. A reader that crashes, or hangs over one job, costs that job; another goes on
// with the rest of its batch.

#include <functional>
#include <string>
#include <vector>

#include "components/lv2/catalogue/bytes.hpp"
#include "components/lv2/scan/bundle_reader.hpp"

namespace vesk::lv2::scan {

/// One reading, done in another process: what it returns is all that comes back.
using Job = std::function<Bytes(BundleReader& reader)>;

struct JobResult {
  Bytes payload;            ///< what the job returned; empty after a failure
  std::string failure;      ///< "crashed its reader (Segmentation fault)"; empty after success
  bool is_passing = false;  ///< the failure is not the job's own: another try may do better
  std::string printed;      ///< by lilv meanwhile, 4 KiB at most
};

/// Called in this process once for each job, with its number in the list.
using JobDone = std::function<void(std::size_t job, const JobResult& result)>;

/// Small enough that two processors share the one bundle that holds a fifth of all plugins.
inline constexpr std::size_t usual_batch = 24;

/// Does all jobs, on as many processors as there are. Jobs of one bundle are best neighbours; a
/// reader does `batch` of them at most.
/// A reader is given up after `patience_s` seconds without a result; the slowest description known
/// takes 0.1 s on a busy machine.
void run_jobs(const std::vector<Job>& jobs, const JobDone& done, int patience_s = 20,
              std::size_t batch = usual_batch);

}  // namespace vesk::lv2::scan
