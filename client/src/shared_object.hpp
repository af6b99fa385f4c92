#pragma once

#include <cstddef>
#include <string>

/// What a platform provides for the shared-memory object of a host.
namespace vesk::client {

/// Gives the new object behind `descriptor` `bytes` bytes and reserves the memory for them.
/// False with the cause in `error`: where memory is short this must fail now, since an access to
/// a page that cannot be had later ends the process that makes it.
bool reserve_object(int descriptor, std::size_t bytes, std::string& error);

/// The part of an object's name that belongs to this process: it tells the process by its id and
/// start time, so that a later process of the same id is not taken for it. At most 24 characters
/// (names may have 31 on macOS, leading slash included).
std::string object_owner_tag();

/// Removes objects whose owner has died before its host had mapped them.
void sweep_objects();

}  // namespace vesk::client
