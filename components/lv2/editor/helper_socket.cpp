#include "components/lv2/editor/helper_socket.hpp"

#include <poll.h>
#include <sys/socket.h>

#include <array>
#include <cerrno>

namespace vesk::lv2 {
namespace {

struct Head {
  std::uint32_t size;
  HelperMessage kind;
};

/// The rings that atoms come from and go to hold less.
constexpr std::size_t longest = 16u << 20;
constexpr std::size_t most_kept = 32u << 20;

}  // namespace

bool HelperSocket::send_bytes(HelperMessage kind, std::span<const std::byte> body) {
  if (body.size() > longest || outgoing_.size() - sent_ + body.size() > most_kept) return false;
  const Head head{static_cast<std::uint32_t>(body.size()), kind};
  const auto head_bytes = std::as_bytes(std::span(&head, 1));
  outgoing_.insert(outgoing_.end(), head_bytes.begin(), head_bytes.end());
  outgoing_.insert(outgoing_.end(), body.begin(), body.end());
  flush();
  return true;
}

void HelperSocket::flush() {
  while (!is_closed_ && sent_ < outgoing_.size()) {
    const ssize_t sent = ::send(socket_.descriptor(), outgoing_.data() + sent_,
                                outgoing_.size() - sent_, MSG_NOSIGNAL | MSG_DONTWAIT);
    // An end that has gone is seen by whoever receives, once its last words were.
    if (sent < 0 && errno != EINTR) break;
    if (sent > 0) sent_ += static_cast<std::size_t>(sent);
  }
  if (is_drained()) {
    outgoing_.clear();
    sent_ = 0;
  }
}

std::optional<HelperSocket::Message> HelperSocket::receive() {
  for (;;) {
    if (auto message = take()) return message;
    if (is_closed_) return {};
    incoming_.erase(incoming_.begin(), incoming_.begin() + static_cast<std::ptrdiff_t>(taken_));
    taken_ = 0;
    std::array<std::byte, 64 * 1024> bytes;
    const ssize_t received = ::recv(socket_.descriptor(), bytes.data(), bytes.size(), MSG_DONTWAIT);
    if (received < 0 && errno == EINTR) continue;
    if (received < 0 && errno == EAGAIN) return {};
    if (received <= 0) {
      is_closed_ = true;
      return {};
    }
    incoming_.insert(incoming_.end(), bytes.begin(), bytes.begin() + received);
  }
}

std::optional<HelperSocket::Message> HelperSocket::take() {
  const std::span<const std::byte> rest = std::span(incoming_).subspan(taken_);
  Head head;
  if (is_closed_ || rest.size() < sizeof head) return {};
  std::memcpy(&head, rest.data(), sizeof head);
  if (head.size > longest) {
    is_closed_ = true;
    return {};
  }
  if (rest.size() - sizeof head < head.size) return {};
  const auto body = rest.subspan(sizeof head, head.size);
  taken_ += sizeof head + head.size;
  return Message{head.kind, Bytes(body.begin(), body.end())};
}

bool HelperSocket::wait(int limit_ms) {
  if (is_closed_) return true;
  const short wanted = is_drained() ? POLLIN : POLLIN | POLLOUT;
  pollfd polled{socket_.descriptor(), wanted, 0};
  if (::poll(&polled, 1, limit_ms) <= 0) return false;
  flush();
  return true;
}

}  // namespace vesk::lv2
