#include "read_with_pugixml.h"

#include <charconv>
#include <cstring>
#include <iterator>
#include <pugixml.hpp>

namespace bench {
namespace {

class Filler {
 public:
  explicit Filler(Blocks& blocks) : blocks_(blocks) {}

  template <typename T>
  T* NewBlock(std::size_t count = 1) {
    return blocks_.Add<T>(count);
  }

  template <typename Number>
  void Scalar(pugi::xml_node parent, const char* name, Number& number) {
    const char* const text = parent.child(name).child_value();
    std::from_chars(text, text + std::strlen(text), number);
  }

  template <typename Number, std::size_t kCount>
  void Array(pugi::xml_node parent, const char* name, Number (&numbers)[kCount]) {
    const char* text = parent.child(name).child_value();
    const char* const end = text + std::strlen(text);
    for (Number& number : numbers) {
      int value = 0;
      text = std::from_chars(text, end, value).ptr;
      number = static_cast<Number>(value);
      if (text != end) ++text;  // the blank
    }
  }

  void Text(pugi::xml_node parent, const char* name, char16_t*& text) {
    const pugi::xml_node element = parent.child(name);
    if (std::strcmp(element.attribute("flag").value(), "null") == 0) return;
    const char* utf8 = element.child_value();
    text = NewBlock<char16_t>(Units(utf8) + 1);
    for (char16_t* to = text; *utf8 != 0;) *to++ = NextUnit(utf8);
  }

 private:
  static std::size_t Units(const char* utf8) {
    std::size_t units = 0;
    for (; *utf8 != 0; ++utf8) units += (static_cast<unsigned char>(*utf8) & 0xC0) != 0x80;
    return units;
  }

  // The workload has no surrogates.
  static char16_t NextUnit(const char*& utf8) {
    const auto byte = [&] { return static_cast<unsigned>(static_cast<unsigned char>(*utf8++)); };
    unsigned code = byte();
    if (code >= 0xE0) {
      code = (code & 0x0F) << 12;
      code |= (byte() & 0x3F) << 6;
      code |= byte() & 0x3F;
    } else if (code >= 0xC0) {
      code = (code & 0x1F) << 6;
      code |= byte() & 0x3F;
    }
    return static_cast<char16_t>(code);
  }

  Blocks& blocks_;
};

void FillFilter(Filler& filler, pugi::xml_node element, Filter& filter) {
  filler.Scalar(element, "kind", filter.kind);
  filler.Scalar(element, "mask", filter.mask);
  filler.Text(element, "pattern", filter.pattern);
}

std::uint32_t CountOf(const pugi::xml_object_range<pugi::xml_named_node_iterator>& elements) {
  return static_cast<std::uint32_t>(std::distance(elements.begin(), elements.end()));
}

void FillTask(Filler& filler, pugi::xml_node element, Task& task) {
  filler.Scalar(element, "id", task.id);
  filler.Scalar(element, "flags", task.flags);
  filler.Text(element, "source", task.source);
  filler.Text(element, "target", task.target);
  const auto filters = element.child("filters").children("Filter");
  task.nFilters = CountOf(filters);
  task.filters = filler.NewBlock<Filter>(task.nFilters);
  Filter* next = task.filters;
  for (const pugi::xml_node filter : filters) FillFilter(filler, filter, *next++);
  filler.Scalar(element, "size", task.size);
  filler.Scalar(element, "ratio", task.ratio);
  filler.Array(element, "digest", task.digest);
  filler.Array(element, "limits", task.limits);
}

void FillOptions(Filler& filler, pugi::xml_node element, Options& options) {
  int draft = 0;
  filler.Scalar(element, "copies", options.copies);
  filler.Scalar(element, "priority", options.priority);
  filler.Scalar(element, "retries", options.retries);
  filler.Scalar(element, "timeout", options.timeout);
  filler.Scalar(element, "quality", options.quality);
  filler.Scalar(element, "margin", options.margin);
  filler.Scalar(element, "shift", options.shift);
  filler.Scalar(element, "density", options.density);
  filler.Text(element, "owner", options.owner);
  filler.Text(element, "queue", options.queue);
  filler.Text(element, "printer", options.printer);
  filler.Text(element, "notes", options.notes);
  filler.Scalar(element, "draft", draft);
  filler.Scalar(element, "rotation", options.rotation);
  options.draft = draft != 0;
}

void FillSchedule(Filler& filler, pugi::xml_node element, Schedule& schedule) {
  filler.Scalar(element, "kind", schedule.kind);
  filler.Scalar(element, "time", schedule.time);
  filler.Array(element, "slots", schedule.slots);
}

}  // namespace

JobScript* ReadWithPugixml(std::u16string_view xml, Blocks& blocks) {
  pugi::xml_document document;
  if (!document.load_buffer(xml.data(), xml.size() * sizeof(char16_t),
                            pugi::parse_default | pugi::parse_ws_pcdata_single, pugi::encoding_utf16_le)) {
    return nullptr;
  }
  const pugi::xml_node root = document.document_element().child("JobScript");
  Filler filler(blocks);
  JobScript& script = *filler.NewBlock<JobScript>();
  filler.Scalar(root, "version", script.version);
  const auto tasks = root.child("tasks").children("Task");
  script.count = CountOf(tasks);
  script.tasks = filler.NewBlock<Task>(script.count);
  Task* next = script.tasks;
  for (const pugi::xml_node task : tasks) FillTask(filler, task, *next++);
  filler.Text(root, "name", script.name);
  filler.Text(root, "comment", script.comment);
  filler.Array(root, "label", script.label);
  FillSchedule(filler, root.child("schedule"), script.schedule);
  script.options = filler.NewBlock<Options>();
  FillOptions(filler, root.child("options"), *script.options);
  return &script;
}

}  // namespace bench
