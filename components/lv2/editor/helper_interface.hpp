#pragma once

// A plugin's own interface, running in a process of its own.

#include <memory>
#include <optional>
#include <string>

#include "components/lv2/catalogue/child_process.hpp"
#include "components/lv2/editor/helper_socket.hpp"
#include "components/lv2/editor/running_interface.hpp"
#include "components/lv2/unit/editor_link.hpp"

namespace vesk::lv2 {

/// Main thread only. What goes wrong over there, an exit or a crash included, ends this and nothing
/// else.
class HelperInterface final : public RunningInterface {
 public:
  /// Starts the program and waits until it shows the interface that `link` names, for at most 30 s.
  /// Null, with a sentence in `error`, when it does not.
  static std::unique_ptr<HelperInterface> open(const EditorLink& link, InterfaceListener& listener,
                                               const InterfacePlace& place, std::string& error);
  /// Asks it to end and hears its last words; it is killed after two seconds.
  ~HelperInterface() override;
  HelperInterface(const HelperInterface&) = delete;
  HelperInterface& operator=(const HelperInterface&) = delete;

  /// A program that does not listen is not told every value in between.
  bool takes_values() override;
  void tell_value(std::uint32_t port, float value) override;
  void tell_atom(std::uint32_t port, const LV2_Atom& atom) override;
  bool follow_requests() override;
  bool turn() override { return follow_requests(); }
  const std::string& failure() const override { return failure_; }
  std::optional<AreaSize> take_wanted_size() override;
  bool resize(AreaSize size) override;
  bool knows_instance() const override { return false; }

 private:
  HelperInterface(const EditorLink& link, InterfaceListener& listener, File socket)
      : link_(link), listener_(listener), socket_(std::move(socket)) {}
  bool wait_opened();
  void tell_uris();
  bool follow(const HelperSocket::Message& message);

  const EditorLink& link_;
  InterfaceListener& listener_;
  HelperSocket socket_;
  ChildProcess process_;
  std::uint32_t told_uris_ = 0;  ///< the highest number that was told
  bool is_opened_ = false;
  bool has_ended_ = false;
  std::optional<AreaSize> wanted_size_;
  std::string failure_;
};

}  // namespace vesk::lv2
