// What the command asks of the operating system, beside what the library's platform rooms answer already.
// All narrow text is UTF-8.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "base/wide_text.h"
#include "sbxml.h"

namespace sbx::tool::system {

// To be called before anything else of this header.
void Begin() noexcept;

// What a child tells its parent while it works.
struct Progress {
  std::int32_t exitCode;
  std::uint32_t told;
};

// The way from a child to its parent: the number of a descriptor or handle that the child inherits; 0 for
// none.
using Channel = std::uint64_t;

// Starts this program once more, on the same standard streams and in the same folder, and waits for its end.
// The child's arguments are `arguments` with "--channel=N" behind the first one. `onProgress` is called in
// this process for each thing that the child told, in order. False if the child could not be started or was
// ended by a fault.
bool RunSelf(const std::vector<std::string>& arguments,
             const std::function<void(const Progress&)>& onProgress);

// In the child.
void TellParent(Channel channel, const Progress& progress) noexcept;

// Documents in the form that the library takes a module's documents in.
class DocumentModule {
 public:
  struct Document {
    std::uint32_t id;
    WideView text;
  };
  // The texts must outlive it. Throws std::system_error where the system refuses to make one.
  explicit DocumentModule(std::span<const Document> documents);
  ~DocumentModule();
  DocumentModule(const DocumentModule&) = delete;
  DocumentModule& operator=(const DocumentModule&) = delete;

  SBXModule get() const noexcept;

 private:
  struct State;
  std::unique_ptr<State> state_;
};

// An empty file that nobody else has, readable by its owner alone; `prefix` is the front of its path. Empty,
// with errno set, if it can't be made.
std::string MakeTemporaryFile(const std::string& prefix);

// The access rights that a new file would get here, as std::filesystem::perms has them.
unsigned NewFileMode() noexcept;

}  // namespace sbx::tool::system
