#include "write_by_hand.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <string_view>

namespace bench {
namespace {

class Writer {
 public:
  Writer(char16_t* out, std::size_t capacity) : at_(out), begin_(out), end_(out + capacity) {}

  void Append(std::u16string_view units) {
    if (!Room(units.size())) return;
    at_ = std::copy(units.begin(), units.end(), at_);
  }

  void AppendEscaped(std::u16string_view text) {
    if (!Room(text.size() * kLongestEscape)) return;
    for (const char16_t unit : text) {
      switch (unit) {
        case u'&':
          Raw(u"&amp;");
          break;
        case u'<':
          Raw(u"&lt;");
          break;
        case u'>':
          Raw(u"&gt;");
          break;
        case u'\r':
          Raw(u"&#13;");
          break;
        default:
          *at_++ = unit;
      }
    }
  }

  template <typename Number>
  void AppendNumber(Number number) {
    if (!Room(kLongestNumber)) return;
    std::array<char, kLongestNumber> digits;
    char* const first = digits.data();
    char* end;
    if constexpr (std::is_floating_point_v<Number>) {
      end = std::to_chars(first, first + digits.size(), number, std::chars_format::fixed, 6).ptr;
    } else {
      end = std::to_chars(first, first + digits.size(), number).ptr;
    }
    for (const char* digit = first; digit != end; ++digit) *at_++ = static_cast<char16_t>(*digit);
  }

  std::size_t Finish() {
    if (overflow_ || !Room(1)) return 0;
    *at_ = 0;
    return static_cast<std::size_t>(at_ - begin_);
  }

 private:
  static constexpr std::size_t kLongestEscape = 5;
  static constexpr std::size_t kLongestNumber = 64;

  bool Room(std::size_t units) {
    if (static_cast<std::size_t>(end_ - at_) >= units) return true;
    overflow_ = true;
    return false;
  }

  void Raw(std::u16string_view units) { at_ = std::copy(units.begin(), units.end(), at_); }

  char16_t* at_;
  char16_t* begin_;
  char16_t* end_;
  bool overflow_ = false;
};

// An element's three tags in one place, so that each is appended in one go.
struct Tag {
  std::u16string_view open, close, null;
};
#define TAG(name)                                                \
  Tag {                                                          \
    u"<" name ">", u"</" name ">", u"<" name u" flag=\"null\"/>" \
  }

template <typename Number>
void Scalar(Writer& writer, const Tag& tag, Number number) {
  writer.Append(tag.open);
  writer.AppendNumber(number);
  writer.Append(tag.close);
}

template <typename Number, std::size_t kCount>
void Array(Writer& writer, const Tag& tag, const Number (&numbers)[kCount]) {
  writer.Append(tag.open);
  for (std::size_t i = 0; i < kCount; ++i) {
    if (i > 0) writer.Append(u" ");
    writer.AppendNumber(static_cast<int>(numbers[i]));
  }
  writer.Append(tag.close);
}

void Text(Writer& writer, const Tag& tag, const char16_t* text) {
  if (!text) {
    writer.Append(tag.null);
    return;
  }
  writer.Append(tag.open);
  writer.AppendEscaped(text);
  writer.Append(tag.close);
}

void WriteFilter(Writer& writer, const Filter& filter) {
  writer.Append(u"<Filter>");
  Scalar(writer, TAG("kind"), filter.kind);
  Scalar(writer, TAG("mask"), filter.mask);
  Text(writer, TAG("pattern"), filter.pattern);
  writer.Append(u"</Filter>");
}

void WriteTask(Writer& writer, const Task& task) {
  writer.Append(u"<Task>");
  Scalar(writer, TAG("id"), task.id);
  Scalar(writer, TAG("flags"), task.flags);
  Text(writer, TAG("source"), task.source);
  Text(writer, TAG("target"), task.target);
  Scalar(writer, TAG("nFilters"), task.nFilters);
  writer.Append(u"<filters>");
  for (std::uint32_t i = 0; i < task.nFilters; ++i) WriteFilter(writer, task.filters[i]);
  writer.Append(u"</filters>");
  Scalar(writer, TAG("size"), task.size);
  Scalar(writer, TAG("ratio"), task.ratio);
  Array(writer, TAG("digest"), task.digest);
  Array(writer, TAG("limits"), task.limits);
  writer.Append(u"</Task>");
}

void WriteOptions(Writer& writer, const Options& options) {
  writer.Append(u"<options>");
  Scalar(writer, TAG("copies"), options.copies);
  Scalar(writer, TAG("priority"), options.priority);
  Scalar(writer, TAG("retries"), options.retries);
  Scalar(writer, TAG("timeout"), options.timeout);
  Scalar(writer, TAG("quality"), options.quality);
  Scalar(writer, TAG("margin"), options.margin);
  Scalar(writer, TAG("shift"), options.shift);
  Scalar(writer, TAG("density"), options.density);
  Text(writer, TAG("owner"), options.owner);
  Text(writer, TAG("queue"), options.queue);
  Text(writer, TAG("printer"), options.printer);
  Text(writer, TAG("notes"), options.notes);
  Scalar(writer, TAG("draft"), static_cast<int>(options.draft));
  Scalar(writer, TAG("rotation"), options.rotation);
  writer.Append(u"</options>");
}

void WriteSchedule(Writer& writer, const Schedule& schedule) {
  writer.Append(u"<schedule>");
  Scalar(writer, TAG("kind"), schedule.kind);
  Scalar(writer, TAG("time"), schedule.time);
  Array(writer, TAG("slots"), schedule.slots);
  writer.Append(u"</schedule>");
}

}  // namespace

std::size_t WriteByHand(const JobScript& script, char16_t* out, std::size_t capacity) {
  Writer writer(out, capacity);
  writer.Append(u"<JobScriptXMLDescription><JobScript>");
  Scalar(writer, TAG("version"), script.version);
  Scalar(writer, TAG("count"), script.count);
  writer.Append(u"<tasks>");
  for (std::uint32_t i = 0; i < script.count; ++i) WriteTask(writer, script.tasks[i]);
  writer.Append(u"</tasks>");
  Text(writer, TAG("name"), script.name);
  Text(writer, TAG("comment"), script.comment);
  Array(writer, TAG("label"), script.label);
  WriteSchedule(writer, script.schedule);
  WriteOptions(writer, *script.options);
  writer.Append(u"</JobScript></JobScriptXMLDescription>");
  return writer.Finish();
}

}  // namespace bench
