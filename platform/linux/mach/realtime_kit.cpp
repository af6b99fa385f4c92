#include "platform/linux/mach/realtime_kit.hpp"

#include <dbus/dbus.h>
#include <dlfcn.h>
#include <mach/mach_time.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <exception>
#include <future>
#include <new>
#include <string>
#include <thread>

namespace vesk::platform {

namespace {

constexpr uint64_t nanos_per_millisecond = 1'000'000;
constexpr uint64_t limit_ns = 500 * nanos_per_millisecond;
constexpr char socket[] = "/run/dbus/system_bus_socket";
constexpr char socket_address[] = "unix:path=/run/dbus/system_bus_socket";
constexpr char service_name[] = "org.freedesktop.RealtimeKit1";
constexpr char object[] = "/org/freedesktop/RealtimeKit1";

const char* bus_address() {
  if (const char* address = std::getenv("DBUS_SYSTEM_BUS_ADDRESS"); address && *address)
    return address;
  return access(socket, F_OK) == 0 ? socket_address : nullptr;
}

/// Rounded up; 0 when it has passed.
int milliseconds_until(uint64_t deadline_ns) {
  const uint64_t now = mach_absolute_time();
  if (now >= deadline_ns) return 0;
  return static_cast<int>((deadline_ns - now) / nanos_per_millisecond + 1);
}

}  // namespace

/// The calls of libdbus-1, by their names.
struct RealtimeKit::Bus {
#define VESK_BUS_CALL(name) decltype(&dbus_##name) name = nullptr
  VESK_BUS_CALL(connection_open_private);
  VESK_BUS_CALL(connection_close);
  VESK_BUS_CALL(connection_unref);
  VESK_BUS_CALL(connection_send_with_reply);
  VESK_BUS_CALL(connection_read_write_dispatch);
  VESK_BUS_CALL(pending_call_get_completed);
  VESK_BUS_CALL(pending_call_steal_reply);
  VESK_BUS_CALL(pending_call_cancel);
  VESK_BUS_CALL(pending_call_unref);
  VESK_BUS_CALL(message_new_method_call);
  VESK_BUS_CALL(message_append_args);
  VESK_BUS_CALL(message_get_type);
  VESK_BUS_CALL(message_iter_init);
  VESK_BUS_CALL(message_iter_recurse);
  VESK_BUS_CALL(message_iter_get_arg_type);
  VESK_BUS_CALL(message_iter_get_basic);
  VESK_BUS_CALL(message_unref);
#undef VESK_BUS_CALL

  bool open() {
    // Never closed: the library keeps state that a plugin may share.
    void* library = dlopen("libdbus-1.so.3", RTLD_NOW | RTLD_LOCAL);
    if (library == nullptr) return false;
    const auto find = [library](auto& call, const char* name) {
      call = reinterpret_cast<std::remove_reference_t<decltype(call)>>(dlsym(library, name));
      return call != nullptr;
    };
    return find(connection_open_private, "dbus_connection_open_private") &&
           find(connection_close, "dbus_connection_close") &&
           find(connection_unref, "dbus_connection_unref") &&
           find(connection_send_with_reply, "dbus_connection_send_with_reply") &&
           find(connection_read_write_dispatch, "dbus_connection_read_write_dispatch") &&
           find(pending_call_get_completed, "dbus_pending_call_get_completed") &&
           find(pending_call_steal_reply, "dbus_pending_call_steal_reply") &&
           find(pending_call_cancel, "dbus_pending_call_cancel") &&
           find(pending_call_unref, "dbus_pending_call_unref") &&
           find(message_new_method_call, "dbus_message_new_method_call") &&
           find(message_append_args, "dbus_message_append_args") &&
           find(message_get_type, "dbus_message_get_type") &&
           find(message_iter_init, "dbus_message_iter_init") &&
           find(message_iter_recurse, "dbus_message_iter_recurse") &&
           find(message_iter_get_arg_type, "dbus_message_iter_get_arg_type") &&
           find(message_iter_get_basic, "dbus_message_iter_get_basic") &&
           find(message_unref, "dbus_message_unref");
  }

  /// A connection, or NULL when there is none by then. The library's own attempt has no limit, and
  /// a bus that has stopped accepting makes it wait for ever, so that is left to a thread of its
  /// own; a connection that comes too late stays unused.
  DBusConnection* connect(const char* address, uint64_t deadline_ns) const try {
    std::promise<DBusConnection*> opened;
    std::future<DBusConnection*> connection = opened.get_future();
    std::thread([opened = std::move(opened), open_private = connection_open_private,
                 text = std::string(address)]() mutable {
      opened.set_value(open_private(text.c_str(), nullptr));
    }).detach();
    const std::chrono::milliseconds left(milliseconds_until(deadline_ns));
    return connection.wait_for(left) == std::future_status::ready ? connection.get() : nullptr;
  } catch (const std::exception&) {
    return nullptr;  // no thread or no memory
  }

