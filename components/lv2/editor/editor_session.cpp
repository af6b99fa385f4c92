#include "components/lv2/editor/editor_session.hpp"

#include <AudioToolbox/AUComponent.h>

#include <utility>

#include "components/lv2/catalogue/interface_kind.hpp"
#include "components/lv2/editor/x_errors.hpp"

namespace vesk::lv2 {
namespace {

EditorLink* link_of(AudioUnit unit) {
  EditorLink* link = nullptr;
  UInt32 size = sizeof(EditorLink*);
  const OSStatus status = AudioUnitGetProperty(unit, editor_link_property, kAudioUnitScope_Global,
                                               0, static_cast<void*>(&link), &size);
  return status == noErr ? link : nullptr;
}

}  // namespace

std::unique_ptr<EditorSession> EditorSession::open(AudioUnit unit, _XDisplay* toolkit_display,
                                                   std::string& error) {
  EditorLink* link = link_of(unit);
  std::unique_ptr<PluginArea> area = PluginArea::open();
  if (link == nullptr || area == nullptr) {
    error = link == nullptr ? "it is no plugin's of ours" : "the display does not answer";
    return nullptr;
  }
  std::unique_ptr<EditorSession> session(
      new EditorSession(*link, std::move(area), toolkit_display));
  if (!link->attach(session.get())) {
    error = "it is shown already";
    session->link_ = nullptr;
    return nullptr;
  }
  if (!session->open_interface(error)) return nullptr;
  return session;
}

EditorSession::EditorSession(EditorLink& link, std::unique_ptr<PluginArea> area,
                             _XDisplay* toolkit_display)
    : link_(&link), area_(std::move(area)), toolkit_display_(toolkit_display) {}

EditorSession::~EditorSession() {
  count_x_errors(toolkit_display_);
  interface_.reset();
  if (link_ != nullptr) link_->detach(this);
}

bool EditorSession::open_interface(std::string& error) {
  count_x_errors(toolkit_display_);
  interface_ = PluginInterface::open(*link_, *area_, error);
  if (interface_ == nullptr) return false;
  follow_size();
  return true;
}

void EditorSession::follow_size() {
  const auto wanted = interface_->take_wanted_size();
  const auto actual = area_->new_content_size();
  // The two are the same in the end. Where they differ, what can be seen is right.
  if (const auto size = actual ? actual : wanted) {
    area_->resize(*size);
    size_ = *size;
  }
}

void EditorSession::resize(AreaSize size) {
  if (interface_ != nullptr && !area_->is_lost()) {
    area_->resize(size);
    interface_->resize(size);
  }
}

void EditorSession::put_into(unsigned long parent, int x, int y) {
  if (!area_->is_lost()) area_->put_into(parent, x, y);
}

void EditorSession::take_out() {
  if (!area_->is_lost()) area_->take_out();
}

bool EditorSession::take_press() {
  const bool is_pressed = !area_->is_lost() && area_->take_press();
  // Interfaces that are made for the host's X window take the keyboard themselves.
  if (is_pressed && link_ != nullptr)
    wants_keyboard_ = interface_kind(link_->editor().class_uri) != InterfaceKind::x11;
  return is_pressed;
}

bool EditorSession::turn() {
  if (link_ == nullptr || area_->is_lost()) return false;
  // A turn after the press, which has given it to the window around the interface.
  if (std::exchange(wants_keyboard_, false)) area_->give_keyboard();
  count_x_errors(toolkit_display_);
  if (interface_ == nullptr) {
    if (!waits_for_instance_ || link_->handle() == nullptr) return waits_for_instance_;
    waits_for_instance_ = false;
    if (!open_interface(failure_)) return false;
  }
  if (!interface_->turn()) {
    failure_ = interface_->failure();
    return false;
  }
  follow_size();
  return true;
}

void EditorSession::instance_leaves() {
  if (interface_ != nullptr && interface_->knows_instance()) {
    count_x_errors(toolkit_display_);
    interface_.reset();
    waits_for_instance_ = true;
  }
}

void EditorSession::unit_ends() {
  count_x_errors(toolkit_display_);
  interface_.reset();
  link_->detach(this);
  link_ = nullptr;
}

}  // namespace vesk::lv2
