#include "components/lv2/editor/loaded_interface.hpp"

#include <dlfcn.h>

#include <cstring>
#include <exception>
#include <new>
#include <vector>

#include "components/lv2/editor/x_errors.hpp"

namespace vesk::lv2 {
namespace {

constexpr std::uint32_t thread_slots = 64 * 1024 / 8;

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

LoadedInterface::LoadedInterface(const InterfaceContext& context, InterfaceListener& listener,
                                 const InterfacePlace& place)
    : listener_(listener),
      features_(context, place.window,
                {.controller = this,
                 .resize = &resize_callback,
                 .touch = &touch_callback,
                 .closed = &closed_callback}),
      event_transfer_(context.map(LV2_ATOM__eventTransfer)),
      knows_instance_(context.handle() != nullptr),
      from_threads_(thread_slots) {}

std::unique_ptr<LoadedInterface> LoadedInterface::open(const InterfaceContext& context,
                                                       InterfaceListener& listener,
                                                       const InterfacePlace& place,
                                                       std::string& error) {
  std::unique_ptr<LoadedInterface> interface(new LoadedInterface(context, listener, place));
  if (!interface->instantiate(context, place, error)) return nullptr;
  return interface;
}

bool LoadedInterface::instantiate(const InterfaceContext& context, const InterfacePlace& place,
                                  std::string& error) {
  const Editor& editor = context.editor();
  void* image = open_library(editor, error);
  if (image == nullptr) return false;
  // Found in the library itself or in what it is linked with. Without GLX many such interfaces
  // crash rather than fail.
  if (dlsym(image, "glXQueryVersion") != nullptr && !place.has_gl) {
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
        descriptor_->instantiate(descriptor_, context.plugin().uri.c_str(), editor.bundle.c_str(),
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

LoadedInterface::~LoadedInterface() {
  if (handle_ == nullptr) return;
  if (!is_abandoned_ && !any_display_has_gone()) {
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

bool LoadedInterface::run_guarded(void (*work)(void* context), void* context) {
  if (is_abandoned_) return false;
  struct Frame {
    LoadedInterface& self;
    void (*work)(void*);
    void* context;
  } frame{*this, work, context};
  const bool survived = survives_display_loss(
      [](void* running) {
        auto& [self, code, argument] = *static_cast<Frame*>(running);
        try {
          code(argument);
        } catch (const std::bad_alloc&) {
          throw;
        } catch (const std::exception& exception) {
          self.failure_ = *exception.what() != '\0' ? exception.what() : "exception";
        } catch (...) {
          self.failure_ = "unknown exception";
        }
      },
      &frame);
  is_abandoned_ |= !survived || !failure_.empty();
  return !is_abandoned_;
}

void LoadedInterface::tell_value(std::uint32_t port, float value) {
  if (descriptor_->port_event != nullptr)
    run([&] { descriptor_->port_event(handle_, port, sizeof value, 0, &value); });
}

void LoadedInterface::tell_atom(std::uint32_t port, const LV2_Atom& atom) {
  if (descriptor_->port_event == nullptr) return;
  run([&] {
    descriptor_->port_event(handle_, port, static_cast<std::uint32_t>(sizeof atom) + atom.size,
                            event_transfer_, &atom);
  });
}

bool LoadedInterface::turn() {
  // The interface has connections of its own, that it must not find broken.
  if (is_abandoned_ || any_display_has_gone()) return false;
  bool wants_to_end = false;
  const bool returned = run([&] { wants_to_end = idle_ != nullptr && idle_->idle(handle_) != 0; });
  return returned && !wants_to_end && !was_closed_.load(std::memory_order_relaxed);
}

std::optional<AreaSize> LoadedInterface::take_wanted_size() {
  const std::uint64_t wanted = wanted_size_.exchange(0, std::memory_order_relaxed);
  if (wanted == 0) return std::nullopt;
  return AreaSize{static_cast<int>(wanted >> 32), static_cast<int>(wanted & 0xffffffffu)};
}

bool LoadedInterface::resize(AreaSize size) {
  if (resizes_ == nullptr || resizes_->ui_resize == nullptr) return false;
  return run([&] { resizes_->ui_resize(handle_, size.width, size.height); });
}

bool LoadedInterface::follow_requests() {
  if (is_abandoned_ || any_display_has_gone()) return false;
  MessageRing::Cursor cursor = from_threads_.begin();
  MessageRing::Message message;
  while (from_threads_.next(cursor, message)) {
    ThreadMessage head;
    std::memcpy(&head, message.data, sizeof head);
    if (head.kind == ThreadMessage::write) {
      write(message.tag, message.size - static_cast<std::uint32_t>(sizeof head), head.protocol,
            message.data + sizeof head);
    } else {
      listener_.touch(message.tag, head.kind == ThreadMessage::grab);
    }
    from_threads_.release(cursor);
  }
  return true;
}

void LoadedInterface::write_callback(LV2UI_Controller self, std::uint32_t port, std::uint32_t size,
                                     std::uint32_t protocol, const void* data) {
  auto& interface = *static_cast<LoadedInterface*>(self);
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

void LoadedInterface::write(std::uint32_t port, std::uint32_t size, std::uint32_t protocol,
                            const void* data) {
  if (protocol == 0 && size == sizeof(float)) {
    float value = 0;
    std::memcpy(&value, data, sizeof value);
    listener_.write_value(port, value);
  } else if (protocol == event_transfer_ && size >= sizeof(LV2_Atom)) {
    const auto& atom = *static_cast<const LV2_Atom*>(data);
    if (atom.size <= size - sizeof(LV2_Atom)) listener_.write_atom(port, atom);
  }
}

int LoadedInterface::resize_callback(LV2UI_Feature_Handle self, int width, int height) {
  if (width <= 0 || height <= 0) return 1;
  static_cast<LoadedInterface*>(self)->wanted_size_.store(
      static_cast<std::uint64_t>(width) << 32 | static_cast<std::uint32_t>(height),
      std::memory_order_relaxed);
  return 0;
}

void LoadedInterface::touch_callback(LV2UI_Feature_Handle self, std::uint32_t port, bool grabbed) {
  auto& interface = *static_cast<LoadedInterface*>(self);
  if (interface.is_foreign_thread()) {
    const ThreadMessage message{grabbed ? ThreadMessage::grab : ThreadMessage::release, 0};
    interface.from_threads_.push(port, &message, sizeof message);
  } else {
    interface.listener_.touch(port, grabbed);
  }
}

void LoadedInterface::closed_callback(LV2UI_Controller self) {
  static_cast<LoadedInterface*>(self)->was_closed_.store(true, std::memory_order_relaxed);
}

}  // namespace vesk::lv2
