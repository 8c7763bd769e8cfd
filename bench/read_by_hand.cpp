#include "read_by_hand.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <type_traits>

namespace bench {
namespace {

using View = std::u16string_view;

class Scanner {
 public:
  Scanner(View xml, Blocks& blocks) : at_(xml.data()), end_(xml.data() + xml.size()), blocks_(blocks) {}

  bool ok() const { return ok_; }

  template <typename T>
  T* NewBlock(std::size_t count = 1) {
    return blocks_.Add<T>(count);
  }

  // Steps over `text` if it comes next.
  bool Skip(View text) {
    if (static_cast<std::size_t>(end_ - at_) < text.size() || View(at_, text.size()) != text) return false;
    at_ += text.size();
    return true;
  }

  void Expect(View text) {
    if (!Skip(text)) ok_ = false;
  }

  // The number that comes next, up to a blank or a tag.
  template <typename Number>
  Number ReadNumber() {
    if constexpr (std::is_floating_point_v<Number>) return ReadReal<Number>();
    const bool negative = Skip(u"-");
    std::uint64_t value = 0;
    while (at_ != end_ && *at_ >= u'0' && *at_ <= u'9') value = value * 10 + (*at_++ - u'0');
    return static_cast<Number>(negative ? 0 - value : value);
  }

  // The text up to the next tag, in a block of its own.
  char16_t* ReadText() {
    const char16_t* const tag = std::find(at_, end_, u'<');
    char16_t* const text = NewBlock<char16_t>(static_cast<std::size_t>(tag - at_) + 1);
    char16_t* to = text;
    while (at_ != tag) *to++ = *at_ == u'&' ? ReadReference() : *at_++;
    return text;
  }

 private:
  template <typename Number>
  Number ReadReal() {
    std::array<char, 64> digits;
    std::size_t count = 0;
    while (at_ != end_ && *at_ != u'<' && count < digits.size()) digits[count++] = static_cast<char>(*at_++);
    Number value = 0;
    std::from_chars(digits.data(), digits.data() + count, value);
    return value;
  }

  char16_t ReadReference() {
    if (Skip(u"&amp;")) return u'&';
    if (Skip(u"&lt;")) return u'<';
    if (Skip(u"&gt;")) return u'>';
    if (Skip(u"&#13;")) return u'\r';
    ok_ = false;
    return *at_++;
  }

  const char16_t* at_;
  const char16_t* end_;
  Blocks& blocks_;
  bool ok_ = true;
};

struct Tag {
  View open, close, null;
};
#define TAG(name)                                                \
  Tag {                                                          \
    u"<" name ">", u"</" name ">", u"<" name u" flag=\"null\"/>" \
  }

template <typename Number>
void Scalar(Scanner& scanner, const Tag& tag, Number& number) {
  scanner.Expect(tag.open);
  number = scanner.ReadNumber<Number>();
  scanner.Expect(tag.close);
}

template <typename Number, std::size_t kCount>
void Array(Scanner& scanner, const Tag& tag, Number (&numbers)[kCount]) {
  scanner.Expect(tag.open);
  for (std::size_t i = 0; i < kCount; ++i) {
    if (i > 0) scanner.Expect(u" ");
    numbers[i] = scanner.ReadNumber<Number>();
  }
  scanner.Expect(tag.close);
}

void Text(Scanner& scanner, const Tag& tag, char16_t*& text) {
  if (scanner.Skip(tag.null)) return;
  scanner.Expect(tag.open);
  text = scanner.ReadText();
  scanner.Expect(tag.close);
}

void ReadFilter(Scanner& scanner, Filter& filter) {
  scanner.Expect(u"<Filter>");
  Scalar(scanner, TAG("kind"), filter.kind);
  Scalar(scanner, TAG("mask"), filter.mask);
  Text(scanner, TAG("pattern"), filter.pattern);
  scanner.Expect(u"</Filter>");
}

void ReadTask(Scanner& scanner, Task& task) {
  scanner.Expect(u"<Task>");
  Scalar(scanner, TAG("id"), task.id);
  Scalar(scanner, TAG("flags"), task.flags);
  Text(scanner, TAG("source"), task.source);
  Text(scanner, TAG("target"), task.target);
  Scalar(scanner, TAG("nFilters"), task.nFilters);
  scanner.Expect(u"<filters>");
  task.filters = scanner.NewBlock<Filter>(task.nFilters);
  for (std::uint32_t i = 0; i < task.nFilters && scanner.ok(); ++i) ReadFilter(scanner, task.filters[i]);
  scanner.Expect(u"</filters>");
  Scalar(scanner, TAG("size"), task.size);
  Scalar(scanner, TAG("ratio"), task.ratio);
  Array(scanner, TAG("digest"), task.digest);
  Array(scanner, TAG("limits"), task.limits);
  scanner.Expect(u"</Task>");
}

void ReadOptions(Scanner& scanner, Options& options) {
  int draft = 0;
  scanner.Expect(u"<options>");
  Scalar(scanner, TAG("copies"), options.copies);
  Scalar(scanner, TAG("priority"), options.priority);
  Scalar(scanner, TAG("retries"), options.retries);
  Scalar(scanner, TAG("timeout"), options.timeout);
  Scalar(scanner, TAG("quality"), options.quality);
  Scalar(scanner, TAG("margin"), options.margin);
  Scalar(scanner, TAG("shift"), options.shift);
  Scalar(scanner, TAG("density"), options.density);
  Text(scanner, TAG("owner"), options.owner);
  Text(scanner, TAG("queue"), options.queue);
  Text(scanner, TAG("printer"), options.printer);
  Text(scanner, TAG("notes"), options.notes);
  Scalar(scanner, TAG("draft"), draft);
  Scalar(scanner, TAG("rotation"), options.rotation);
  scanner.Expect(u"</options>");
  options.draft = draft != 0;
}

void ReadSchedule(Scanner& scanner, Schedule& schedule) {
  scanner.Expect(u"<schedule>");
  Scalar(scanner, TAG("kind"), schedule.kind);
  Scalar(scanner, TAG("time"), schedule.time);
  Array(scanner, TAG("slots"), schedule.slots);
  scanner.Expect(u"</schedule>");
}

}  // namespace

JobScript* ReadByHand(std::u16string_view xml, Blocks& blocks) {
  Scanner scanner(xml, blocks);
  JobScript& script = *scanner.NewBlock<JobScript>();
  scanner.Expect(u"<JobScriptXMLDescription><JobScript>");
  Scalar(scanner, TAG("version"), script.version);
  Scalar(scanner, TAG("count"), script.count);
  scanner.Expect(u"<tasks>");
  if (!scanner.ok()) return nullptr;
  script.tasks = scanner.NewBlock<Task>(script.count);
  for (std::uint32_t i = 0; i < script.count && scanner.ok(); ++i) ReadTask(scanner, script.tasks[i]);
  scanner.Expect(u"</tasks>");
  Text(scanner, TAG("name"), script.name);
  Text(scanner, TAG("comment"), script.comment);
  Array(scanner, TAG("label"), script.label);
  ReadSchedule(scanner, script.schedule);
  script.options = scanner.NewBlock<Options>();
  ReadOptions(scanner, *script.options);
  scanner.Expect(u"</JobScript></JobScriptXMLDescription>");
  return scanner.ok() ? &script : nullptr;
}

}  // namespace bench
