#include "fault_injection.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <chrono>
#include <climits>
#include <optional>
#include <utility>

namespace qdxsim::detail {

namespace {

// Whole patterns only, so that one block continues the digits of the one before.
constexpr std::size_t kEndlessBlock = 64 * 1024 / kEndlessPattern.size() * kEndlessPattern.size();

const std::string& endlessBlock() {
  static const std::string block = [] {
    std::string b;
    while (b.size() < kEndlessBlock) b += kEndlessPattern;
    return b;
  }();
  return block;
}

// Streams the endless reply as fast as the client takes it, until the client is gone, the
// front end stops, or the bound on bytes or time is reached. Always false: whatever ends it,
// the client has no message boundary to resynchronise on.
// Longest single wait of ReplyChannel::wait before it looks again.
constexpr int kWaitSliceMs = 1000;

bool sendEndless(ReplyChannel& channel) {
  auto deadline = std::chrono::steady_clock::now() + kEndlessMaxTime;
  std::string_view block = endlessBlock();
  channel.EndlessBegins();
  for (std::size_t sent = 0; sent < kEndlessMaxBytes; sent += block.size()) {
    if (channel.Stopping() || std::chrono::steady_clock::now() >= deadline) break;
    if (!channel.Send(block.substr(0, std::min(block.size(), kEndlessMaxBytes - sent)))) break;
  }
  channel.EndlessEnded();
  return false;
}

}  // namespace

bool containsNoCase(std::string_view text, std::string_view part) {
  if (part.empty()) return false;
  auto upper = [](char c) { return std::toupper(static_cast<unsigned char>(c)); };
  auto it = std::search(text.begin(), text.end(), part.begin(), part.end(),
                        [&](char a, char b) { return upper(a) == upper(b); });
  return it != text.end();
}

FaultState::FaultState(Faults initial)
    : faults_(std::move(initial)), closeCountdown_(faults_.closeAfterMessages) {}

Faults FaultState::ForMessage(bool countsTowardClose, bool* closeNow) {
  std::lock_guard lock(mutex_);
  if (countsTowardClose && closeCountdown_ > 0 && --closeCountdown_ == 0) {
    if (closeNow) *closeNow = true;
    faults_.closeAfterMessages = 0;
  }
  return faults_;
}

void FaultState::SetCloseAfter(int messages) {
  std::lock_guard lock(mutex_);
  faults_.closeAfterMessages = std::max(0, messages);
  closeCountdown_ = faults_.closeAfterMessages;
}

void FaultState::Clear() {
  std::lock_guard lock(mutex_);
  faults_ = Faults{};
  closeCountdown_ = 0;
}

bool ReplyChannel::Send(std::string_view data) {
  int stalledMs = 0;
  while (!data.empty()) {
    const ssize_t sent = WriteSome(data);
    if (sent > 0) {
      data.remove_prefix(static_cast<std::size_t>(sent));
      stalledMs = 0;
      continue;
    }
    if (sent < 0 && errno != EAGAIN && errno != EINTR) return false;
    if (stalledMs >= stallLimitMs_ || !WaitWritable(sendSliceMs_)) return false;
    stalledMs += sendSliceMs_;
  }
  return true;
}

bool ReplyChannel::Wait(int ms) {
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(ms);
  for (;;) {
    const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
        deadline - std::chrono::steady_clock::now());
    if (left.count() <= 0) return true;
    if (!WaitSlice(static_cast<int>(std::min<long long>(left.count(), kWaitSliceMs))))
      return false;
  }
}

bool answerMessage(Instrument& instrument, const Faults& f, std::string_view message,
                   ReplyChannel& channel) {
  std::optional<std::string> reply = instrument.Handle(message);
  if (!reply) return true;
  auto matches = [message](std::string_view match) { return containsNoCase(message, match); };
  if (std::any_of(f.silentQueries.begin(), f.silentQueries.end(), matches)) return true;

  long long delayMs = f.replyDelayMs;
  auto late = std::find_if(f.lateQueries.begin(), f.lateQueries.end(),
                           [&](const LateQuery& q) { return matches(q.match); });
  if (late != f.lateQueries.end()) delayMs += late->delayMs;
  // The reply is owed whether or not the client still waits for it; only a client that is
  // gone, or stopping, ends the wait early.
  if (delayMs > 0 && !channel.Wait(static_cast<int>(std::min<long long>(delayMs, INT_MAX))))
    return false;

  if (std::any_of(f.endlessQueries.begin(), f.endlessQueries.end(), matches))
    return sendEndless(channel);
  for (const auto& [match, text] : f.garbageQueries) {
    if (matches(match)) {
      *reply = text.empty() ? std::string(kDefaultGarbage) : text;
      break;
    }
  }
  *reply += '\n';
  if (f.chunkBytes == 0) return channel.Send(*reply);
  std::string_view rest = *reply;
  while (!rest.empty()) {
    std::size_t n = std::min(rest.size(), f.chunkBytes);
    if (!channel.Send(rest.substr(0, n))) return false;
    rest.remove_prefix(n);
    if (!rest.empty() && f.chunkPauseMs > 0 && !channel.Wait(f.chunkPauseMs)) return false;
  }
  return true;
}

}  // namespace qdxsim::detail
