#include "platform/linux/mach/realtime_kit.hpp"

#include <dbus/dbus.h>
#include <dlfcn.h>
#include <mach/mach_time.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <new>

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

}  // namespace

/// The calls of libdbus-1, by their names.
struct RealtimeKit::Bus {
#define VESK_BUS_CALL(name) decltype(&dbus_##name) name = nullptr
  VESK_BUS_CALL(connection_open_private);
  VESK_BUS_CALL(connection_close);
  VESK_BUS_CALL(connection_unref);
  VESK_BUS_CALL(connection_send_with_reply_and_block);
  VESK_BUS_CALL(message_new_method_call);
  VESK_BUS_CALL(message_append_args);
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
           find(connection_send_with_reply_and_block,
                "dbus_connection_send_with_reply_and_block") &&
           find(message_new_method_call, "dbus_message_new_method_call") &&
           find(message_append_args, "dbus_message_append_args") &&
           find(message_iter_init, "dbus_message_iter_init") &&
           find(message_iter_recurse, "dbus_message_iter_recurse") &&
           find(message_iter_get_arg_type, "dbus_message_iter_get_arg_type") &&
           find(message_iter_get_basic, "dbus_message_iter_get_basic") &&
           find(message_unref, "dbus_message_unref");
  }

  /// Sends `request` (consumed) and waits for the answer, NULL for an error or a late one.
  DBusMessage* ask(DBusConnection* connection, DBusMessage* request, uint64_t deadline_ns) const {
    const uint64_t now = mach_absolute_time();
    DBusMessage* answer = nullptr;
    if (now < deadline_ns) {
      const auto left = static_cast<int>((deadline_ns - now) / nanos_per_millisecond);
      answer =
          connection_send_with_reply_and_block(connection, request, std::max(left, 1), nullptr);
    }
    message_unref(request);
    return answer;
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
  DBusConnection* connection = bus_->connection_open_private(address, nullptr);
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
