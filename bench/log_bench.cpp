// What a log call costs: silent, into the file, into the live channel; from one thread and from four.
#include <algorithm>
#include <benchmark/benchmark.h>
#include <cstdlib>
#include <filesystem>
#include <string>

#include "diag/dbg_log_facade.h"
#include "diag/host_discovery.h"
#include "diag/live_channel_format.h"
#include "diag/log_lifecycle.h"
#include "platform/module_identity.h"
#include "platform/named_objects.h"

namespace {

using namespace sbx;
namespace fs = std::filesystem;

// The log in a folder of its own, while a benchmark's threads run.
fs::path g_root;
platform::NamedEvent g_switch;
platform::NamedEvent g_listener;

void SetUpLog(const benchmark::State&) {
  std::string pattern = (fs::temp_directory_path() / "sbxml-bench-XXXXXX").string();
  g_root = ::mkdtemp(pattern.data());
  ::setenv("SBXML_RUNTIME_DIR", (g_root / "run").c_str(), 1);
  ::setenv("SBXML_LOG_DIR", (g_root / "logs").c_str(), 1);
  StartLog();
}

void TearDownLog(const benchmark::State&) {
  StopLog();
  g_switch.Close();
  g_listener.Close();
  platform::ReleaseNamedObjects();
  fs::remove_all(g_root);
}

void SetUpChannel(const benchmark::State& state) {
  SetUpLog(state);
  const WideString path = platform::ExecutablePath();
  WideString name(FileNameOf(path));
  std::transform(name.begin(), name.end(), name.begin(), AsciiUpper);
  g_listener.Create(kLiveEventName + name, platform::EventReset::kAuto);
  g_switch.Create(kLogSwitchName, platform::EventReset::kManual);
}

void Silent(benchmark::State& state) {
  for (auto _ : state) g_DBGLog.Printf(3, u"Convert struct %s at %p", u"Record", &state);
}
BENCHMARK(Silent)->Setup(SetUpLog)->Teardown(TearDownLog)->Threads(1)->Threads(4)->UseRealTime();

void IntoFile(benchmark::State& state) {
  for (auto _ : state) g_DBGLog.Printf(2, u"Convert struct %s at %p", u"Record", &state);
}
BENCHMARK(IntoFile)->Setup(SetUpLog)->Teardown(TearDownLog)->Threads(1)->Threads(4)->UseRealTime();

void IntoChannel(benchmark::State& state) {
  for (auto _ : state) g_DBGLog.Printf(3, u"Convert struct %s at %p", u"Record", &state);
}
BENCHMARK(IntoChannel)->Setup(SetUpChannel)->Teardown(TearDownLog)->Threads(1)->Threads(4)->UseRealTime();

}  // namespace

BENCHMARK_MAIN();
