#include "components/lv2/editor/plugin_interface.hpp"

#include <dlfcn.h>
#include <lv2/atom/atom.h>
#include <lv2/patch/patch.h>

#include <bit>
#include <cmath>
#include <cstring>
#include <vector>

#include "components/lv2/editor/x_errors.hpp"

namespace vesk::lv2 {
namespace {

constexpr std::uint32_t thread_slots = 64 * 1024 / 8;
/// A write that is refused is answered with the present value, to which some interfaces answer with
/// the same write.
constexpr int most_answers = 3;

/// What a thread of the interface's leaves for the main one; its data follows.
struct ThreadMessage {
  enum Kind : std::uint32_t { write, grab, release };
  std::uint32_t kind;
  std::uint32_t protocol;
};

/// The library is never closed: toolkits in it leave threads and exit handlers behind.
void* open_library(const Editor& editor, std::string& error) {
  void* image = dlopen(editor.library.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (image == nullptr) {
    // The loader keeps one message a thread. NOLINTNEXTLINE(concurrency-mt-unsafe)
    const char* cause = dlerror();
    error = cause != nullptr ? cause : "its library cannot be opened";
  }
  return image;
}

const LV2UI_Descriptor* find_descriptor(void* image, const std::string& uri) {
  const auto descriptor_at =
      reinterpret_cast<LV2UI_DescriptorFunction>(dlsym(image, "lv2ui_descriptor"));
  for (std::uint32_t index = 0; descriptor_at != nullptr; ++index) {
    const LV2UI_Descriptor* descriptor = descriptor_at(index);
    if (descriptor == nullptr) break;
    if (descriptor->URI != nullptr && uri == descriptor->URI) return descriptor;
  }
  return nullptr;
}

}  // namespace

PluginInterface::PluginInterface(EditorLink& link, PluginArea& area)
    : link_(link),
      area_(area),
      features_(link, area.window(), {this, &resize_callback}, {this, &touch_callback}),
      event_transfer_(link.map(LV2_ATOM__eventTransfer)),
      object_type_(link.map(LV2_ATOM__Object)),
      patch_set_(link.map(LV2_PATCH__Set)),
      patch_put_(link.map(LV2_PATCH__Put)),
      knows_instance_(link.handle() != nullptr),
      from_threads_(thread_slots) {
  for (const Direction direction : {Direction::input, Direction::output}) {
    for (const Port& port : link.plugin().ports)
      if (port.kind == PortKind::control && port.direction == direction)
        controls_.push_back({.port = port.index});
  }
}

std::unique_ptr<PluginInterface> PluginInterface::open(EditorLink& link, PluginArea& area,
                                                       std::string& error) {
  std::unique_ptr<PluginInterface> interface(new PluginInterface(link, area));
  if (!interface->instantiate(error)) return nullptr;
  interface->run([&] { interface->send_values(); });
  return interface;
}

bool PluginInterface::instantiate(std::string& error) {
  const Editor& editor = link_.editor();
  void* image = open_library(editor, error);
  if (image == nullptr) return false;
  // Found in the library itself or in what it is linked with. Without GLX many such interfaces
  // crash rather than fail.
  if (dlsym(image, "glXQueryVersion") != nullptr && !area_.has_glx()) {
    error = "the display shows no OpenGL";
    return false;
  }
  descriptor_ = find_descriptor(image, editor.uri);
  if (descriptor_ == nullptr) {
    error = "its library lacks it";
    return false;
  }
  const bool returned = run([&] {
    handle_ =
        descriptor_->instantiate(descriptor_, link_.plugin().uri.c_str(), editor.bundle.c_str(),
                                 &write_callback, this, &widget_, features_.list());
  });
  if (!returned || handle_ == nullptr) {
    error = !failure_.empty() ? failure_ : "it could not be made";
    return false;
  }
  const auto extension = [&](const char* uri) {
    return descriptor_->extension_data != nullptr ? descriptor_->extension_data(uri) : nullptr;
  };
  idle_ = static_cast<const LV2UI_Idle_Interface*>(extension(LV2_UI__idleInterface));
  resizes_ = static_cast<const LV2UI_Resize*>(extension(LV2_UI__resize));
  return true;
}

PluginInterface::~PluginInterface() {
  if (handle_ == nullptr) return;
  if (!is_abandoned_ && !area_.is_lost()) {
    if (descriptor_->cleanup != nullptr) run([this] { descriptor_->cleanup(handle_); });
    return;
  }
  // Its code cannot be asked to take it down, so it stays until the process ends; kept here, a leak
  // checker knows that this is meant.
  // Being out of memory ends the process anyway.
  // NOLINTNEXTLINE(bugprone-unhandled-exception-at-new)
  static auto* const abandoned = new std::vector<LV2UI_Handle>;
  abandoned->push_back(handle_);
}

/// Runs code of the plugin's. False when it did not come back in order; it is not used again then.
template <typename Work>
bool PluginInterface::run(Work work) {
  struct Frame {
    PluginInterface& self;
    Work& work;
  } frame{*this, work};
  const bool survived = survives_display_loss(
      [](void* context) {
        auto& running = *static_cast<Frame*>(context);
        try {
          running.work();
        } catch (const std::bad_alloc&) {
          throw;
        } catch (const std::exception& exception) {
          running.self.failure_ = *exception.what() != '\0' ? exception.what() : "exception";
        } catch (...) {
          running.self.failure_ = "unknown exception";
        }
      },
      &frame);
  is_abandoned_ |= !survived || !failure_.empty();
  return !is_abandoned_;
}

bool PluginInterface::turn() {
  // The interface has connections of its own, that it must not find broken.
  if (is_abandoned_ || area_.is_lost()) return false;
  area_.read_events();
  bool wants_to_end = false;
  const bool returned = run([&] {
    follow_requests();
    send_events();
    send_values();
    wants_to_end = idle_ != nullptr && idle_->idle(handle_) != 0;
  });
  return returned && !wants_to_end;
}

std::optional<AreaSize> PluginInterface::take_wanted_size() {
  const std::uint64_t wanted = wanted_size_.exchange(0, std::memory_order_relaxed);
  if (wanted == 0) return std::nullopt;
  return AreaSize{static_cast<int>(wanted >> 32), static_cast<int>(wanted & 0xffffffffu)};
}

bool PluginInterface::resize(AreaSize size) {
  if (resizes_ == nullptr || resizes_->ui_resize == nullptr) return false;
  return run([&] { resizes_->ui_resize(handle_, size.width, size.height); });
}

PluginInterface::Known* PluginInterface::known(std::uint32_t port) {
  for (Known& control : controls_)
    if (control.port == port) return &control;
  return nullptr;
}

void PluginInterface::send_values() {
  for (Known& control : controls_) {
    const float value = link_.value(control.port);
    // By bits, since not-a-number differs from itself.
    if (control.is_stale ||
        std::bit_cast<std::uint32_t>(value) != std::bit_cast<std::uint32_t>(control.value)) {
      control.is_stale = false;
      control.value = value;
      send_value(control.port, value);
    }
  }
}

void PluginInterface::send_value(std::uint32_t port, float value) {
  if (descriptor_->port_event != nullptr)
    descriptor_->port_event(handle_, port, sizeof value, 0, &value);
}

void PluginInterface::send_events() {
  link_.receive(
      [](void* context, std::uint32_t port, const LV2_Atom* atom) {
        auto& self = *static_cast<PluginInterface*>(context);
        if (self.descriptor_->port_event != nullptr) {
          self.descriptor_->port_event(self.handle_, port, sizeof(LV2_Atom) + atom->size,
                                       self.event_transfer_, atom);
        }
      },
      this);
}

void PluginInterface::follow_requests() {
  MessageRing::Cursor cursor = from_threads_.begin();
  MessageRing::Message message;
  while (from_threads_.next(cursor, message)) {
    ThreadMessage head;
    std::memcpy(&head, message.data, sizeof head);
    if (head.kind == ThreadMessage::write) {
      write(message.tag, message.size - static_cast<std::uint32_t>(sizeof head), head.protocol,
            message.data + sizeof head);
    } else {
      link_.touch(message.tag, head.kind == ThreadMessage::grab);
    }
    from_threads_.release(cursor);
  }
}

void PluginInterface::write_callback(LV2UI_Controller self, std::uint32_t port, std::uint32_t size,
                                     std::uint32_t protocol, const void* data) {
  auto& interface = *static_cast<PluginInterface*>(self);
  if (data == nullptr || size == 0) return;
  if (!interface.is_foreign_thread()) {
    interface.write(port, size, protocol, data);
    return;
  }
  const ThreadMessage head{ThreadMessage::write, protocol};
  std::vector<std::byte> message(sizeof head + size);
  std::memcpy(message.data(), &head, sizeof head);
  std::memcpy(message.data() + sizeof head, data, size);
  interface.from_threads_.push(port, message.data(), static_cast<std::uint32_t>(message.size()));
}

void PluginInterface::write(std::uint32_t port, std::uint32_t size, std::uint32_t protocol,
                            const void* data) {
  if (protocol == 0 && size == sizeof(float)) {
    float value = 0;
    std::memcpy(&value, data, sizeof value);
    write_value(port, value);
  } else if (protocol == event_transfer_ && size >= sizeof(LV2_Atom)) {
    write_atom(port, size, static_cast<const LV2_Atom*>(data));
  }
}

/// Many interfaces set something by themselves while they open; only what a person does is to
/// change a preset.
void PluginInterface::write_value(std::uint32_t port, float value) {
  Known* control = known(port);
  if (control == nullptr || !std::isfinite(value) ||
      link_.plugin().ports[port].direction != Direction::input) {
    return;
  }
  if (area_.is_touched()) {
    control->value = value;
    link_.set_value(port, value);
  } else if (value != link_.value(port) && control->answers < most_answers) {
    ++control->answers;
    control->is_stale = true;
  }
}

void PluginInterface::write_atom(std::uint32_t port, std::uint32_t size, const LV2_Atom* atom) {
  const bool is_whole = atom->size <= size - sizeof(LV2_Atom);
  if (is_whole && (!is_a_setting(*atom) || area_.is_touched())) link_.send(port, atom);
}

bool PluginInterface::is_a_setting(const LV2_Atom& atom) const {
  if (atom.type != object_type_ || atom.size < sizeof(LV2_Atom_Object_Body)) return false;
  const std::uint32_t type = reinterpret_cast<const LV2_Atom_Object&>(atom).body.otype;
  return type == patch_set_ || type == patch_put_;
}

int PluginInterface::resize_callback(LV2UI_Feature_Handle self, int width, int height) {
  if (width <= 0 || height <= 0) return 1;
  static_cast<PluginInterface*>(self)->wanted_size_.store(
      static_cast<std::uint64_t>(width) << 32 | static_cast<std::uint32_t>(height),
      std::memory_order_relaxed);
  return 0;
}

void PluginInterface::touch_callback(LV2UI_Feature_Handle self, std::uint32_t port, bool grabbed) {
  auto& interface = *static_cast<PluginInterface*>(self);
  if (interface.is_foreign_thread()) {
    const ThreadMessage message{grabbed ? ThreadMessage::grab : ThreadMessage::release, 0};
    interface.from_threads_.push(port, &message, sizeof message);
  } else {
    interface.link_.touch(port, grabbed);
  }
}

}  // namespace vesk::lv2
