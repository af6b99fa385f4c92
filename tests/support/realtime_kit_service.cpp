#include "tests/support/realtime_kit_service.hpp"

#include <dbus/dbus.h>
#include <fcntl.h>
#include <sys/prctl.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "tests/support/child_process.hpp"

namespace vesk::tests {

namespace {

constexpr char service_name[] = "org.freedesktop.RealtimeKit1";

/// Everybody may connect, own and call: the caller under test is another user.
constexpr char bus_configuration[] = R"(<busconfig>
  <type>session</type>
  <listen>unix:path=%/bus</listen>
  <auth>EXTERNAL</auth>
  <policy context="default">
    <allow user="*"/>
    <allow own="*"/>
    <allow send_destination="*" eavesdrop="true"/>
    <allow receive_sender="*"/>
  </policy>
</busconfig>
)";

DBusMessage* answer_property(DBusMessage* call) {
  const char* interface = nullptr;
  const char* name = nullptr;
  dbus_message_get_args(call, nullptr, DBUS_TYPE_STRING, &interface, DBUS_TYPE_STRING, &name,
                        DBUS_TYPE_INVALID);
  const std::string wanted = name != nullptr ? name : "";
  const dbus_int32_t priority = 15;
  const dbus_int64_t limit_us = 100'000;
  const bool is_priority = wanted == "MaxRealtimePriority";
  if (!is_priority && wanted != "RTTimeUSecMax")
    return dbus_message_new_error(call, DBUS_ERROR_UNKNOWN_PROPERTY, "no such property");
  DBusMessage* answer = dbus_message_new_method_return(call);
  DBusMessageIter outer;
  DBusMessageIter inner;
  dbus_message_iter_init_append(answer, &outer);
  dbus_message_iter_open_container(&outer, DBUS_TYPE_VARIANT, is_priority ? "i" : "x", &inner);
  if (is_priority)
    dbus_message_iter_append_basic(&inner, DBUS_TYPE_INT32, &priority);
  else
    dbus_message_iter_append_basic(&inner, DBUS_TYPE_INT64, &limit_us);
  dbus_message_iter_close_container(&outer, &inner);
  return answer;
}

RealtimeKitService::Request read_request(DBusMessage* call) {
  RealtimeKitService::Request request = {};
  dbus_message_get_args(call, nullptr, DBUS_TYPE_UINT64, &request.thread, DBUS_TYPE_UINT32,
                        &request.priority, DBUS_TYPE_INVALID);
  // Where RealtimeKit looks too; `prlimit` would need rights over the caller.
  std::ifstream limits("/proc/" + std::to_string(request.thread) + "/limits");
  const std::string wanted = "Max realtime timeout";
  for (std::string line; std::getline(limits, line);) {
    if (!line.starts_with(wanted)) continue;
    std::istringstream(line.substr(wanted.size())) >> request.soft_limit_us >>
        request.hard_limit_us;
  }
  return request;
}

DBusMessage* answer(DBusMessage* call, RealtimeKitService::Mode mode,
                    const std::string& request_path) {
  if (dbus_message_is_method_call(call, DBUS_INTERFACE_PROPERTIES, "Get"))
    return answer_property(call);
  if (!dbus_message_is_method_call(call, service_name, "MakeThreadRealtime")) return nullptr;
  const RealtimeKitService::Request request = read_request(call);
  std::ofstream(request_path, std::ios::binary)
      .write(reinterpret_cast<const char*>(&request), sizeof request);
  return mode == RealtimeKitService::grants
             ? dbus_message_new_method_return(call)
             : dbus_message_new_error(call, DBUS_ERROR_ACCESS_DENIED, "no");
}

[[noreturn]] void serve(const std::string& address, RealtimeKitService::Mode mode,
                        const ScratchFolder& folder) {
  DBusConnection* connection = nullptr;
  wait_until([&] { return connection = dbus_connection_open_private(address.c_str(), nullptr); });
  if (connection == nullptr || !dbus_bus_register(connection, nullptr)) _exit(1);
  if (mode != RealtimeKitService::is_missing &&
      dbus_bus_request_name(connection, service_name, 0, nullptr) < 0)
    _exit(1);
  std::ofstream(folder / "ready");
  while (dbus_connection_read_write(connection, -1)) {
    while (DBusMessage* call = dbus_connection_pop_message(connection)) {
      DBusMessage* const reply =
          mode == RealtimeKitService::is_silent ? nullptr : answer(call, mode, folder / "request");
      if (reply != nullptr) {
        dbus_connection_send(connection, reply, nullptr);
        dbus_connection_flush(connection);
        dbus_message_unref(reply);
      }
      dbus_message_unref(call);
    }
  }
  _exit(0);
}

}  // namespace

RealtimeKitService::RealtimeKitService(Mode mode) : bus_("unix:path=" + folder_ / "bus") {
  // The bus must come to it as another user.
  std::filesystem::permissions(folder_.path(), std::filesystem::perms(0755));
  std::string configuration = bus_configuration;
  configuration.replace(configuration.find('%'), 1, folder_.path());
  std::ofstream(folder_ / "bus.conf") << configuration;
  for (pid_t& process : processes_) {
    process = fork();
    if (process != 0) continue;
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (&process != processes_) serve(bus_, mode, folder_);
    dup2(open("/dev/null", O_WRONLY), STDERR_FILENO);
    become({"dbus-daemon", "--config-file=" + folder_ / "bus.conf", "--nofork"});
  }
  if (!wait_until([this] { return std::filesystem::exists(folder_ / "ready"); }))
    why_not_ = "dbus-daemon is not installed or does not start";
}

RealtimeKitService::~RealtimeKitService() {
  for (const pid_t process : processes_) {
    kill(process, SIGKILL);
    waitpid(process, nullptr, 0);
  }
}

std::optional<RealtimeKitService::Request> RealtimeKitService::request() const {
  Request request = {};
  const Bytes bytes = file_bytes(folder_ / "request");
  if (bytes.size() != sizeof request) return std::nullopt;
  std::memcpy(&request, bytes.data(), sizeof request);
  return request;
}

}  // namespace vesk::tests
