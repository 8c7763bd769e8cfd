#include "diag/dbg_log_facade.h"

#include <algorithm>

#include "platform/locks.h"

namespace sbx {

namespace {

constexpr std::size_t kCounters = 16;
constexpr std::size_t kCacheLine = 64;

struct alignas(kCacheLine) Counter {
  std::atomic<std::int32_t> calls = 0;
};
constinit Counter g_calls[kCounters];

// Written only at start-up and shut-down, but there while other threads may call.
IDBGLogOutput* Current(IDBGLogOutput*& output) noexcept {
  return std::atomic_ref(output).load(std::memory_order_seq_cst);
}

}  // namespace

constinit DBGLogFacade g_DBGLog;

std::atomic<std::int32_t>& LogCallUnderWay::CounterOfThread() noexcept {
  return g_calls[platform::ThreadTurn() % kCounters].calls;
}

bool LogCallUnderWay::IsNone() noexcept {
  return std::all_of(std::begin(g_calls), std::end(g_calls),
                     [](const Counter& counter) { return counter.calls.load() == 0; });
}

void LogCallUnderWay::ForgetAll() noexcept {
  for (Counter& counter : g_calls) counter.calls.store(0);
}

bool DBGLogFacade::IsWanted(std::int32_t level) noexcept {
  IDBGLogOutput* const file = Current(fileOutput);
  if (file == nullptr) return false;
  if (level <= file->GetLogLevel()) return true;
  IDBGLogOutput* const live = Current(smOutput);
  return live != nullptr && level <= live->GetLogLevel();
}

void DBGLogFacade::Deliver(std::int32_t level, const Message& message) noexcept {
  // Line feeds at both ends go; a carriage return stops the search and stays.
  WideView text = message.view();
  const std::size_t first = std::min(text.find_first_not_of(u'\n'), text.size());
  text.remove_prefix(first);
  text = text.substr(0, text.find_last_not_of(u'\n') + 1);

  char16_t buffer[kMessageUnits + 1];
  CopyTruncated(buffer, kMessageUnits + 1, text);
  // Both are called, whichever of them wanted the message: each decides for itself again.
  if (IDBGLogOutput* const file = Current(fileOutput)) file->LogW(level, 0, buffer);
  if (IDBGLogOutput* const live = Current(smOutput)) live->LogW(level, 0, buffer);
}

}  // namespace sbx
