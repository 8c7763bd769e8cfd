#include "write_with_pugixml.h"

#include <charconv>
#include <cstring>
#include <pugixml.hpp>
#include <string>

namespace bench {
namespace {

class BufferWriter : public pugi::xml_writer {
 public:
  BufferWriter(char16_t* out, std::size_t capacity)
      : out_(reinterpret_cast<char*>(out)), room_(capacity * sizeof(char16_t)) {}

  void write(const void* data, std::size_t size) override {
    if (overflow_ || room_ - used_ < size) {
      overflow_ = true;
      return;
    }
    std::memcpy(out_ + used_, data, size);
    used_ += size;
  }

  std::size_t Finish() {
    const char16_t zero = 0;
    write(&zero, sizeof zero);
    return overflow_ ? 0 : used_ / sizeof(char16_t) - 1;
  }

 private:
  char* out_;
  std::size_t room_;
  std::size_t used_ = 0;
  bool overflow_ = false;
};

class Builder {
 public:
  template <typename Number>
  void Scalar(pugi::xml_node parent, const char* name, Number number) {
    scratch_.clear();
    AppendNumber(number);
    SetText(parent.append_child(name));
  }

  template <typename Number, std::size_t kCount>
  void Array(pugi::xml_node parent, const char* name, const Number (&numbers)[kCount]) {
    scratch_.clear();
    for (std::size_t i = 0; i < kCount; ++i) {
      if (i > 0) scratch_ += ' ';
      AppendNumber(static_cast<int>(numbers[i]));
    }
    SetText(parent.append_child(name));
  }

  void Text(pugi::xml_node parent, const char* name, const char16_t* text) {
    pugi::xml_node element = parent.append_child(name);
    if (!text) {
      element.append_attribute("flag").set_value("null");
      return;
    }
    scratch_.clear();
    for (; *text; ++text) AppendUtf8(*text);
    SetText(element);
  }

 private:
  void SetText(pugi::xml_node element) {
    element.append_child(pugi::node_pcdata).set_value(scratch_.c_str());
  }

  template <typename Number>
  void AppendNumber(Number number) {
    char digits[64];
    char* end;
    if constexpr (std::is_floating_point_v<Number>) {
      end = std::to_chars(digits, digits + sizeof digits, number, std::chars_format::fixed, 6).ptr;
    } else {
      end = std::to_chars(digits, digits + sizeof digits, number).ptr;
    }
    scratch_.append(digits, end);
  }

  // The workload has no surrogates.
  void AppendUtf8(char16_t unit) {
    const unsigned code = unit;
    if (code < 0x80) {
      scratch_ += static_cast<char>(code);
    } else if (code < 0x800) {
      scratch_ += static_cast<char>(0xC0 | (code >> 6));
      scratch_ += static_cast<char>(0x80 | (code & 0x3F));
    } else {
      scratch_ += static_cast<char>(0xE0 | (code >> 12));
      scratch_ += static_cast<char>(0x80 | ((code >> 6) & 0x3F));
      scratch_ += static_cast<char>(0x80 | (code & 0x3F));
    }
  }

  std::string scratch_;
};

void AddFilter(Builder& builder, pugi::xml_node parent, const Filter& filter) {
  pugi::xml_node element = parent.append_child("Filter");
  builder.Scalar(element, "kind", filter.kind);
  builder.Scalar(element, "mask", filter.mask);
  builder.Text(element, "pattern", filter.pattern);
}

void AddTask(Builder& builder, pugi::xml_node parent, const Task& task) {
  pugi::xml_node element = parent.append_child("Task");
  builder.Scalar(element, "id", task.id);
  builder.Scalar(element, "flags", task.flags);
  builder.Text(element, "source", task.source);
  builder.Text(element, "target", task.target);
  builder.Scalar(element, "nFilters", task.nFilters);
  pugi::xml_node filters = element.append_child("filters");
  for (std::uint32_t i = 0; i < task.nFilters; ++i) AddFilter(builder, filters, task.filters[i]);
  builder.Scalar(element, "size", task.size);
  builder.Scalar(element, "ratio", task.ratio);
  builder.Array(element, "digest", task.digest);
  builder.Array(element, "limits", task.limits);
}

void AddOptions(Builder& builder, pugi::xml_node parent, const Options& options) {
  pugi::xml_node element = parent.append_child("options");
  builder.Scalar(element, "copies", options.copies);
  builder.Scalar(element, "priority", options.priority);
  builder.Scalar(element, "retries", options.retries);
  builder.Scalar(element, "timeout", options.timeout);
  builder.Scalar(element, "quality", options.quality);
  builder.Scalar(element, "margin", options.margin);
  builder.Scalar(element, "shift", options.shift);
  builder.Scalar(element, "density", options.density);
  builder.Text(element, "owner", options.owner);
  builder.Text(element, "queue", options.queue);
  builder.Text(element, "printer", options.printer);
  builder.Text(element, "notes", options.notes);
  builder.Scalar(element, "draft", static_cast<int>(options.draft));
  builder.Scalar(element, "rotation", options.rotation);
}

void AddSchedule(Builder& builder, pugi::xml_node parent, const Schedule& schedule) {
  pugi::xml_node element = parent.append_child("schedule");
  builder.Scalar(element, "kind", schedule.kind);
  builder.Scalar(element, "time", schedule.time);
  builder.Array(element, "slots", schedule.slots);
}

}  // namespace

std::size_t WriteWithPugixml(const JobScript& script, char16_t* out, std::size_t capacity) {
  Builder builder;
  pugi::xml_document document;
  pugi::xml_node root = document.append_child("JobScriptXMLDescription").append_child("JobScript");
  builder.Scalar(root, "version", script.version);
  builder.Scalar(root, "count", script.count);
  pugi::xml_node tasks = root.append_child("tasks");
  for (std::uint32_t i = 0; i < script.count; ++i) AddTask(builder, tasks, script.tasks[i]);
  builder.Text(root, "name", script.name);
  builder.Text(root, "comment", script.comment);
  builder.Array(root, "label", script.label);
  AddSchedule(builder, root, script.schedule);
  AddOptions(builder, root, *script.options);

  BufferWriter writer(out, capacity);
  document.save(writer, "", pugi::format_raw | pugi::format_no_declaration, pugi::encoding_utf16_le);
  return writer.Finish();
}

}  // namespace bench
