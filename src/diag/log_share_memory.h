// The ring of the live channel: both its writing and its reading side.
//
// One object is one side. Not thread-safe by itself; between processes the channel mutex guards the block. An
// abandoned mutex counts as obtained: a record half written by a process that died is overwritten in its
// turn.
#pragma once

#include <cstdint>
#include <vector>

#include "base/wide_text.h"
#include "diag/live_channel_format.h"
#include "diag/log_message.h"
#include "platform/named_objects.h"

namespace sbx {

class CLogShareMemory {
 public:
  // `name` is an executable's file name, in any case.
  explicit CLogShareMemory(WideString name) : name_(std::move(name)) {}
  virtual ~CLogShareMemory();
  CLogShareMemory(const CLogShareMemory&) = delete;
  CLogShareMemory& operator=(const CLogShareMemory&) = delete;

  // The writing side's opening: 1 if a reader's event is there and the ring is open, else 0. Makes the ring
  // if it is missing.
  virtual int Create();
  // The reading side's opening, of what exists already; the handles tell what was found.
  virtual void Attach();
  virtual void Close();
  // Puts a message into the ring. 0 for an empty one.
  virtual int Write(std::int32_t level, std::int32_t errorCode, WideView module, WideView text);
  // Takes all new records. The caller releases each. 1 if the ring was read, 0 otherwise. A reader that has
  // fallen behind gets slots more than once; one more than kReadLimit behind only the last of these.
  virtual int Read(std::vector<CLogMessage*>& messages);
  // 1 if the record went into the ring.
  virtual int Put(const LOG_SM_RECORD& record);

  // Beside the told operations, for tools: the two indices. False if the ring can't be read.
  bool ReadIndices(std::int64_t* readIndex, std::int64_t* writeIndex) noexcept;
  // Takes the new records that are still there, each once and kLiveSlots at most, and counts those that were
  // overwritten before. False if the ring can't be read. Indices that make no sense are put right. May throw
  // std::bad_alloc.
  bool ReadNew(std::vector<LOG_SM_RECORD>& records, std::uint64_t* lost);
  bool IsAttached() const noexcept { return mutex_.IsOpen() && mapping_.IsOpen(); }

  static constexpr std::int64_t kReadLimit = 64 * static_cast<std::int64_t>(kLiveSlots);

 private:
  WideString ObjectName(const char16_t* prefix);
  bool MakeRing();
  LOG_SM_BLOCK* Map() noexcept { return static_cast<LOG_SM_BLOCK*>(mapping_.Map(sizeof(LOG_SM_BLOCK))); }

  WideString name_;
  platform::NamedMutex mutex_;
  platform::SharedBlock mapping_;
  platform::NamedEvent event_;
};

}  // namespace sbx
