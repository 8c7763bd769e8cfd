// The job script that every contender converts: a list of tasks with filters, as a scheduler would hold it,
// in three sizes. Its content comes from a fixed seed, so that runs can be compared.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

namespace bench {

struct Filter {
  std::int32_t kind;
  std::uint32_t mask;
  char16_t* pattern;
};

struct Task {
  std::uint32_t id;
  std::uint32_t flags;
  char16_t* source;
  char16_t* target;
  std::uint32_t nFilters;
  std::uint32_t reserved;  // not described
  Filter* filters;         // nFilters of them
  std::int64_t size;
  float ratio;
  std::uint8_t digest[16];
  std::int32_t limits[4];
};

struct Schedule {
  std::int32_t kind;
  std::uint32_t time;
  std::int16_t slots[8];
};

struct Options {
  std::int32_t copies, priority, retries, timeout, quality, margin, shift, density;
  char16_t* owner;
  char16_t* queue;
  char16_t* printer;
  char16_t* notes;  // null in every size
  bool draft;
  std::int16_t rotation;
};

struct JobScript {
  std::int32_t version;
  std::uint32_t count;
  Task* tasks;  // count of them
  char16_t* name;
  char16_t* comment;
  char16_t label[16];
  Schedule schedule;
  Options* options;
};

static_assert(sizeof(Filter) == 16 && offsetof(Filter, pattern) == 8);
static_assert(sizeof(Task) == 88 && offsetof(Task, source) == 8 && offsetof(Task, target) == 16 &&
              offsetof(Task, nFilters) == 24 && offsetof(Task, filters) == 32 && offsetof(Task, size) == 40 &&
              offsetof(Task, ratio) == 48 && offsetof(Task, digest) == 52 && offsetof(Task, limits) == 68);
static_assert(sizeof(Schedule) == 24 && offsetof(Schedule, slots) == 8);
static_assert(sizeof(Options) == 72 && offsetof(Options, owner) == 32 && offsetof(Options, notes) == 56 &&
              offsetof(Options, draft) == 64 && offsetof(Options, rotation) == 66);
static_assert(sizeof(JobScript) == 96 && offsetof(JobScript, tasks) == 8 && offsetof(JobScript, name) == 16 &&
              offsetof(JobScript, comment) == 24 && offsetof(JobScript, label) == 32 &&
              offsetof(JobScript, schedule) == 64 && offsetof(JobScript, options) == 88);

struct Size {
  const char* name;
  std::uint32_t tasks;
  std::uint32_t filters;  // of each task

  // JobScript, Schedule and Options, then each task with its filters.
  std::uint64_t Records() const { return 3 + std::uint64_t{tasks} * (1 + filters); }
};

inline constexpr Size kSizes[] = {{"S", 10, 3}, {"M", 1'000, 5}, {"L", 20'000, 5}};

// A filled job script. Owns everything that the records point to.
class Workload {
 public:
  explicit Workload(const Size& size);

  JobScript& root() { return *root_; }
  const Size& size() const { return size_; }

 private:
  class Random;

  char16_t* Text(Random& random);
  void FillTask(Task& task, std::uint32_t id, Random& random);

  Size size_;
  std::unique_ptr<JobScript> root_;
  std::unique_ptr<Options> options_;
  std::unique_ptr<Task[]> tasks_;
  std::vector<std::unique_ptr<Filter[]>> filters_;
  std::vector<std::unique_ptr<char16_t[]>> texts_;
};

}  // namespace bench