  /// Sends `request` (consumed) and waits for the answer, NULL for an error or a late one. The call
  /// that does both would wait for a bus that does not read as long as it pleases.
  DBusMessage* ask(DBusConnection* connection, DBusMessage* request, uint64_t deadline_ns) const {
    DBusPendingCall* pending = nullptr;
    const bool sent = connection_send_with_reply(connection, request, &pending, -1) != 0;
    message_unref(request);
    if (!sent || pending == nullptr) return nullptr;
    while (!pending_call_get_completed(pending)) {
      const int left = milliseconds_until(deadline_ns);
      if (left == 0 || !connection_read_write_dispatch(connection, left)) break;
    }
    DBusMessage* answer = nullptr;
    if (pending_call_get_completed(pending))
      answer = pending_call_steal_reply(pending);
    else
      pending_call_cancel(pending);
    pending_call_unref(pending);
    if (answer == nullptr || message_get_type(answer) != DBUS_MESSAGE_TYPE_ERROR) return answer;
    message_unref(answer);
    return nullptr;
  }

  /// A number property of the service, `otherwise` when it cannot be had.
  int64_t property(DBusConnection* connection, const char* name, int64_t otherwise,
                   uint64_t deadline_ns) const {
    DBusMessage* request =
        message_new_method_call(service_name, object, "org.freedesktop.DBus.Properties", "Get");
    if (request == nullptr) return otherwise;
    const char* interface = service_name;
    message_append_args(request, DBUS_TYPE_STRING, &interface, DBUS_TYPE_STRING, &name,
                        DBUS_TYPE_INVALID);
    DBusMessage* answer = ask(connection, request, deadline_ns);
    if (answer == nullptr) return otherwise;
    int64_t value = otherwise;
    DBusMessageIter outer;
    DBusMessageIter inner;
    if (message_iter_init(answer, &outer) &&
        message_iter_get_arg_type(&outer) == DBUS_TYPE_VARIANT) {
      message_iter_recurse(&outer, &inner);
      const int type = message_iter_get_arg_type(&inner);
      if (type == DBUS_TYPE_INT32) {
        dbus_int32_t number = 0;
        message_iter_get_basic(&inner, &number);
        value = number;
      } else if (type == DBUS_TYPE_INT64) {
        message_iter_get_basic(&inner, &value);
      }
    }
    message_unref(answer);
    return value;
  }
};

RealtimeKit::RealtimeKit() : deadline_ns_(mach_absolute_time() + limit_ns) {
  const char* address = bus_address();
  if (address == nullptr) return;
  bus_.reset(new (std::nothrow) Bus);
  if (bus_ == nullptr || !bus_->open()) return;
  DBusConnection* connection = bus_->connect(address, deadline_ns_);
  if (connection == nullptr) return;
  connection_ = connection;
  // dbus_bus_register would say hello too, but waits for the answer as long as it pleases.
  DBusMessage* hello = bus_->message_new_method_call(
      "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus", "Hello");
  DBusMessage* answer = hello ? bus_->ask(connection, hello, deadline_ns_) : nullptr;
  if (answer != nullptr) {
    bus_->message_unref(answer);
    return;
  }
  bus_->connection_close(connection);
  bus_->connection_unref(connection);
  connection_ = nullptr;
}

RealtimeKit::~RealtimeKit() {
  if (connection_ == nullptr) return;
  auto* connection = static_cast<DBusConnection*>(connection_);
  bus_->connection_close(connection);
  bus_->connection_unref(connection);
}

RealtimeKit::Limits RealtimeKit::limits() {
  auto* connection = static_cast<DBusConnection*>(connection_);
  const int64_t priority = bus_->property(connection, "MaxRealtimePriority", 20, deadline_ns_);
  const int64_t rttime = bus_->property(connection, "RTTimeUSecMax", 200'000, deadline_ns_);
  return {static_cast<int>(std::clamp<int64_t>(priority, 1, 99)),
          static_cast<uint64_t>(std::max<int64_t>(rttime, 1'000))};
}

bool RealtimeKit::make_realtime(pid_t thread, int priority) {
  DBusMessage* request =
      bus_->message_new_method_call(service_name, object, service_name, "MakeThreadRealtime");
  if (request == nullptr) return false;
  const auto id = static_cast<dbus_uint64_t>(thread);
  const auto level = static_cast<dbus_uint32_t>(priority);
  bus_->message_append_args(request, DBUS_TYPE_UINT64, &id, DBUS_TYPE_UINT32, &level,
                            DBUS_TYPE_INVALID);
  DBusMessage* answer = bus_->ask(static_cast<DBusConnection*>(connection_), request, deadline_ns_);
  if (answer == nullptr) return false;
  bus_->message_unref(answer);
  return true;
}

}  // namespace vesk::platform
