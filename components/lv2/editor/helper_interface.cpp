#include "components/lv2/editor/helper_interface.hpp"

#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstring>
#include <vector>

#include "components/lv2/catalogue/record.hpp"

namespace vesk::lv2 {
namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

constexpr milliseconds opening_limit{30'000};
constexpr milliseconds closing_limit{2'000};
/// How long a program that has closed its socket may take to end.
constexpr int ending_limit_ms = 500;
/// In one turn; a program may not keep the host from its work.
constexpr int most_messages = 10'000;
/// The side of an X window.
constexpr int longest_side = 32'767;

int left_ms(Clock::time_point end) {
  const auto left = std::chrono::duration_cast<milliseconds>(end - Clock::now()).count();
  return left > 0 ? static_cast<int>(left) : 0;
}

bool is_possible(AreaSize size) {
  return std::min(size.width, size.height) > 0 && std::max(size.width, size.height) < longest_side;
}

/// The two ends of a stream; neither is standard input, output or error.
bool make_stream(File& ours, File& theirs) {
  int ends[2];
  if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0) return false;
  const File first(ends[0]);
  const File second(ends[1]);
  ours = File(fcntl(ends[0], F_DUPFD_CLOEXEC, STDERR_FILENO + 1));
  theirs = File(fcntl(ends[1], F_DUPFD_CLOEXEC, STDERR_FILENO + 1));
  return ours.is_open() && theirs.is_open();
}

}  // namespace

std::unique_ptr<HelperInterface> HelperInterface::open(const EditorLink& link,
                                                       InterfaceListener& listener,
                                                       const InterfacePlace& place,
                                                       std::string& error) {
  File ours;
  File theirs;
  if (!make_stream(ours, theirs)) {
    error = "there is no socket for its program";
    return nullptr;
  }
  std::unique_ptr<HelperInterface> interface(new HelperInterface(link, listener, std::move(ours)));
  const bool is_started =
      interface->process_.start(link.helper(), {}, theirs.descriptor(), STDERR_FILENO, error);
  // Where only the program has it, its end is seen.
  theirs.close();
  if (!is_started) return nullptr;
  interface->socket_.send(HelperMessage::open, std::uint64_t{place.window}, place.has_gl,
                          link.sample_rate(), link.max_frames(), link.editor().uri,
                          encode(PluginRecord{.sources = {}, .description = link.plugin()}));
  if (!interface->wait_opened()) {
    error = interface->failure_;
    return nullptr;
  }
  return interface;
}

bool HelperInterface::wait_opened() {
  const auto end = Clock::now() + opening_limit;
  while (follow_requests()) {
    if (is_opened_) return true;
    if (!socket_.wait(left_ms(end)) && left_ms(end) == 0) {
      failure_ = "its program does not answer";
      process_.end();
      return false;
    }
  }
  if (failure_.empty()) failure_ = "it has closed itself";
  return false;
}

HelperInterface::~HelperInterface() {
  const auto end = Clock::now() + closing_limit;
  socket_.send(HelperMessage::close);
  // Last words may turn something off in the plugin, and asking for a number must not hold them up.
  while (!socket_.is_closed() && left_ms(end) > 0) {
    while (const auto message = socket_.receive()) follow(*message);
    socket_.wait(left_ms(end));
  }
  if (socket_.is_closed()) process_.wait(ending_limit_ms);
}

bool HelperInterface::takes_values() {
  socket_.flush();
  return socket_.is_drained();
}

void HelperInterface::tell_value(std::uint32_t port, float value) {
  socket_.send(HelperMessage::value, port, value);
}

void HelperInterface::tell_atom(std::uint32_t port, const LV2_Atom& atom) {
  tell_uris();
  const auto* bytes = reinterpret_cast<const std::byte*>(&atom);
  socket_.send(HelperMessage::atom, port, Bytes(bytes, bytes + sizeof atom + atom.size));
}

/// Numbers that have been given since the last call: an atom may hold them.
void HelperInterface::tell_uris() {
  std::vector<std::string> uris;
  while (const char* uri = link_.unmap(told_uris_ + 1)) {
    uris.emplace_back(uri);
    ++told_uris_;
  }
  if (!uris.empty()) socket_.send(HelperMessage::uris, uris);
}

bool HelperInterface::follow_requests() {
  tell_uris();
  for (int turn = 0; turn < most_messages; ++turn) {
    const auto message = socket_.receive();
    if (!message) break;
    if (!follow(*message)) return false;
  }
  if (has_ended_ || !failure_.empty()) return false;
  if (!socket_.is_closed()) return true;
  process_.wait(ending_limit_ms);
  process_.end();
  const std::string cause = process_.failure();
  failure_ = "its program has ended" + (cause.empty() ? cause : ": " + cause);
  return false;
}

/// False when it says what it must not say.
bool HelperInterface::follow(const HelperSocket::Message& message) {
  std::uint32_t port = 0;
  float value = 0;
  bool grabbed = false;
  std::string text;
  Bytes bytes;
  AreaSize size;
  switch (message.kind) {
    case HelperMessage::opened:
      is_opened_ = true;
      return true;
    case HelperMessage::failed:
      if (message.read(text)) failure_ = text.empty() ? "unknown reason" : text;
      return true;
    case HelperMessage::ended:
      has_ended_ = true;
      return true;
    case HelperMessage::map:
      if (!message.read(text)) break;
      if (link_.map(text.c_str()) > 0)
        tell_uris();
      else
        socket_.send(HelperMessage::unmapped);
      return true;
    case HelperMessage::write:
      if (!message.read(port, value)) break;
      listener_.write_value(port, value);
      return true;
    case HelperMessage::atom: {
      LV2_Atom head;
      if (!message.read(port, bytes) || bytes.size() < sizeof head) break;
      std::memcpy(&head, bytes.data(), sizeof head);
      if (head.size > bytes.size() - sizeof head) break;
      listener_.write_atom(port, *reinterpret_cast<const LV2_Atom*>(bytes.data()));
      return true;
    }
    case HelperMessage::touch:
      if (!message.read(port, grabbed)) break;
      listener_.touch(port, grabbed);
      return true;
    case HelperMessage::size:
      if (!message.read(size.width, size.height) || !is_possible(size)) break;
      wanted_size_ = size;
      return true;
    default:
      break;
  }
  failure_ = "its program talks nonsense";
  process_.end();
  return false;
}

std::optional<AreaSize> HelperInterface::take_wanted_size() {
  return std::exchange(wanted_size_, std::nullopt);
}

bool HelperInterface::resize(AreaSize size) {
  return socket_.send(HelperMessage::size, size.width, size.height);
}

}  // namespace vesk::lv2
