// The page as a named block, which whoever started the worker opens too. Logs lie beside the program anyway.
#pragma once

#include <map>
#include <string>
#include <windows.h>

namespace sbx::testing {

// The blocks of the pages: the name lives as long as a handle.
inline std::map<ProgressPage*, HANDLE>& ProgressBlocks() {
  static std::map<ProgressPage*, HANDLE> blocks;
  return blocks;
}

inline ProgressPage* OpenProgress(const std::string&, int worker) {
  const std::wstring name = L"Local\\sbxml-test-progress-" + std::to_wstring(worker);
  const HANDLE block = CreateFileMappingW(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0,
                                          sizeof(ProgressPage), name.c_str());
  if (block == nullptr) return nullptr;
  auto* const page =
      static_cast<ProgressPage*>(MapViewOfFile(block, FILE_MAP_ALL_ACCESS, 0, 0, sizeof(ProgressPage)));
  ProgressBlocks()[page] = block;
  return page;
}
inline void CloseProgress(ProgressPage* page) {
  UnmapViewOfFile(page);
  CloseHandle(ProgressBlocks()[page]);
  ProgressBlocks().erase(page);
}

inline void LogBelow(const std::string&) {}

}  // namespace sbx::testing
