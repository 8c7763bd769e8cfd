// A folder with documents that the command has something to say of.
#pragma once

#include <gtest/gtest.h>

#include "sbxml/tool_runner.h"

namespace sbx::testing {

class SbxmlDiagnostics : public ::testing::Test {
 protected:
  SbxmlDiagnostics() {
    folder_.Write("bad.xml", JobText().With("tone", "<tone>300</tone>"));
    folder_.Write("broken.xml", "<Job>");
  }
  ToolFolder folder_;
};

inline constexpr const char* kCut =
    "bad.xml:3:1: warning: Job/tone: 300 does not fit: 44 is stored (offset 2, uchar) "
    "[value-cut]\n";

}  // namespace sbx::testing
