#include "client/src/watcher.hpp"

#include <pthread.h>
#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <exception>
#include <system_error>

#include "client/src/address_wait.hpp"
#include "client/src/error_text.hpp"
#include "client/src/host_impl.hpp"

namespace vesk::client {

namespace {

constexpr std::int64_t retry_ns = 20'000'000;

/// Blocks all signals of the calling thread, so that a thread it starts takes none.
class SignalsBlocked {
 public:
  SignalsBlocked() {
    sigset_t all;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before_);
  }
  ~SignalsBlocked() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }

 private:
  sigset_t before_;
};

void empty_pipe(int descriptor) {
  char bytes[256];
  while (read(descriptor, bytes, sizeof bytes) == sizeof bytes) {
  }
}

int poll_timeout(std::optional<std::int64_t> due) {
  if (!due) return -1;
  const std::int64_t left = *due - now_ns();
  // Rounded up: a poll that comes back early would spin through the last millisecond.
  return left <= 0 ? 0 : static_cast<int>(std::min<std::int64_t>(left / 1'000'000 + 1, 60'000));
}

std::mutex g_watcher_mutex;
std::weak_ptr<Watcher> g_watcher;

}  // namespace

std::shared_ptr<Watcher> Watcher::shared(std::string& error) {
  const std::lock_guard lock(g_watcher_mutex);
  if (std::shared_ptr<Watcher> running = g_watcher.lock()) return running;
  std::shared_ptr<Watcher> watcher(new Watcher);
  if (!watcher->poke_.open()) {
    error = "cannot make a pipe: " + error_text(errno);
    return nullptr;
  }
  try {
    const SignalsBlocked blocked;
    watcher->thread_ = std::thread([raw = watcher.get()] { raw->run(); });
  } catch (const std::system_error& failure) {
    error = std::string("cannot start the client's background thread: ") + failure.what();
    return nullptr;
  }
  g_watcher = watcher;
  return watcher;
}

Watcher::~Watcher() {
  if (thread_.joinable()) {
    {
      const std::lock_guard lock(mutex_);
      ends_ = true;
    }
    poke();
    thread_.join();
  }
}

void Watcher::add(HostImpl& host) {
  {
    const std::lock_guard lock(mutex_);
    hosts_.push_back(&host);
  }
  poke();
}

void Watcher::remove(HostImpl& host) {
  const std::lock_guard lock(mutex_);
  std::erase(hosts_, &host);
}

void Watcher::poke() const noexcept {
  notify(poke_.write_end());
}

bool Watcher::turn(std::vector<pollfd>& watched, std::optional<std::int64_t>& due) {
  const std::lock_guard lock(mutex_);
  if (ends_) return false;
  watched.assign(1, {poke_.read_end(), POLLIN, 0});
  for (HostImpl* host : hosts_) {
    const std::optional<std::int64_t> next = host->background_turn();
    if (next && (!due || *next < *due)) due = next;
    host->add_descriptors(watched);
  }
  return true;
}

void Watcher::run() {
  become_background_thread();
  std::vector<pollfd> watched;
  for (;;) {
    std::optional<std::int64_t> due;
    try {
      if (!turn(watched, due)) return;
    } catch (const std::exception&) {
      // There is no memory. Nothing of a host is lost by looking at it later.
      due = now_ns() + retry_ns;
    }
    // A descriptor that is closed meanwhile, or stands for another file by then, wakes us in
    // vain at most.
    poll(watched.data(), static_cast<nfds_t>(watched.size()), poll_timeout(due));
    if (!watched.empty() && watched[0].revents != 0) empty_pipe(poke_.read_end());
  }
}

}  // namespace vesk::client
