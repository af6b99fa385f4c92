#pragma once

// Functions of the host that the unit calls while it renders.

#include <AudioToolbox/AudioUnitProperties.h>

#include <array>
#include <atomic>
#include <memory>
#include <vector>

#include "platform/realtime.hpp"

namespace vesk::lv2 {

/// Keeps records that the render thread reads through one pointer. A record never changes and
/// lives as long as the store, so a pointer that was read a moment ago is always good; equal
/// records are kept once, which bounds the store by what a host ever sets. Control thread.
template <typename Record>
class RecordStore {
 public:
  const Record* keep(const Record& record) {
    for (const auto& known : records_)
      if (*known == record) return known.get();
    return records_.emplace_back(std::make_unique<Record>(record)).get();
  }

 private:
  std::vector<std::unique_ptr<const Record>> records_;
};

/// Where a unit's input comes from: a function, or another unit's output.
struct InputSource {
  AURenderCallback proc = nullptr;
  void* user = nullptr;
  AudioUnit unit = nullptr;
  UInt32 bus = 0;

  bool operator==(const InputSource&) const = default;
};

struct RenderNotify {
  AURenderCallback proc = nullptr;
  void* user = nullptr;

  bool operator==(const RenderNotify&) const = default;
};

/// The functions that are told of each render, before and after.
class RenderNotifies {
 public:
  /// Control thread. False when all 16 places are taken; adding a pair twice does nothing. A pair
  /// that is removed may still be called in the period that is under way.
  bool add(const RenderNotify& notify) {
    const RenderNotify* record = store_.keep(notify);
    std::atomic<const RenderNotify*>* free_place = nullptr;
    for (auto& place : places_) {
      const RenderNotify* held = place.load(std::memory_order_relaxed);
      if (held == record) return true;
      if (held == nullptr && free_place == nullptr) free_place = &place;
    }
    if (free_place == nullptr) return false;
    free_place->store(record, std::memory_order_release);
    return true;
  }
  void remove(const RenderNotify& notify) {
    for (auto& place : places_) {
      const RenderNotify* held = place.load(std::memory_order_relaxed);
      if (held != nullptr && *held == notify) place.store(nullptr, std::memory_order_relaxed);
    }
  }

  /// Render thread; real-time safe as far as the functions are. They get a copy of the flags.
  void call(AudioUnitRenderActionFlags flags, const AudioTimeStamp& time, UInt32 bus, UInt32 frames,
            AudioBufferList& data) const noexcept VESK_REALTIME {
    for (const auto& place : places_) {
      if (const RenderNotify* held = place.load(std::memory_order_acquire)) {
        AudioUnitRenderActionFlags copy = flags;
        held->proc(held->user, &copy, &time, bus, frames, &data);
      }
    }
  }

 private:
  RecordStore<RenderNotify> store_;
  std::array<std::atomic<const RenderNotify*>, 16> places_{};
};

}  // namespace vesk::lv2
