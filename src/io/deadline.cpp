#include "io/deadline.h"

#include <poll.h>

#include <cerrno>
#include <climits>

namespace veqdx::io {

int MsLeft(Clock::time_point deadline) {
  const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now());
  if (left.count() <= 0) return 0;
  return left.count() > INT_MAX ? INT_MAX : static_cast<int>(left.count());
}

int WaitFor(int fd, short events, Clock::time_point deadline) {
  for (;;) {
    pollfd p{fd, events, 0};
    const int rc = ::poll(&p, 1, MsLeft(deadline));
    if (rc < 0 && errno == EINTR) continue;
    return rc;
  }
}

}  // namespace veqdx::io
