// A second process that holds a named mutex until it is killed.
#pragma once

#include "platform/named_objects.h"
#include "support/killable_process.h"

namespace sbx::testing {

// The work of a KillableProcess: it speaks once it holds the mutex, which is there already.
inline int HoldMutex(WideView name) {
  platform::NamedMutex mutex;
  mutex.Open(name);
  mutex.Wait(0);
  KillableProcess::Say();
  return KillableProcess::Sleep();
}

}  // namespace sbx::testing
