#include "components/lv2/instance/worker.hpp"

#include <system_error>

namespace vesk::lv2 {
namespace {

// 16 KiB each; the largest request seen in 684 plugins has 16 bytes.
constexpr std::uint32_t slots = 2048;

}  // namespace

std::mutex& plugin_turn() {
  static std::mutex turn;
  return turn;
}

Worker::Worker() : requests_(slots), responses_(slots) {}

Worker::~Worker() {
  stop();
}

void Worker::attach(LV2_Handle plugin, const LV2_Worker_Interface* methods) {
  plugin_ = plugin;
  methods_ = methods != nullptr && methods->work != nullptr ? methods : nullptr;
  if (methods_ != nullptr) {
    // What a plugin does here is its own affair for the compiler; the sanitizer still looks.
    work_response_ = (MethodFunction)methods_->work_response;
    end_run_ = (EndFunction)methods_->end_run;
  }
}

void Worker::work_now() {
  do_requests();
}

bool Worker::start() {
  if (methods_ == nullptr || thread_.joinable()) return true;
  try {
    thread_ = std::thread([this] { run_thread(); });
  } catch (const std::system_error&) {
    return false;
  }
  return true;
}

void Worker::stop() {
  if (thread_.joinable()) {
    stopping_.store(true, std::memory_order_release);
    requested_.raise();
    thread_.join();
  }
}

LV2_Worker_Status Worker::schedule_work(LV2_Worker_Schedule_Handle handle, std::uint32_t size,
                                        const void* data) {
  auto* self = static_cast<Worker*>(handle);
  self->open_requests_.fetch_add(1, std::memory_order_relaxed);
  if (!self->requests_.push(0, data, data != nullptr ? size : 0)) {
    self->open_requests_.fetch_sub(1, std::memory_order_relaxed);
    return LV2_WORKER_ERR_NO_SPACE;
  }
  self->requested_.raise();
  return LV2_WORKER_SUCCESS;
}

LV2_Worker_Status Worker::respond(LV2_Worker_Respond_Handle handle, std::uint32_t size,
                                  const void* data) {
  auto* self = static_cast<Worker*>(handle);
  return self->responses_.push(0, data, data != nullptr ? size : 0) ? LV2_WORKER_SUCCESS
                                                                    : LV2_WORKER_ERR_NO_SPACE;
}

void Worker::do_requests() {
  MessageRing::Message message;
  MessageRing::Cursor cursor = requests_.begin();
  while (!stopping_.load(std::memory_order_acquire) && requests_.next(cursor, message)) {
    if (methods_ != nullptr) {
      const std::scoped_lock turn(plugin_turn());
      methods_->work(plugin_, &Worker::respond, this, message.size,
                     message.size != 0 ? message.data : nullptr);
    }
    requests_.release(cursor);
    open_requests_.fetch_sub(1, std::memory_order_release);
    done_.raise();
  }
}

void Worker::run_thread() {
  for (;;) {
    const std::uint32_t seen = requested_.count();
    do_requests();
    if (stopping_.load(std::memory_order_acquire)) return;
    requested_.wait(seen);
  }
}

void Worker::finish_run() noexcept VESK_REALTIME {
  if (methods_ == nullptr) return;
  MessageRing::Message message;
  MessageRing::Cursor cursor = responses_.begin();
  while (responses_.next(cursor, message)) {
    if (work_response_ != nullptr)
      work_response_(plugin_, message.size, message.size != 0 ? message.data : nullptr);
    responses_.release(cursor);
  }
  if (end_run_ != nullptr) end_run_(plugin_);
}

void Worker::wait_until_idle() noexcept {
  if (!thread_.joinable()) return;
  for (;;) {
    const std::uint32_t seen = done_.count();
    if (open_requests_.load(std::memory_order_acquire) == 0) return;
    done_.wait(seen);
  }
}

}  // namespace vesk::lv2
