#pragma once

// A toolkit's window inside the host's, by the XEmbed protocol.

struct _XDisplay;

namespace vesk::lv2 {

/// The embedder's side of it, on a connection of its own. The host's window system knows nothing of
/// the protocol, so it is played here. Main thread only.
class Embedding {
 public:
  Embedding() = default;
  ~Embedding();
  Embedding(const Embedding&) = delete;
  Embedding& operator=(const Embedding&) = delete;

  /// False when the display does not answer.
  bool open();
  /// Shows `window`, which is in its place already.
  void show(unsigned long window);
  /// Tells the window whether it has the keyboard: toolkits believe this rather than the server.
  void follow_focus();

 private:
  void tell(long message, long detail = 0);

  _XDisplay* display_ = nullptr;
  unsigned long window_ = 0;
};

}  // namespace vesk::lv2
