#include "workload.h"

#include <algorithm>
#include <string_view>

namespace bench {
namespace {

constexpr std::u16string_view kLatin = u"abcdefghijklmnopqrstuvwxyz ABCDEFGHIJKLMNOPQRSTUVWXYZ-_/.0123456789";
constexpr std::u16string_view kMarkup = u"&<>";
constexpr std::u16string_view kCjk = u"\u5370\u5237\u30b8\u30e7\u30d6\u7eb8\u5f20\u9875\u9762\ud55c\uae00";

constexpr std::uint32_t kShortestText = 8;
constexpr std::uint32_t kLongestText = 60;

}  // namespace

// SplitMix64: the same sequence with every compiler and library.
class Workload::Random {
 public:
  std::uint32_t Below(std::uint32_t limit) { return static_cast<std::uint32_t>((Next() >> 33) % limit); }

  std::int64_t Wide() { return static_cast<std::int64_t>(Next()); }

  char16_t Of(std::u16string_view units) { return units[Below(static_cast<std::uint32_t>(units.size()))]; }

 private:
  std::uint64_t Next() {
    std::uint64_t mixed = (state_ += 0x9E3779B97F4A7C15u);
    mixed = (mixed ^ (mixed >> 30)) * 0xBF58476D1CE4E5B9u;
    mixed = (mixed ^ (mixed >> 27)) * 0x94D049BB133111EBu;
    return mixed ^ (mixed >> 31);
  }

  std::uint64_t state_ = 2024;
};

Workload::Workload(const Size& size)
    : size_(size),
      root_(std::make_unique<JobScript>()),
      options_(std::make_unique<Options>()),
      tasks_(std::make_unique<Task[]>(size.tasks)) {
  Random random;
  JobScript& script = *root_;
  script.version = 3;
  script.count = size.tasks;
  script.tasks = tasks_.get();
  script.name = Text(random);
  script.comment = Text(random);
  std::ranges::copy(std::u16string_view(u"night run"), script.label);
  script.schedule = {2, 1'600'000'000, {0, 2, 4, 8, -1, 16, 32, -32768}};
  script.options = options_.get();
  *options_ = {2, 5, 3, 600, 1200, -7, 12, 300, Text(random), Text(random), Text(random), nullptr, true, 90};
  for (std::uint32_t i = 0; i < size.tasks; ++i) FillTask(tasks_[i], i + 1, random);
}

void Workload::FillTask(Task& task, std::uint32_t id, Random& random) {
  task.id = id;
  task.flags = random.Below(0x10000);
  task.source = Text(random);
  task.target = Text(random);
  task.nFilters = size_.filters;
  task.filters = filters_.emplace_back(std::make_unique<Filter[]>(size_.filters)).get();
  for (std::uint32_t i = 0; i < size_.filters; ++i) {
    task.filters[i] = {static_cast<std::int32_t>(random.Below(9)) - 4, random.Below(0x7FFFFFFF),
                       Text(random)};
  }
  task.size = random.Wide() >> random.Below(60);
  task.ratio = static_cast<float>(random.Below(100'000)) / 64.0F;
  for (std::uint8_t& byte : task.digest) byte = static_cast<std::uint8_t>(random.Below(256));
  for (std::int32_t& limit : task.limits) limit = static_cast<std::int32_t>(random.Below(200'000)) - 100'000;
}

// One text in eight is CJK, one in eight holds some markup.
char16_t* Workload::Text(Random& random) {
  const std::uint32_t length = kShortestText + random.Below(kLongestText - kShortestText + 1);
  const std::uint32_t kind = random.Below(8);
  auto& text = texts_.emplace_back(std::make_unique<char16_t[]>(length + 1));
  for (std::uint32_t i = 0; i < length; ++i) text[i] = random.Of(kind == 0 ? kCjk : kLatin);
  if (kind == 1) text[random.Below(length)] = text[random.Below(length)] = random.Of(kMarkup);
  return text.get();
}

}  // namespace bench
