#pragma once

// What a host and the program that shows an interface say to each other.

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <utility>

#include "components/lv2/catalogue/bytes.hpp"
#include "components/lv2/catalogue/file.hpp"

namespace vesk::lv2 {

/// The kinds of messages, and the fields of each in their order. Numbers for URIs are the host's
/// on both sides.
enum class HelperMessage : std::uint32_t {
  // From the host:
  open,   ///< window u64, has OpenGL bool, sample rate f64, longest block u32, editor's URI, the
          ///< bytes of a PluginRecord
  uris,   ///< texts of URIs, whose numbers follow on those that were told before
  value,  ///< port u32, f32
  atom,   ///< port u32, its bytes; both ways
  size,   ///< width and height i32; both ways: asked for by the other
  close,  ///< it is to take the interface down and end
  // From the program:
  opened,  ///< the interface is in the window
  failed,  ///< a sentence: it cannot be had, or has thrown
  map,     ///< a URI; answered by `uris` as far as its number, or by `unmapped`
  write,   ///< port u32, f32: the interface sets a control
  touch,   ///< port u32, whether grabbed bool
  ended,   ///< the interface wants to be closed
  // From the host again:
  unmapped,  ///< there is no number left
};

/// One end of a stream of messages. It never waits but in `wait`; what the other end does not take
/// is kept, up to a limit. One thread.
class HelperSocket {
 public:
  struct Message {
    HelperMessage kind{};
    Bytes body;

    /// Its fields; false when there are not exactly as many bytes.
    template <typename... Fields>
    bool read(Fields&... fields) const {
      ByteReader reader(body);
      reader(fields...);
      return reader.ok() && reader.at_end();
    }
  };

  explicit HelperSocket(File socket) : socket_(std::move(socket)) {}

  /// False when too much is waiting to be taken, or the message is too long.
  template <typename... Fields>
  bool send(HelperMessage kind, const Fields&... fields) {
    ByteWriter writer;
    writer(fields...);
    return send_bytes(kind, writer.take());
  }
  /// Whether the other end has taken everything.
  bool is_drained() const { return sent_ == outgoing_.size(); }
  /// Passes on what is kept.
  void flush();

  /// The next message that has come.
  std::optional<Message> receive();
  /// Waits until something can be received, or what is kept was passed on; false after `limit_ms`.
  bool wait(int limit_ms);
  /// The other end has gone, or talks nonsense, and all it said was received.
  bool is_closed() const { return is_closed_; }

 private:
  bool send_bytes(HelperMessage kind, std::span<const std::byte> body);
  std::optional<Message> take();

  File socket_;
  Bytes outgoing_, incoming_;
  std::size_t sent_ = 0, taken_ = 0;
  bool is_closed_ = false;
};

}  // namespace vesk::lv2
