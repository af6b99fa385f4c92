#include "tests/support/raw_host.hpp"

#include <fcntl.h>
#include <linux/futex.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <climits>
#include <filesystem>
#include <stdexcept>

#include "host/atomics.hpp"
#include "tests/support/child_process.hpp"
#include "tests/support/wait_until.hpp"

using namespace std::chrono_literals;
using namespace vesk::host;
using vesk::tests::wait_until;
using Clock = std::chrono::steady_clock;

namespace {

long futex(std::uint32_t* word, int operation, std::uint32_t value, const timespec* limit) {
  return syscall(SYS_futex, word, operation, value, limit, nullptr, 0);
}

}  // namespace

std::string build_folder() {
  return std::filesystem::read_symlink("/proc/self/exe").parent_path().parent_path().string();
}

RawHost::RawHost(const Options& options) {
  static int count = 0;
  name_ = "/vesk-raw-" + std::to_string(getpid()) + "-" + std::to_string(count++);
  shm_unlink(name_.c_str());  // of a test that was killed, whose number this process now has
  const int object = shm_open(name_.c_str(), O_RDWR | O_CREAT | O_EXCL, 0600);
  if (object < 0 || ftruncate(object, static_cast<off_t>(options.object_size)) != 0)
    throw std::runtime_error("no shared memory");
  // The mapping may be longer than the object; only its first page is touched then.
  block_ =
      static_cast<Block*>(mmap(nullptr, block_size, PROT_READ | PROT_WRITE, MAP_SHARED, object, 0));
  close(object);
  block_->magic = block_magic;
  block_->open_mask = options.object_size < block_size ? 0 : 0xFFFFFFFF;
  if (options.prepare) options.prepare(*block_);

  pid_ = fork();
  if (pid_ != 0) return;
  dup2(errors_.descriptor(), STDERR_FILENO);
  if (options.descriptor_3 >= 0) dup2(options.descriptor_3, 3);
  close_range(options.descriptor_3 >= 0 ? 4 : 3, ~0u, 0);
  setenv("AUDIO_COMPONENT_PATH", (build_folder() + "/components").c_str(), 1);
  vesk::tests::enter_environment(options.environment);
  vesk::tests::become({build_folder() + "/bin/vesk-host", name_, options.chain, options.sample_rate,
                       options.max_frames, options.period_frames});
}

RawHost::~RawHost() {
  if (!has_ended()) {
    kill(pid_, SIGKILL);
    waitpid(pid_, nullptr, 0);
  }
  munmap(block_, block_size);
  shm_unlink(name_.c_str());
}

std::uint32_t RawHost::wait_state(std::chrono::milliseconds limit) {
  wait_until([&] { return load_acquire(block_->state) != starting || has_ended(); }, limit);
  return load_acquire(block_->state);
}

bool RawHost::wait_listening() {
  if (wait_state() != ready) return false;
  for (int i = 0; i < 2000; ++i)
    if (serve(0, -1, 5ms)) return true;
  return false;
}

bool RawHost::serve(std::uint32_t frames, double sample_time, std::chrono::milliseconds limit) {
  block_->frames = frames;
  block_->sample_time = sample_time;
  const std::uint32_t request = load_relaxed(block_->render_request) + 1;
  store_release(block_->render_request, request);
  futex(&block_->render_request, FUTEX_WAKE, INT_MAX, nullptr);
  const auto deadline = Clock::now() + limit;
  for (;;) {
    const std::uint32_t done = load_acquire(block_->render_done);
    if (done == request) return true;
    if (Clock::now() >= deadline) return false;
    const timespec slice{0, 2'000'000};
    futex(&block_->render_done, FUTEX_WAIT, done, &slice);
  }
}

void RawHost::set_parameter(std::uint32_t plugin, std::uint32_t id, float value) {
  const std::uint32_t written = load_relaxed(block_->param_write);
  block_->params[written % param_slots] = {plugin, id, value};
  store_release(block_->param_write, written + 1);
}

void RawHost::ask_window(std::uint32_t kind, std::uint32_t plugin, const std::string& title) {
  // What is posted before the main loop's first turn, which stores the mask, is passed over.
  wait_until([&] { return load_acquire(block_->open_mask) != 0xFFFFFFFF || has_ended(); });
  WindowRequest request{};
  request.plugin = plugin;
  request.kind = kind;
  title.copy(request.title, title_bytes);
  const std::uint32_t written = load_relaxed(block_->window_write);
  block_->window_requests[written % window_slots] = request;
  store_release(block_->window_write, written + 1);
}

bool RawHost::wait_open(std::uint32_t mask, std::chrono::milliseconds limit) {
  const auto is_open = [&] { return load_acquire(block_->open_mask) == mask; };
  return wait_until([&] { return is_open() || has_ended(); }, limit) && is_open();
}

bool RawHost::wait_turns() {
  for (int turn = 0; turn < 2; ++turn) {
    // Nobody but this test writes the word besides the host, which overwrites it on its next turn.
    store_release(block_->open_mask, 0x80000001);
    if (!wait_until([&] { return load_acquire(block_->open_mask) != 0x80000001; })) return false;
  }
  return true;
}

void RawHost::quit() {
  store_release(block_->quit, 1);
}

int RawHost::wait_end(std::chrono::milliseconds limit) {
  wait_until([&] { return has_ended(); }, limit);
  return status_;
}

bool RawHost::has_ended() {
  int status = 0;
  if (status_ == -1 && waitpid(pid_, &status, WNOHANG) == pid_) status_ = status;
  return status_ != -1;
}

bool RawHost::stop() {
  quit();
  return wait_end() == 0;
}

std::string RawHost::standard_error() const {
  return errors_.text();
}
