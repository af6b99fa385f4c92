#include "components/lv2/instance/features.hpp"

#include <lv2/buf-size/buf-size.h>
#include <lv2/urid/urid.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string_view>
#include <system_error>

#include "components/lv2/instance/event_buffers.hpp"
#include "components/lv2/instance/urid_map.hpp"

// The extensions before atoms are marked as deprecated as a whole; plugins that still need them
// do not become better by our not naming them.
#pragma clang diagnostic push
#pragma clang diagnostic ignored "-Wdeprecated-declarations"
#include <lv2/event/event.h>
#include <lv2/uri-map/uri-map.h>

namespace vesk::lv2 {
namespace {

constexpr std::string_view supported[] = {
    LV2_URID__map,
    LV2_URID__unmap,
    LV2_OPTIONS__options,
    LV2_BUF_SIZE__boundedBlockLength,
    LV2_WORKER__schedule,
    LV2_LOG__log,
    LV2_STATE__mapPath,
    LV2_STATE__makePath,
    LV2_STATE__freePath,
    LV2_STATE__threadSafeRestore,
    LV2_STATE__loadDefaultState,
    LV2_CORE__isLive,
    LV2_CORE__hardRTCapable,
    // Buffers are never shared between input and output here.
    LV2_CORE__inPlaceBroken,
    LV2_URI_MAP_URI,
    LV2_EVENT_URI,
};

std::uint32_t map_for_plugin(LV2_URID_Map_Handle, const char* uri) {
  return map_uri(uri);
}
const char* unmap_for_plugin(LV2_URID_Unmap_Handle, LV2_URID urid) {
  return unmap_urid(urid);
}

std::uint32_t map_in_context(LV2_URI_Map_Callback_Data, const char*, const char* uri) {
  // Event types are 16-bit numbers in the old extension; the table never gives a larger one.
  return map_uri(uri);
}

// No event of ours is anything but plain data, so there is nothing to count.
std::uint32_t count_no_reference(LV2_Event_Callback_Data, LV2_Event*) {
  return 0;
}

LV2_URID_Map g_map{nullptr, &map_for_plugin};
LV2_URID_Unmap g_unmap{nullptr, &unmap_for_plugin};
LV2_URI_Map_Feature g_uri_map{nullptr, &map_in_context};
LV2_Event_Feature g_event{nullptr, &count_no_reference, &count_no_reference};

// Saved paths stay absolute: a preset is for the machine that holds its files.
char* same_path(LV2_State_Map_Path_Handle, const char* path) {
  return path != nullptr ? strdup(path) : nullptr;
}

char* make_path(LV2_State_Make_Path_Handle handle, const char* relative) {
  try {
    std::filesystem::path wanted = relative != nullptr ? relative : "";
    if (wanted.is_relative()) wanted = *static_cast<const std::string*>(handle) / wanted;
    std::error_code ignored;
    std::filesystem::create_directories(wanted.parent_path(), ignored);
    return strdup(wanted.c_str());
  } catch (...) {
    return nullptr;
  }
}

void free_path(LV2_State_Free_Path_Handle, char* path) {
  std::free(path);
}

std::string file_folder(const Description& plugin) {
  const char* data = std::getenv("XDG_DATA_HOME");
  const char* home = std::getenv("HOME");
  const std::string folder = data != nullptr && *data == '/' ? data
                             : home != nullptr               ? std::string(home) + "/.local/share"
                                                             : std::string("/tmp");
  std::string name = plugin.uri;
  for (char& c : name)
    if (c == '/' || c == ':') c = '_';
  return folder + "/vesk/lv2/" + name;
}

}  // namespace

std::vector<std::string> missing_features(const Description& plugin) {
  std::vector<std::string> missing;
  for (const std::string& feature : plugin.required_features)
    if (std::find(std::begin(supported), std::end(supported), feature) == std::end(supported))
      missing.push_back(feature);
  return missing;
}

const LV2_Feature* const* library_features() {
  static const LV2_Feature map{LV2_URID__map, &g_map};
  static const LV2_Feature unmap{LV2_URID__unmap, &g_unmap};
  static const LV2_Feature* const all[] = {&map, &unmap, nullptr};
  return all;
}

Features::Features(const Description& plugin, const BlockOptions& blocks,
                   const LV2_Worker_Schedule& schedule)
    : file_folder_(file_folder(plugin)),
      schedule_(schedule),
      log_(plugin.name, urids().log_trace),
      map_path_{nullptr, &same_path, &same_path},
      make_path_{&file_folder_, &make_path},
      free_path_{nullptr, &free_path},
      max_block_(static_cast<std::int32_t>(blocks.max_frames)),
      sequence_size_(static_cast<std::int32_t>(event_bytes)),
      sample_rate_(static_cast<float>(blocks.sample_rate)) {
  const Urids& ids = urids();
  const auto option = [](LV2_URID key, LV2_URID type, const auto& value) {
    return LV2_Options_Option{LV2_OPTIONS_INSTANCE, 0, key, sizeof value, type, &value};
  };
  options_ = {option(ids.bufsize_min, ids.atom_int, min_block_),
              option(ids.bufsize_max, ids.atom_int, max_block_),
              option(ids.bufsize_nominal, ids.atom_int, max_block_),
              option(ids.bufsize_sequence, ids.atom_int, sequence_size_),
              option(ids.sample_rate, ids.atom_float, sample_rate_),
              LV2_Options_Option{LV2_OPTIONS_INSTANCE, 0, 0, 0, 0, nullptr}};
  storage_ = {
      {LV2_URID__map, &g_map},
      {LV2_URID__unmap, &g_unmap},
      {LV2_OPTIONS__options, options_.data()},
      {LV2_BUF_SIZE__boundedBlockLength, nullptr},
      {LV2_WORKER__schedule, &schedule_},
      {LV2_LOG__log, log_.feature()},
      {LV2_STATE__mapPath, &map_path_},
      {LV2_STATE__makePath, &make_path_},
      {LV2_STATE__freePath, &free_path_},
      {LV2_STATE__threadSafeRestore, nullptr},
      {LV2_STATE__loadDefaultState, nullptr},
      {LV2_CORE__isLive, nullptr},
      {LV2_URI_MAP_URI, &g_uri_map},
      {LV2_EVENT_URI, &g_event},
  };
  for (const LV2_Feature& feature : storage_) {
    instance_.push_back(&feature);
    const std::string_view uri = feature.URI;
    // A restore always runs on an instance that nobody else uses yet: no worker is offered, so
    // that the state is there when it returns.
    if (uri != LV2_WORKER__schedule) state_.push_back(&feature);
  }
  instance_.push_back(nullptr);
  state_.push_back(nullptr);
}

}  // namespace vesk::lv2

#pragma clang diagnostic pop
