#pragma once

#include <string>
#include <vector>

#include "tools/soak/result.hpp"

namespace vesk::tools {

/// An outcome in a word or two.
const char* words_of(Outcome outcome);

/// Whether a component has passed: it lived to the end without a fault, and without any remark
/// where `is_strict`.
bool has_passed(const SoakResult& result, bool is_strict);

/// The outcome; for a life that went to its end the kinds of remarks beside it.
std::string summary_of(const SoakResult& result);

/// "12 of 14 passed: 12 ok, 1 silent, 1 crash".
std::string totals_of(const std::vector<SoakResult>& results, bool is_strict);

}  // namespace vesk::tools
