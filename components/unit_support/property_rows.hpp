#pragma once

// A unit's properties as a table: one row each, with what reads and what writes it.

#include <AudioToolbox/AudioToolbox.h>

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <iterator>

namespace vesk {

constexpr unsigned scope_bit(AudioUnitScope scope) {
  return 1u << scope;
}

/// Where a call is about.
struct PropertyPlace {
  AudioUnitScope scope;
  AudioUnitElement element;
};

template <typename Unit>
struct PropertyRow {
  AudioUnitPropertyID id;
  UInt32 size;
  unsigned scopes = scope_bit(kAudioUnitScope_Global);
  bool is_of_parameter = false;                            ///< the element is a parameter
  bool (*exists)(const Unit&) = nullptr;                   ///< null: always
  OSStatus (*get)(Unit&, PropertyPlace, void*) = nullptr;  ///< into `size` bytes
  OSStatus (*set)(Unit&, const void*) = nullptr;           ///< from `size` bytes
  std::size_t (*count)(const Unit&) = nullptr;             ///< of a list, of items of `size`

  UInt32 bytes(const Unit& unit) const {
    return count != nullptr ? static_cast<UInt32>(count(unit) * size) : size;
  }
};

/// A property's value out of a caller's memory, which need not be aligned.
template <typename T>
T read_value(const void* data) {
  T value;
  std::memcpy(static_cast<void*>(&value), data, sizeof(T));
  return value;
}

template <typename T>
OSStatus answer(void* data, const T& value) {
  std::memcpy(data, static_cast<const void*>(&value), sizeof(T));
  return noErr;
}

/// The three property calls of a unit, from a table: `Table::rows`, an array of PropertyRow<Unit>;
/// `Table::has_parameter(unit, id)`; `Table::buses(unit, scope)`, how many elements a scope has.
template <typename Unit, typename Table>
struct PropertyCalls {
  using Row = PropertyRow<Unit>;

  static OSStatus info(const Unit& unit, AudioUnitPropertyID id, PropertyPlace place, UInt32* size,
                       Boolean* writable) {
    const Row* row = nullptr;
    if (const OSStatus status = locate(unit, id, place, &row); status != noErr) return status;
    if (size != nullptr) *size = row->bytes(unit);
    if (writable != nullptr) *writable = row->set != nullptr;
    return noErr;
  }

  static OSStatus get(Unit& unit, AudioUnitPropertyID id, PropertyPlace place, void* data,
                      UInt32* size) {
    const Row* row = nullptr;
    if (const OSStatus status = locate(unit, id, place, &row); status != noErr) return status;
    if (row->get == nullptr) return kAudioUnitErr_InvalidProperty;
    if (data == nullptr || size == nullptr) return kAudio_ParamError;
    if (*size < row->bytes(unit)) return kAudioUnitErr_InvalidPropertyValue;
    *size = row->bytes(unit);
    return row->get(unit, place, data);
  }

  static OSStatus set(Unit& unit, AudioUnitPropertyID id, PropertyPlace place, const void* data,
                      UInt32 size) {
    const Row* row = nullptr;
    if (const OSStatus status = locate(unit, id, place, &row); status != noErr) return status;
    if (row->set == nullptr) return kAudioUnitErr_PropertyNotWritable;
    if (data == nullptr || size < row->size) return kAudioUnitErr_InvalidPropertyValue;
    return row->set(unit, data);
  }

 private:
  static OSStatus locate(const Unit& unit, AudioUnitPropertyID id, PropertyPlace place,
                         const Row** row) {
    *row = std::find_if(std::begin(Table::rows), std::end(Table::rows),
                        [id](const Row& candidate) { return candidate.id == id; });
    if (*row == std::end(Table::rows) || ((*row)->exists != nullptr && !(*row)->exists(unit)))
      return kAudioUnitErr_InvalidProperty;
    if (place.scope > kAudioUnitScope_Output || ((*row)->scopes & scope_bit(place.scope)) == 0)
      return kAudioUnitErr_InvalidScope;
    if ((*row)->is_of_parameter)
      return Table::has_parameter(unit, place.element) ? OSStatus{noErr}
                                                       : OSStatus{kAudioUnitErr_InvalidParameter};
    const bool is_there = id == kAudioUnitProperty_ElementCount
                              ? place.element == 0
                              : place.element < Table::buses(unit, place.scope);
    return is_there ? OSStatus{noErr} : OSStatus{kAudioUnitErr_InvalidElement};
  }
};

}  // namespace vesk
