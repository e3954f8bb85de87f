// The faults of one emulator and how a reply goes out under them, shared by the front ends
// that speak line-feed terminated messages over a byte stream: the raw socket (and through it
// every VXI-11 link) and the serial pseudo-terminal. One FaultState serves all of them, so a
// setter takes effect for the next message wherever it arrives.
#pragma once

#include <sys/types.h>

#include <mutex>
#include <string>
#include <string_view>

#include "qdx_sim.h"

namespace qdxsim::detail {

// True when `text` contains `part` (not empty), compared without regard to case.
bool containsNoCase(std::string_view text, std::string_view part);

class FaultState {
 public:
  explicit FaultState(Faults initial = {});

  // The faults in force for one message. With `countsTowardClose` the message counts toward
  // closeAfterMessages, and *closeNow is set for the one that completes the count.
  Faults ForMessage(bool countsTowardClose, bool* closeNow = nullptr);
  // Changes the faults under the lock.
  template <class Change>
  void Edit(Change&& edit) {
    std::lock_guard lock(mutex_);
    edit(faults_);
  }
  void SetCloseAfter(int messages);
  void Clear();

 private:
  std::mutex mutex_;
  Faults faults_;
  int closeCountdown_ = 0;
};

// A front end's end of the byte stream to one client. Sending and waiting loop the same way on
// every front end, so that a stop or a vanished client is noticed within a slice; a front end
// supplies the single steps.
class ReplyChannel {
 public:
  // A client that takes nothing for `stallLimitMs` is dropped; while it takes nothing, room to
  // write is waited for in slices of `sendSliceMs`.
  ReplyChannel(int stallLimitMs, int sendSliceMs)
      : stallLimitMs_(stallLimitMs), sendSliceMs_(sendSliceMs) {}
  virtual ~ReplyChannel() = default;
  // Sends all of `data`; false when the client is gone, has taken nothing for too long, or the
  // front end stops.
  bool Send(std::string_view data);
  // Waits `ms`; false when the front end stops meanwhile or the client is seen to be gone.
  bool Wait(int ms);
  // True once the front end is stopping.
  virtual bool Stopping() = 0;
  // Around an endless reply: a front end that cannot otherwise tell that the client went away
  // arranges here to notice it, and cleans up after the stream.
  virtual void EndlessBegins() {}
  virtual void EndlessEnded() {}

 protected:
  // One write that does not block: the bytes taken, or -1 with errno (EAGAIN, EINTR: none
  // this time).
  virtual ssize_t WriteSome(std::string_view data) = 0;
  // Waits at most `ms` for room to write; false when the front end stops.
  virtual bool WaitWritable(int ms) = 0;
  // Waits at most `ms`; false when the front end stops or the client is seen to be gone.
  virtual bool WaitSlice(int ms) = 0;

 private:
  int stallLimitMs_;
  int sendSliceMs_;
};

// Executes `message` on `instrument` and answers it through `channel` as the faults `f` say:
// silent, endless, garbage, late (plus the reply delay), then whole or in chunks. False when
// the stream cannot carry another message: the client is gone, the front end stops, or an
// endless reply was sent (its end is no message boundary).
bool answerMessage(Instrument& instrument, const Faults& f, std::string_view message,
                   ReplyChannel& channel);

}  // namespace qdxsim::detail
