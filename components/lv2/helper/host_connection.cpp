#include "components/lv2/helper/host_connection.hpp"

#include <algorithm>
#include <cstring>

#include "components/lv2/catalogue/record.hpp"

namespace vesk::lv2 {
namespace {

constexpr int order_limit_ms = 10'000;
/// A host looks thirty times a second.
constexpr int number_wait_ms = 1'000;

}  // namespace

bool HostConnection::wait_for_order() {
  std::optional<HelperSocket::Message> message;
  while (!(message = receive()))
    if (is_closed() || !socket_.wait(order_limit_ms)) return false;
  std::uint64_t window = 0;
  std::string uri;
  Bytes bytes;
  if (message->kind != HelperMessage::open ||
      !message->read(window, place_.has_gl, sample_rate_, max_frames_, uri, bytes)) {
    return false;
  }
  auto record = decode<PluginRecord>(bytes);
  if (!record) return false;
  place_.window = window;
  plugin_ = std::move(record->description);
  const auto found = std::find_if(plugin_.editors.begin(), plugin_.editors.end(),
                                  [&](const Editor& editor) { return editor.uri == uri; });
  if (found == plugin_.editors.end()) return false;
  editor_ = *found;
  return true;
}

InterfaceKind HostConnection::kind() const {
  return interface_kind(editor_.class_uri);
}

bool HostConnection::read_one() const {
  auto message = socket_.receive();
  if (!message) return false;
  if (message->kind == HelperMessage::unmapped) {
    is_unmapped_ = true;
  } else if (message->kind == HelperMessage::uris) {
    std::vector<std::string> uris;
    message->read(uris);
    for (std::string& uri : uris) {
      const auto number = static_cast<std::uint32_t>(uris_.size() + 1);
      uris_.push_back(&numbers_.try_emplace(std::move(uri), number).first->first);
    }
  } else {
    waiting_.push_back(std::move(*message));
  }
  return true;
}

std::optional<HelperSocket::Message> HostConnection::receive() {
  const std::lock_guard lock(mutex_);
  while (read_one()) continue;
  if (waiting_.empty()) return {};
  HelperSocket::Message message = std::move(waiting_.front());
  waiting_.pop_front();
  return message;
}

bool HostConnection::is_closed() {
  const std::lock_guard lock(mutex_);
  return socket_.is_closed();
}

void HostConnection::drain() {
  const std::lock_guard lock(mutex_);
  for (int turn = 0; turn < 100 && !socket_.is_closed() && !socket_.is_drained(); ++turn) {
    socket_.wait(10);
    while (read_one()) continue;
  }
}

void HostConnection::wait(int limit_ms) {
  const std::lock_guard lock(mutex_);
  socket_.wait(limit_ms);
}

std::uint32_t HostConnection::map(const char* uri) const {
  if (uri == nullptr) return 0;
  const std::lock_guard lock(mutex_);
  const auto known = [&] {
    while (read_one()) continue;
    const auto found = numbers_.find(uri);
    return found != numbers_.end() ? found->second : 0;
  };
  if (const std::uint32_t number = known()) return number;
  is_unmapped_ = false;
  socket_.send(HelperMessage::map, std::string(uri));
  while (!socket_.is_closed() && !is_unmapped_) {
    if (const std::uint32_t number = known()) return number;
    socket_.wait(number_wait_ms);
  }
  return 0;
}

const char* HostConnection::unmap(std::uint32_t urid) const {
  const std::lock_guard lock(mutex_);
  while (read_one()) continue;
  return urid > 0 && urid <= uris_.size() ? uris_[urid - 1]->c_str() : nullptr;
}

void HostConnection::write_value(std::uint32_t port, float value) {
  send(HelperMessage::write, port, value);
}

void HostConnection::write_atom(std::uint32_t port, const LV2_Atom& atom) {
  const auto* bytes = reinterpret_cast<const std::byte*>(&atom);
  send(HelperMessage::atom, port, Bytes(bytes, bytes + sizeof atom + atom.size));
}

void HostConnection::touch(std::uint32_t port, bool grabbed) {
  send(HelperMessage::touch, port, grabbed);
}

}  // namespace vesk::lv2
