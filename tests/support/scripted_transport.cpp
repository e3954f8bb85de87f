#include "support/scripted_transport.h"

#include <algorithm>
#include <cstring>

namespace veqdx::io {

// The link of one Connect(): keeps its own timeout and termination settings, as a VISA
// session does, and hands every transfer to the device.
class ScriptedTransport final : public CTransportBase {
 public:
  explicit ScriptedTransport(std::shared_ptr<ScriptedDevice> device)
      : CTransportBase(2000,
                       device->resourceClass_ == "SOCKET" ||
                           device->type_ == InterfaceType::Serial,
                       device->interfaceNumber_),
        device_(std::move(device)) {}
  ~ScriptedTransport() override { Close(); }

  IoResult Write(const char* data, std::size_t size, bool end, std::size_t& written) override {
    written = 0;
    if (closed_) return IoResult::Error("the scripted session is closed");
    return device_->DoWrite(data, size, end, written);
  }
  IoResult Read(char* buffer, std::size_t max, std::size_t& got, ReadEnd& why) override {
    got = 0;
    why = ReadEnd::Count;
    if (closed_) return IoResult::Error("the scripted session is closed");
    return device_->DoRead(buffer, max, got, why, link_.termChar, link_.termEnabled,
                           link_.timeoutMs);
  }

  IoResult Clear() override {
    if (closed_) return IoResult::Error("the scripted session is closed");
    return device_->DoClear();
  }
  IoResult ReadStatusByte(std::uint8_t& stb) override {
    std::lock_guard lock(device_->mutex_);
    if (!device_->statusByteSupported_)
      return {IoCode::NotSupported, "the scripted device does not support the status byte"};
    stb = device_->statusByte_;
    return IoResult::Ok();
  }
  IoResult Lock(int) override {
    std::lock_guard lock(device_->mutex_);
    ++device_->locks_;
    return IoResult::Ok();
  }
  IoResult Unlock() override {
    std::lock_guard lock(device_->mutex_);
    --device_->locks_;
    return IoResult::Ok();
  }
  void Close() override {
    if (closed_) return;
    closed_ = true;
    std::lock_guard lock(device_->mutex_);
    --device_->connections_;
  }

  // Instrument resources end a reply with END and empty their output on a device clear, as
  // GPIB and VXI-11 devices do.
  bool ClearEmptiesOutput() const override { return HasEndSignal(); }
  bool HasEndSignal() const override {
    return device_->resourceClass_ != "SOCKET" && device_->type_ != InterfaceType::Serial;
  }
  InterfaceType Interface() const override { return device_->type_; }
  std::string ResourceClass() const override { return device_->resourceClass_; }

