#include "components/lv2/editor/interface_features.hpp"

#include <lv2/atom/atom.h>
#include <lv2/buf-size/buf-size.h>
#include <lv2/instance-access/instance-access.h>
#include <lv2/parameters/parameters.h>

#include "components/lv2/catalogue/interface_kind.hpp"

namespace vesk::lv2 {
namespace {

const InterfaceContext& context_of(void* handle) {
  return *static_cast<const InterfaceContext*>(handle);
}

LV2_URID map_uri(LV2_URID_Map_Handle handle, const char* uri) {
  return context_of(handle).map(uri);
}

const char* unmap_urid(LV2_URID_Unmap_Handle handle, LV2_URID urid) {
  return context_of(handle).unmap(urid);
}

std::uint32_t port_of(LV2UI_Feature_Handle handle, const char* symbol) {
  for (const Port& port : context_of(handle).plugin().ports)
    if (symbol != nullptr && port.symbol == symbol) return port.index;
  return LV2UI_INVALID_PORT_INDEX;
}

// Every change of every port is sent anyway, and an interface leaves alone what it does not know.
std::uint32_t accept_subscription(LV2UI_Feature_Handle, std::uint32_t, std::uint32_t,
                                  const LV2_Feature* const*) {
  return 0;
}

}  // namespace

InterfaceFeatures::InterfaceFeatures(const InterfaceContext& context, unsigned long window,
                                     const InterfaceCallbacks& callbacks)
    : map_{const_cast<InterfaceContext*>(&context), &map_uri},
      unmap_{map_.handle, &unmap_urid},
      log_(context.plugin().name, context.map(LV2_LOG__Trace)),
      resize_{callbacks.controller, callbacks.resize},
      touch_{callbacks.controller, callbacks.touch},
      port_map_{map_.handle, &port_of},
      subscribe_{map_.handle, &accept_subscription, &accept_subscription},
      data_access_{context.extension_data()},
      title_(context.plugin().name),
      title_text_(title_.c_str()),
      external_{callbacks.closed, title_text_},
      sample_rate_(static_cast<float>(context.sample_rate())),
      max_block_(static_cast<std::int32_t>(context.max_frames())) {
  const auto add_option = [&](const char* key, const char* type, const auto& value) {
    options_.push_back(
        {LV2_OPTIONS_INSTANCE, 0, context.map(key), sizeof value, context.map(type), &value});
  };
  add_option(LV2_PARAMETERS__sampleRate, LV2_ATOM__Float, sample_rate_);
  add_option(LV2_BUF_SIZE__minBlockLength, LV2_ATOM__Int, min_block_);
  add_option(LV2_BUF_SIZE__maxBlockLength, LV2_ATOM__Int, max_block_);
  add_option(LV2_UI__updateRate, LV2_ATOM__Float, update_rate_);
  add_option(LV2_UI__scaleFactor, LV2_ATOM__Float, scale_);
  options_.push_back({LV2_OPTIONS_INSTANCE, 0, context.map(LV2_UI__windowTitle),
                      static_cast<std::uint32_t>(title_.size() + 1), context.map(LV2_ATOM__String),
                      title_text_});
  options_.push_back({LV2_OPTIONS_INSTANCE, 0, 0, 0, 0, nullptr});

  features_ = {
      {LV2_URID__map, &map_},
      {LV2_URID__unmap, &unmap_},
      {LV2_OPTIONS__options, options_.data()},
      {LV2_LOG__log, log_.feature()},
      {LV2_UI__idleInterface, nullptr},
      {LV2_UI__resize, &resize_},
      {LV2_UI__portMap, &port_map_},
      {LV2_UI__portSubscribe, &subscribe_},
      {LV2_UI__touch, &touch_},
  };
  const InterfaceKind kind = interface_kind(context.editor().class_uri);
  if (kind == InterfaceKind::x11) {
    // The number itself. NOLINTNEXTLINE(performance-no-int-to-ptr)
    features_.push_back({LV2_UI__parent, reinterpret_cast<void*>(window)});
  }
  if (kind == InterfaceKind::external) features_.push_back({external_host.data(), &external_});
  if (const LV2_Handle handle = context.handle()) {
    features_.push_back({LV2_INSTANCE_ACCESS_URI, handle});
    if (data_access_.data_access != nullptr)
      features_.push_back({LV2_DATA_ACCESS_URI, &data_access_});
  }
  for (const LV2_Feature& feature : features_) list_.push_back(&feature);
  list_.push_back(nullptr);
}

}  // namespace vesk::lv2
