#pragma once

// Where the samples of an instrument lie on this disk. Instruments hold the paths of the machine
// that they were made on; libraries are moved as folders, and their parts keep their places.

#include <string>
#include <vector>

#include "components/sampler/instrument/instrument.hpp"

namespace vesk::sampler {

/// A file for each of `instrument.samples`, empty where there is none. Looked for, without regard
/// to case and accents, at the path that the instrument says; then, by as many of the last parts of
/// that path as fit, in the instrument's folder and up to six above, and in the folders `Samples`,
/// `Audio` and `Sounds` of each; then, by name, among the first 50,000 files in the tree two
/// folders above; at last everywhere with the other extensions of audio files. A file that shares
/// nothing but the name and has another length or rate than the instrument says is the last choice.
/// Reads folders and headers of audio files: takes its time.
std::vector<std::string> find_samples(const Instrument& instrument,
                                      const std::string& instrument_path);

}  // namespace vesk::sampler
