#pragma once

/* The form of release builds: a status that is not 0 is passed over. */

#define verify_noerr(status) \
  do {                       \
    if ((status) != 0) {     \
    }                        \
  } while (0)
