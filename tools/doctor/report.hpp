#pragma once

#include <string>

#include "tools/doctor/grant.hpp"
#include "tools/doctor/judge.hpp"

namespace vesk::tools {

/// For people: a table, what periods mean, what mends what.
std::string doctor_text(const Diagnosis& diagnosis, const Grant& grant);

/// The same for programs.
std::string doctor_json(const Diagnosis& diagnosis, const Grant& grant);

}  // namespace vesk::tools