 private:
  std::shared_ptr<ScriptedDevice> device_;
  bool closed_ = false;
};

ScriptedDevice::ScriptedDevice(InterfaceType type, std::string resourceClass,
                               int interfaceNumber)
    : type_(type), resourceClass_(std::move(resourceClass)), interfaceNumber_(interfaceNumber) {}

std::unique_ptr<ITransport> ScriptedDevice::Connect() {
  {
    std::lock_guard lock(mutex_);
    ++connections_;
  }
  return std::make_unique<ScriptedTransport>(shared_from_this());
}

void ScriptedDevice::QueueLocked(const std::string& reply, const ReplyOptions& options) {
  if (reply.empty()) {
    if (options.end) output_.push_back({std::string(), true, false});
    return;
  }
  std::size_t step = options.chunk == 0 ? reply.size() : options.chunk;
  for (std::size_t pos = 0; pos < reply.size(); pos += step) {
    bool last = pos + step >= reply.size();
    output_.push_back({reply.substr(pos, step), last && options.end, !last});
  }
}

ScriptedDevice& ScriptedDevice::Reply(std::string reply, ReplyOptions options) {
  std::lock_guard lock(mutex_);
  QueueLocked(reply, options);
  return *this;
}

ScriptedDevice& ScriptedDevice::OnQuery(std::string command, std::string reply,
                                        ReplyOptions options) {
  std::lock_guard lock(mutex_);
  std::erase_if(rules_, [&](const Rule& r) { return r.command == command; });
  rules_.push_back({std::move(command), std::move(reply), options});
  return *this;
}

ScriptedDevice& ScriptedDevice::OnMessage(Responder responder) {
  std::lock_guard lock(mutex_);
  responder_ = std::move(responder);
  return *this;
}

ScriptedDevice& ScriptedDevice::TimeOutNextRead() {
  std::lock_guard lock(mutex_);
  readFaults_.push_back(IoResult::Timeout({}));
  return *this;
}

ScriptedDevice& ScriptedDevice::FailNextRead(std::string message) {
  std::lock_guard lock(mutex_);
  readFaults_.push_back(IoResult::Error(std::move(message)));
  return *this;
}

ScriptedDevice& ScriptedDevice::FailNextWrite(std::string message) {
  std::lock_guard lock(mutex_);
  writeFaults_.push_back(IoResult::Error(std::move(message)));
  return *this;
}

ScriptedDevice& ScriptedDevice::AcceptAtMostNextWrite(std::size_t count) {
  std::lock_guard lock(mutex_);
  acceptLimit_ = count;
  return *this;
}

ScriptedDevice& ScriptedDevice::SetStatusByte(std::uint8_t stb) {
  std::lock_guard lock(mutex_);
  statusByte_ = stb;
  return *this;
}

ScriptedDevice& ScriptedDevice::SetStatusByteSupported(bool supported) {
  std::lock_guard lock(mutex_);
  statusByteSupported_ = supported;
  return *this;
}

std::vector<std::string> ScriptedDevice::Written() const {
  std::lock_guard lock(mutex_);
  return messages_;
}

std::vector<WriteRecord> ScriptedDevice::Writes() const {
  std::lock_guard lock(mutex_);
  return writes_;
}

void ScriptedDevice::ClearWritten() {
  std::lock_guard lock(mutex_);
  writes_.clear();
  messages_.clear();
  messageOpen_ = false;
}

std::vector<std::size_t> ScriptedDevice::Reads() const {
  std::lock_guard lock(mutex_);
  return reads_;
}

std::size_t ScriptedDevice::PendingOutput() const {
  std::lock_guard lock(mutex_);
  std::size_t n = 0;
  for (const auto& s : output_) n += s.bytes.size();
  return n;
}

int ScriptedDevice::ClearCount() const {
  std::lock_guard lock(mutex_);
  return clears_;
}

int ScriptedDevice::LockCount() const {
  std::lock_guard lock(mutex_);
  return locks_;
}

bool ScriptedDevice::Connected() const {
  std::lock_guard lock(mutex_);
  return connections_ > 0;
}

void ScriptedDevice::MessageCompleteLocked(const std::string& message) {
  std::string_view key = message;
  while (!key.empty() && (key.back() == '\n' || key.back() == '\r')) key.remove_suffix(1);
  for (const Rule& rule : rules_) {
    if (rule.command == key) {
      QueueLocked(rule.reply, rule.options);
      return;
    }
  }
  if (responder_) {
    // The responder runs under the lock: it must not call back into the device.
    if (auto reply = responder_(message)) QueueLocked(*reply, ReplyOptions{});
  }
}

IoResult ScriptedDevice::DoWrite(const char* data, std::size_t size, bool end,
                                 std::size_t& written) {
  std::lock_guard lock(mutex_);
  if (!writeFaults_.empty()) {
    IoResult fault = std::move(writeFaults_.front());
    writeFaults_.pop_front();
    return fault;
  }
  std::size_t accepted = acceptLimit_ ? std::min(size, *acceptLimit_) : size;
  acceptLimit_.reset();
  std::string bytes(data, accepted);
  writes_.push_back({bytes, end});
  if (messageOpen_)
    messages_.back() += bytes;
  else
    messages_.push_back(bytes);
  messageOpen_ = !end;
  written = accepted;
  if (end) MessageCompleteLocked(messages_.back());
  return IoResult::Ok();
}

IoResult ScriptedDevice::DoRead(char* buffer, std::size_t max, std::size_t& got, ReadEnd& why,
                                char term, bool termEnabled, int timeoutMs) {
  std::lock_guard lock(mutex_);
  reads_.push_back(max);
  if (!readFaults_.empty()) {
    IoResult fault = std::move(readFaults_.front());
    readFaults_.pop_front();
    if (fault.code == IoCode::Timeout && fault.message.empty())
      fault.message = "no reply within " + std::to_string(timeoutMs) + " ms";
    return fault;
  }
  while (got < max && !output_.empty()) {
    Segment& seg = output_.front();
    std::size_t take = std::min(seg.bytes.size(), max - got);
    if (termEnabled) {
      auto pos = seg.bytes.find(term);
      if (pos != std::string::npos && pos < take) take = pos + 1;
    }
    std::memcpy(buffer + got, seg.bytes.data(), take);
    got += take;
    bool termHit = termEnabled && take > 0 && seg.bytes[take - 1] == term;
    if (take < seg.bytes.size()) {
      seg.bytes.erase(0, take);
      why = termHit ? ReadEnd::TermChar : ReadEnd::Count;
      return IoResult::Ok();
    }
    Segment done = std::move(seg);
    output_.pop_front();
    if (done.end) {
      why = ReadEnd::End;
      return IoResult::Ok();
    }
    if (termHit) {
      why = ReadEnd::TermChar;
      return IoResult::Ok();
    }
    if (done.pause) {
      why = ReadEnd::Count;
      return IoResult::Ok();
    }
  }
  if (got == max) {
    why = ReadEnd::Count;
    return IoResult::Ok();
  }
  return IoResult::Timeout("no reply within " + std::to_string(timeoutMs) + " ms");
}

IoResult ScriptedDevice::DoClear() {
  std::lock_guard lock(mutex_);
  ++clears_;
  output_.clear();
  return IoResult::Ok();
}

}  // namespace veqdx::io
