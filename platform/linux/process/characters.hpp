#pragma once

namespace vesk::platform {

/// Lets the calling thread read and write text as the environment says (LC_CTYPE), for toolkits
/// that ask; numbers and messages stay those of "C". Not done at a host's start, since it opens
/// the files of a locale that a host without editors has no use for.
void follow_environment_characters();

}  // namespace vesk::platform
