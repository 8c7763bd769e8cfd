// The wall between the library and its callers: no exception crosses it.
#pragma once

#include <exception>
#include <utility>

#include "base/result_codes.h"

namespace sbx {

// Runs the body of an export. Memory is all that anything inside can be refused, and all that is ever thrown
// (a text longer than a string can be included): the result is then -3, after `refused` has run, which must
// not throw.
template <class Body, class Refused>
Status GuardedCall(Body&& body, Refused&& refused) {
  try {
    return std::forward<Body>(body)();
  } catch (const std::exception&) {
    std::forward<Refused>(refused)();
    return kMemory;
  }
}

// For an export that leaves no trace of refused memory but its code.
template <class Body>
Status GuardedCall(Body&& body) {
  return GuardedCall(std::forward<Body>(body), [] {});
}

}  // namespace sbx
