// Runs sbxlog beside the test, and logging processes, over a folder of their own.
#pragma once

#include <algorithm>
#include <cctype>
#include <chrono>
#include <cstdint>
#include <functional>
#include <gtest/gtest.h>
#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "base/wide_text.h"
#include "sbxlog/host_process.h"
#include "sbxlog/tool_run.h"
#include "sbxlog/tool_steering.h"
#include "support/log_sandbox.h"
#include "support/scratch_folder.h"

namespace sbx::testing {

// Asks until it holds, for as long as a loaded machine may need.
inline bool Eventually(const std::function<bool()>& holds,
                       std::chrono::seconds limit = std::chrono::seconds(30)) {
  const auto end = std::chrono::steady_clock::now() + limit;
  while (!holds()) {
    if (std::chrono::steady_clock::now() > end) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
  return true;
}

// The program that most hosts are, and the names that the live channel has for a host.
inline const std::string kPrinter = ProgramOf("printer");
inline std::string ChannelOf(const std::string& name) {
  std::string channel = ProgramOf(name);
  std::transform(channel.begin(), channel.end(), channel.begin(),
                 [](char c) { return static_cast<char>(std::toupper(c)); });
  return channel;
}
inline WideString WideChannelOf(const std::string& name) {
  const std::string channel = ChannelOf(name);
  return {channel.begin(), channel.end()};
}

// A run of the command, which may go on while the test does other things.
class Sbxlog {
 public:
  explicit Sbxlog(const std::vector<std::string>& arguments) : process_(Start(arguments, streams_)) {}
  ~Sbxlog() {
    if (!process_) return;
    KillTool(*process_);
    EndOfTool(*process_);
  }
  Sbxlog(const Sbxlog&) = delete;
  Sbxlog& operator=(const Sbxlog&) = delete;

  const ToolProcess& process() const { return *process_; }
  std::string Id() const { return std::to_string(IdOfTool(*process_)); }
  std::string output() const { return streams_.Read("output"); }
  std::string errors() const { return streams_.Read("errors"); }
  bool Says(const std::string& text) const {
    return Eventually([&] { return output().find(text) != std::string::npos; });
  }
  // Waits for its end.
  Said End() {
    Said said;
    said.ended = EndOfTool(*std::exchange(process_, std::nullopt));
    said.output = output();
    said.errors = errors();
    return said;
  }
  // Ctrl-C, and its end.
  Said Interrupt() {
    InterruptTool(*process_);
    return End();
  }
  void Kill() {
    KillTool(*process_);
    EXPECT_EQ(End().ended, kKilledTool);
  }

 private:
  static ToolProcess Start(const std::vector<std::string>& arguments, const ScratchFolder& streams) {
    ToolStart start = SbxlogStart(arguments, streams);
    start.hasOwnConsole = true;
    const ToolProcess process = StartTool(start);
    EndWithTest(process);
    return process;
  }

  ScratchFolder streams_;
  std::optional<ToolProcess> process_;
};

}  // namespace sbx::testing
