#pragma once

#include <cstddef>

namespace vesk::tests {

/// Names everything that the sources of Audio Unit libraries take from the headers, through the
/// headers that these include; returns how many names that are. Its calls are linked, not made.
std::size_t count_what_unit_authors_use();

}  // namespace vesk::tests

/// What is wrong with the names that older units in C use, or NULL.
extern "C" const char* older_unit_fault(void);
