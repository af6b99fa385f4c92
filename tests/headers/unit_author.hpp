#pragma once

/// What is wrong with the names that the sources of Audio Unit libraries take from the headers,
/// through the headers that these include; null when nothing is.
const char* unit_author_fault();

/// The same of older units in C.
extern "C" const char* older_unit_fault(void);
