#include <pthread.h>
#include <pthread/qos.h>

#include "client/src/host_impl.hpp"

namespace vesk::client {

void become_background_thread() {
  pthread_setname_np("vesk client");
  pthread_set_qos_class_self_np(QOS_CLASS_USER_INITIATED, 0);
}

}  // namespace vesk::client
