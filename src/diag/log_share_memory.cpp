#include "diag/log_share_memory.h"

#include <algorithm>
#include <cstring>

#include "platform/module_identity.h"

namespace sbx {
namespace {

constexpr std::uint32_t kMutexMilliseconds = 5000;

bool IsObtained(platform::WaitResult result) noexcept {
  return result == platform::WaitResult::kObtained || result == platform::WaitResult::kAbandoned;
}

// Index arithmetic on numbers that another process may have damaged.
std::int64_t Add(std::int64_t number, std::int64_t more) noexcept {
  return static_cast<std::int64_t>(static_cast<std::uint64_t>(number) + static_cast<std::uint64_t>(more));
}

}  // namespace

CLogShareMemory::~CLogShareMemory() {
  CLogShareMemory::Close();
}

WideString CLogShareMemory::ObjectName(const char16_t* prefix) {
  std::transform(name_.begin(), name_.end(), name_.begin(), AsciiUpper);
  return prefix + name_;
}

int CLogShareMemory::Create() {
  // Without a reader nothing is made.
  if (!event_.IsOpen() && !platform::IsOpened(event_.Open(ObjectName(kLiveEventName)))) return 0;
  if (!mutex_.IsOpen() && !platform::IsOpened(mutex_.Create(ObjectName(kLiveMutexName)))) return 0;
  const platform::MutexScope scope(mutex_, platform::kWaitForever);
  if (!IsObtained(scope.result())) return 0;
  return mapping_.IsOpen() || MakeRing() ? 1 : 0;
}

// Under the mutex.
bool CLogShareMemory::MakeRing() {
  platform::ObjectStatus status = mapping_.Create(ObjectName(kLiveBlockName), sizeof(LOG_SM_BLOCK));
  if (status == platform::ObjectStatus::kDenied) {
    status = mapping_.Create(ObjectName(kLiveLocalBlockName), sizeof(LOG_SM_BLOCK));
  }
  if (status == platform::ObjectStatus::kExisted) return true;
  if (status != platform::ObjectStatus::kOk) return false;
  LOG_SM_BLOCK* block = Map();
  if (block == nullptr) return false;
  block->header.readIndex = -1;  // the rest of a new block is zero
  block->header.writeIndex = -1;
  return true;
}

void CLogShareMemory::Attach() {
  if (!mutex_.IsOpen() && !platform::IsOpened(mutex_.Open(ObjectName(kLiveMutexName)))) return;
  if (mapping_.IsOpen()) return;
  if (!platform::IsOpened(mapping_.Open(ObjectName(kLiveBlockName)))) {
    static_cast<void>(mapping_.Open(ObjectName(kLiveLocalBlockName)));
  }
}

void CLogShareMemory::Close() {
  event_.Close();
  mutex_.Close();
  mapping_.Close();
}

int CLogShareMemory::Write(std::int32_t level, std::int32_t errorCode, WideView module, WideView text) {
  if (text.empty()) return 0;
  LOG_SM_RECORD record;
  std::memset(&record, 0, offsetof(LOG_SM_RECORD, message));  // behind the message's end nothing counts
  CopyTruncated(record.processName, std::size(record.processName), name_);
  CopyTruncated(record.moduleName, std::size(record.moduleName), module);
  record.time = platform::LocalTimeNow();
  record.errorCode = static_cast<std::uint32_t>(errorCode);
  record.level = level;
  record.processId = platform::CurrentProcessId();
  record.threadId = platform::CurrentThreadId();
  CopyTruncated(record.message, std::size(record.message), text);
  const std::size_t used = std::min(text.size(), std::size(record.message) - 1) + 1;
  std::fill(record.message + used, std::end(record.message), u'\0');
  return Put(record);
}

int CLogShareMemory::Put(const LOG_SM_RECORD& record) {
  if (record.message[0] == 0 || !mutex_.IsOpen() || !mapping_.IsOpen()) return 0;
  {
    const platform::MutexScope scope(mutex_, kMutexMilliseconds);
    if (!IsObtained(scope.result())) return 0;
    LOG_SM_BLOCK* block = Map();
    if (block == nullptr) return 0;
    // The writer never waits for the reader. The number comes last, so that a writer that dies in between
    // leaves no number without its record.
    const std::int64_t number = Add(block->header.writeIndex, 1);
    block->slots[SlotOf(number)] = record;
    block->header.writeIndex = number;
  }
  event_.Set();
  return 1;
}

int CLogShareMemory::Read(std::vector<CLogMessage*>& messages) {
  if (!IsAttached()) return 0;
  const platform::MutexScope scope(mutex_, kMutexMilliseconds);
  if (!IsObtained(scope.result())) return 0;
  LOG_SM_BLOCK* block = Map();
  if (block == nullptr) return 0;
  messages.clear();
  const std::int64_t last = block->header.writeIndex;
  if (last == -1) return 0;
  const std::int64_t first = Add(block->header.readIndex, 1);
  if (last < first) {
    block->header.readIndex = last;
    return 1;
  }
  const std::uint64_t count = static_cast<std::uint64_t>(last) - static_cast<std::uint64_t>(first) + 1;
  const std::uint64_t taken = std::min(count, static_cast<std::uint64_t>(kReadLimit));
  try {
    messages.reserve(taken);
    for (std::uint64_t left = taken; left > 0; --left) {
      messages.push_back(
          new CLogMessage(block->slots[SlotOf(Add(last, 1 - static_cast<std::int64_t>(left)))]));
    }
  } catch (const std::bad_alloc&) {
    for (CLogMessage* message : messages) message->Release();
    messages.clear();
    return 0;
  }
  block->header.readIndex = last;
  return 1;
}

bool CLogShareMemory::ReadNew(std::vector<LOG_SM_RECORD>& records, std::uint64_t* lost) {
  records.clear();
  records.reserve(kLiveSlots);  // before the mutex is taken
  *lost = 0;
  if (!IsAttached()) return false;
  const platform::MutexScope scope(mutex_, kMutexMilliseconds);
  LOG_SM_BLOCK* block = IsObtained(scope.result()) ? Map() : nullptr;
  if (block == nullptr) return false;
  const std::int64_t read = block->header.readIndex;
  const std::int64_t last = block->header.writeIndex;
  block->header.readIndex = last;
  if (last <= read) return true;
  const std::uint64_t unread = static_cast<std::uint64_t>(last) - static_cast<std::uint64_t>(read);
  const std::uint64_t there = std::min(unread, static_cast<std::uint64_t>(kLiveSlots));
  *lost = unread - there;
  for (std::uint64_t left = there; left > 0; --left) {
    records.push_back(block->slots[SlotOf(Add(last, 1 - static_cast<std::int64_t>(left)))]);
  }
  return true;
}

bool CLogShareMemory::ReadIndices(std::int64_t* readIndex, std::int64_t* writeIndex) noexcept {
  if (!IsAttached()) return false;
  const platform::MutexScope scope(mutex_, kMutexMilliseconds);
  const LOG_SM_BLOCK* block = IsObtained(scope.result()) ? Map() : nullptr;
  if (block == nullptr) return false;
  *readIndex = block->header.readIndex;
  *writeIndex = block->header.writeIndex;
  return true;
}

}  // namespace sbx
