#include "tests/support/realtime_kit_service.hpp"

#include <dbus/dbus.h>
#include <fcntl.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

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

[[noreturn]] void serve(const std::string& address, RealtimeKitService::Mode mode, int requests,
                        int ready) {
  DBusConnection* connection = dbus_connection_open_private(address.c_str(), nullptr);
  if (connection == nullptr || !dbus_bus_register(connection, nullptr) ||
      dbus_bus_request_name(connection, service_name, 0, nullptr) < 0)
    _exit(1);
  if (write(ready, "r", 1) != 1) _exit(1);
  while (dbus_connection_read_write(connection, -1)) {
    while (DBusMessage* call = dbus_connection_pop_message(connection)) {
      DBusMessage* answer = nullptr;
      if (mode != RealtimeKitService::is_silent) {
        if (dbus_message_is_method_call(call, DBUS_INTERFACE_PROPERTIES, "Get"))
          answer = answer_property(call);
        if (dbus_message_is_method_call(call, service_name, "MakeThreadRealtime")) {
          const RealtimeKitService::Request request = read_request(call);
          if (write(requests, &request, sizeof request) != sizeof request) _exit(1);
          answer = mode == RealtimeKitService::grants
                       ? dbus_message_new_method_return(call)
                       : dbus_message_new_error(call, DBUS_ERROR_ACCESS_DENIED, "no");
        }
      }
      if (answer != nullptr) {
        dbus_connection_send(connection, answer, nullptr);
        dbus_connection_flush(connection);
        dbus_message_unref(answer);
      }
      dbus_message_unref(call);
    }
  }
  _exit(0);
}

/// One byte or line that a child writes when it serves.
bool is_ready(int descriptor) {
  pollfd readable = {.fd = descriptor, .events = POLLIN, .revents = 0};
  char text[256];
  return poll(&readable, 1, 10'000) == 1 && read(descriptor, text, sizeof text) > 0;
}

void end(pid_t process) {
  if (process <= 0) return;
  kill(process, SIGKILL);
  waitpid(process, nullptr, 0);
}

}  // namespace

RealtimeKitService::RealtimeKitService(Mode mode) {
  start_bus();
  if (why_not_.empty() && mode != is_missing) start_service(mode);
}

RealtimeKitService::~RealtimeKitService() {
  end(service_);
  end(bus_);
  if (requests_ >= 0) close(requests_);
}

void RealtimeKitService::start_bus() {
  // The bus must come to it as another user.
  std::filesystem::permissions(folder_.path(), std::filesystem::perms(0755));
  address_ = "unix:path=" + folder_ / "bus";
  std::string configuration = bus_configuration;
  configuration.replace(configuration.find('%'), 1, folder_.path());
  std::ofstream(folder_ / "bus.conf") << configuration;
  int ends[2];
  if (pipe(ends) != 0) return;
  bus_ = fork();
  if (bus_ == 0) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    dup2(ends[1], STDOUT_FILENO);
    dup2(open("/dev/null", O_WRONLY), STDERR_FILENO);
    const std::string file = "--config-file=" + folder_ / "bus.conf";
    execlp("dbus-daemon", "dbus-daemon", file.c_str(), "--nofork", "--print-address=1", nullptr);
    _exit(127);
  }
  close(ends[1]);
  if (!is_ready(ends[0])) why_not_ = "dbus-daemon is not installed or does not start";
  close(ends[0]);
}

void RealtimeKitService::start_service(Mode mode) {
  int requests[2];
  int ready[2];
  if (pipe(requests) != 0 || pipe(ready) != 0) return;
  service_ = fork();
  if (service_ == 0) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    serve(address_, mode, requests[1], ready[1]);
  }
  close(requests[1]);
  close(ready[1]);
  requests_ = requests[0];
  if (!is_ready(ready[0])) why_not_ = "the service found no place on its bus";
  close(ready[0]);
}

std::optional<RealtimeKitService::Request> RealtimeKitService::request() const {
  pollfd readable = {.fd = requests_, .events = POLLIN, .revents = 0};
  Request request = {};
  if (poll(&readable, 1, 0) != 1 || read(requests_, &request, sizeof request) != sizeof request)
    return std::nullopt;
  return request;
}

}  // namespace vesk::tests
