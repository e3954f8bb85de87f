#include "sim_helper.h"

#include <chrono>
#include <thread>

#include "qdx_sim.h"

namespace capi_test {

struct Sim::Impl {
  Impl(const std::string& model, const std::vector<std::string>& channelModels) {
    qdxsim::Config config;
    config.model = model;
    config.port = 0;
    int number = 1;
    for (const std::string& m : channelModels) config.channels.push_back({number++, m});
    emulator = std::make_unique<qdxsim::Emulator>(config);
    started = emulator->start(&error);
  }
  std::unique_ptr<qdxsim::Emulator> emulator;
  bool started = false;
  std::string error;
};

Sim::Sim(const std::string& model, int channels)
    : impl_(std::make_unique<Impl>(model, std::vector<std::string>(channels, model))) {}

Sim::Sim(const std::vector<std::string>& channelModels)
    : impl_(std::make_unique<Impl>(channelModels.empty() ? "QDX750ML" : channelModels.front(),
                                   channelModels)) {}

Sim::~Sim() { impl_->emulator->stop(); }

bool Sim::started() const { return impl_->started; }
const std::string& Sim::error() const { return impl_->error; }

std::string Sim::Resource() const {
  return "TCPIP::127.0.0.1::" + std::to_string(impl_->emulator->port()) + "::SOCKET";
}

std::vector<std::string> Sim::Transcript(std::size_t atLeast) {
  using namespace std::chrono_literals;
  std::vector<std::string> lines = impl_->emulator->takeTranscript();
  auto append = [&] {
    for (std::string& line : impl_->emulator->takeTranscript()) lines.push_back(std::move(line));
  };
  const auto deadline = std::chrono::steady_clock::now() + 2s;
  while (lines.size() < atLeast && std::chrono::steady_clock::now() < deadline) {
    std::this_thread::sleep_for(1ms);
    append();
  }
  std::this_thread::sleep_for(15ms);
  append();
  return lines;
}

void Sim::Garbage(const std::string& match, const std::string& reply) {
  impl_->emulator->addGarbageQuery(match, reply);
}
void Sim::Silent(const std::string& match) { impl_->emulator->addSilentQuery(match); }
void Sim::ClearFaults() { impl_->emulator->clearFaults(); }
void Sim::RaiseAlarm(int channel, std::uint16_t bits) {
  impl_->emulator->instrument().raiseAlarm(channel, bits);
}

}  // namespace capi_test
