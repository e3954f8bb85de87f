// Waiting on descriptors against a deadline: every blocking step of a transport goes through
// these, so no wait on an instrument can outlast the operation's timeout.
#pragma once
#include <chrono>

namespace veqdx::io {

using Clock = std::chrono::steady_clock;

// Milliseconds from now to `deadline`, rounded up (a deadline set a moment ago still has its
// whole time); 0 once it has passed.
int MsLeft(Clock::time_point deadline);

// Waits for `events` on `fd` until `deadline`, resuming after signals. Returns 1 when ready
// (a hang-up or error counts as ready: the following call reports the cause), 0 on timeout,
// -1 on a failure of the wait itself (errno set).
int WaitFor(int fd, short events, Clock::time_point deadline);

}  // namespace veqdx::io
