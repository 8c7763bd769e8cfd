// The block of a logging process, made by the test for its own.
#pragma once

#include <cstdint>
#include <gtest/gtest.h>

#include "base/format.h"
#include "diag/log_config_format.h"
#include "platform/module_identity.h"
#include "platform/named_objects.h"

namespace sbx::testing {

// A block of the test's own process, filled as a logging process fills it.
class OwnBlock {
 public:
  explicit OwnBlock(std::size_t size = sizeof(LOGCFG_BLOCK)) {
    const auto id = platform::CurrentProcessId();
    EXPECT_TRUE(platform::IsOpened(mutex_.Create(Message(kLogConfigMutexName, id).view())));
    EXPECT_TRUE(platform::IsOpened(mapping_.Create(Message(kLogConfigBlockName, id).view(), size)));
    block_ = static_cast<LOGCFG_BLOCK*>(mapping_.Map(size));
    if (size != sizeof(LOGCFG_BLOCK)) return;
    block_->headMagic = block_->tailMagic = kLogConfigMagic;
    block_->globalLevel = kNoLogLevel;
  }
  LOGCFG_BLOCK* operator->() const { return block_; }
  platform::NamedMutex& mutex() { return mutex_; }

 private:
  platform::NamedMutex mutex_;
  platform::SharedBlock mapping_;
  LOGCFG_BLOCK* block_;
};

}  // namespace sbx::testing
