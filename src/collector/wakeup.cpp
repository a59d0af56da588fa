#include "collector/wakeup.h"

#include <algorithm>
#include <ctime>

#include <sys/epoll.h>
#include <sys/timerfd.h>
#include <unistd.h>

namespace zanctl::collector {

Moment now() {
  timespec time{};
  clock_gettime(CLOCK_MONOTONIC_COARSE, &time);
  return std::chrono::seconds(time.tv_sec) +
         std::chrono::duration_cast<Moment>(std::chrono::nanoseconds(time.tv_nsec));
}

Wakeup::Wakeup()
    : epoll_(epoll_create1(EPOLL_CLOEXEC)),
      timer_(timerfd_create(CLOCK_MONOTONIC, TFD_CLOEXEC | TFD_NONBLOCK)) {
  watch(timer_);
}

Wakeup::~Wakeup() {
  if (timer_ >= 0) close(timer_);
  if (epoll_ >= 0) close(epoll_);
}

void Wakeup::watch(int socket) {
  epoll_event event{};
  event.events = EPOLLIN;
  epoll_ctl(epoll_, EPOLL_CTL_ADD, socket, &event);
}

void Wakeup::forget(int socket) { epoll_ctl(epoll_, EPOLL_CTL_DEL, socket, nullptr); }

// Setting the timer also takes back that it has expired.
void Wakeup::wakeAt(std::optional<Moment> time) {
  itimerspec setting{};
  if (time) {
    const Moment rest = std::max(*time - now(), Moment(1));
    setting.it_value.tv_sec = rest.count() / 1000;
    setting.it_value.tv_nsec = rest.count() % 1000 * 1'000'000;
  }
  timerfd_settime(timer_, 0, &setting, nullptr);
}

}  // namespace zanctl::collector
