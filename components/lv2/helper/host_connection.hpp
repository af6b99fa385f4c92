#pragma once

// The host, as the interface's process sees it.

#include <deque>
#include <mutex>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "components/lv2/catalogue/interface_kind.hpp"
#include "components/lv2/editor/helper_socket.hpp"
#include "components/lv2/editor/running_interface.hpp"
#include "components/lv2/unit/editor_link.hpp"

namespace vesk::lv2 {

/// What the host has said about the interface, and the host's URID table. Main thread, but for
/// `map` and `unmap`, which interfaces call in any.
class HostConnection final : public InterfaceContext, public InterfaceListener {
 public:
  explicit HostConnection(File socket) : socket_(std::move(socket)) {}

  /// Waits for the description of what is to be shown, for at most ten seconds.
  bool wait_for_order();
  const InterfacePlace& place() const { return place_; }
  InterfaceKind kind() const;

  /// The next message of the kinds `value`, `atom`, `size` and `close`; nothing when none has come.
  std::optional<HelperSocket::Message> receive();
  bool is_closed();
  /// Waits until the host has taken everything, for at most a second.
  void drain();
  /// Waits for a message. Other threads wait as long for a number.
  void wait(int limit_ms);

  template <typename... Fields>
  void send(HelperMessage kind, const Fields&... fields) {
    const std::lock_guard lock(mutex_);
    socket_.send(kind, fields...);
  }

  const Description& plugin() const override { return plugin_; }
  const Editor& editor() const override { return editor_; }
  double sample_rate() const override { return sample_rate_; }
  std::uint32_t max_frames() const override { return max_frames_; }
  std::uint32_t map(const char* uri) const override;
  const char* unmap(std::uint32_t urid) const override;
  /// The instance is in another process.
  LV2_Handle handle() const override { return nullptr; }
  ExtensionData extension_data() const override { return nullptr; }

  void write_value(std::uint32_t port, float value) override;
  void write_atom(std::uint32_t port, const LV2_Atom& atom) override;
  void touch(std::uint32_t port, bool grabbed) override;

 private:
  /// Keeps what the host has sent; false when nothing has come.
  bool read_one() const;

  mutable std::mutex mutex_;
  mutable HelperSocket socket_;
  mutable std::deque<HelperSocket::Message> waiting_;
  mutable std::unordered_map<std::string, std::uint32_t> numbers_;
  mutable std::vector<const std::string*> uris_;  ///< by number - 1; the keys of `numbers_`
  mutable bool is_unmapped_ = false;
  InterfacePlace place_;
  Description plugin_;
  Editor editor_;
  double sample_rate_ = 0;
  std::uint32_t max_frames_ = 0;
};

}  // namespace vesk::lv2
