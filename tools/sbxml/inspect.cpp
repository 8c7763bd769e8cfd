// sbxml inspect: the graph that the library rebuilds from a document, record by record.
#include <algorithm>
#include <cstring>
#include <iostream>
#include <nlohmann/json.hpp>
#include <sstream>

#include "sbxml/commands.h"
#include "sbxml/conversion.h"
#include "sbxml/listing.h"
#include "sbxml/number_reading.h"
#include "sbxml/reader_walk.h"
#include "sbxml/text.h"

namespace sbx::tool {
namespace {

using Json = nlohmann::ordered_json;

constexpr std::size_t kHexBytesALine = 16;
constexpr std::size_t kMostIndents = 64;

struct Block {
  std::int64_t size;
  std::string path;
};

std::string Hex(const std::byte* bytes, std::size_t size) {
  static constexpr char kDigits[] = "0123456789abcdef";
  std::string out;
  for (std::size_t at = 0; at < size; ++at) {
    const auto value = std::to_integer<unsigned>(bytes[at]);
    if (at != 0) out.push_back(' ');
    out.push_back(kDigits[value >> 4]);
    out.push_back(kDigits[value & 0xF]);
  }
  return out;
}

// The texts of the scalars of a primary or an array of them.
std::vector<std::string> NumbersOf(const ItemPlace& place) {
  const PrimaryType& type = *place.type.primary;
  std::vector<std::string> numbers;
  const std::int64_t count = place.value.size / type.size;
  for (std::int64_t at = 0; at < count; ++at) {
    numbers.push_back(ValueText(type, place.value.address + at * type.size));
  }
  return numbers;
}

// A string's block ends in a zero, and text of the document with a zero in it ends there.
std::string StringOf(const ItemPlace& place) {
  const char* const bytes = reinterpret_cast<const char*>(place.value.address);
  if (place.type.primary->name == u"char*") return bytes;
  WideString text(static_cast<std::size_t>(place.value.size) / sizeof(char16_t), u'\0');
  std::memcpy(text.data(), bytes, text.size() * sizeof(char16_t));
  return ToUtf8(WideView(text.c_str()));
}

// What a listing shows of each piece of the graph.
class GraphListing : public WalkListener {
 public:
  explicit GraphListing(bool hex) : hex_(hex) {}

  const std::vector<Block>& blocks() const noexcept { return blocks_; }

  void EnterRecord(const RecordPlace& place) override {
    if (blocks_.empty()) blocks_.push_back({place.memory.size, ShownPath(place.path)});
  }
  void EnterItem(const ItemPlace& place) override {
    if (place.type.isPointer || place.type.isString)
      blocks_.push_back({place.value.size, ShownPath(place.path)});
  }

 protected:
  static bool IsEntry(const RecordPlace& place) noexcept { return place.path.ends_with(']'); }
  // The bytes that stand for the value itself, for items that have such.
  static bool HasBytes(const ItemPlace& place) noexcept {
    return place.value.address != nullptr && place.type.primary != nullptr && !place.type.isString;
  }
  bool hex() const noexcept { return hex_; }

 private:
  bool hex_;
  std::vector<Block> blocks_;
};

class TreeListing final : public GraphListing {
 public:
  TreeListing(std::ostream& out, bool hex) : GraphListing(hex), out_(out) {}

  void EnterRecord(const RecordPlace& place) override {
    GraphListing::EnterRecord(place);
    const std::string name = ToUtf8(place.record.name);
    if (depth_ == 0) {
      out_ << name << " (" << place.memory.size << " bytes, block 0)\n";
    } else if (IsEntry(place)) {
      out_ << Indent() << place.path.substr(place.path.rfind('[')) << ' ' << name << '\n';
    } else if (place.record.name != typeName_) {
      out_ << Indent() << "  read as " << name << '\n';
    }
    ++depth_;
    widths_.push_back(WidthsOf(place.record));
  }

  void LeaveRecord(const RecordPlace& place, std::span<const JSStructItemDesc* const> missing) override {
    const char* const word = place.isOnTop ? "as an earlier element has it" : "zero (no element)";
    for (const JSStructItemDesc* const item : missing) Line(*item, word);
    widths_.pop_back();
    --depth_;
  }

  void NullItem(const ItemPlace& place) override {
    Line(place.item, place.fate == Fate::kStands ? "null" : GoneWord(place.fate));
  }
  void RefusedItem(const ItemPlace& place) override { Line(place.item, "zero (the type can't come back)"); }

  void EnterItem(const ItemPlace& place) override {
    const std::size_t block = place.value.block;
    GraphListing::EnterItem(place);
    std::string value;
    if (place.type.isPointer || place.type.isString) {
      value = "-> block " + std::to_string(block) + " (" + std::to_string(place.value.size) + " bytes)";
    }
    if (place.value.address == nullptr) {
      Append(value, GoneWord(place.fate));
    } else if (place.type.isString) {
      Append(value, Quoted(ToWide(StringOf(place))));
    } else if (place.type.primary != nullptr) {
      for (const std::string& number : NumbersOf(place)) Append(value, number);
    }
    Line(place.item, value);
    if (hex() && HasBytes(place)) HexLines(place);
    typeName_ = place.type.record == nullptr ? WideString() : place.type.record->name;
    if (place.type.isRecordArray()) ++depth_;
  }

  void LeaveItem(const ItemPlace& place, std::span<const std::size_t>) override {
    if (place.type.isRecordArray()) --depth_;
  }

 private:
  static const char* GoneWord(Fate fate) noexcept {
    return fate == Fate::kWithoutEffect ? "ignored: an earlier element stands"
                                        : "replaced by a later element";
  }

  struct Widths {
    std::size_t name = 0;
    std::size_t type = 0;
  };

  static Widths WidthsOf(const JSStructDesc& record) {
    Widths widths;
    for (const JSStructItemDesc& item : record.items()) {
      widths.name = std::max(widths.name, item.name.size());
      widths.type = std::max(widths.type, item.type().size());
    }
    return widths;
  }

  static void Append(std::string& value, const std::string& more) {
    if (!value.empty()) value += ' ';
    value += more;
  }

  // Records nested more deeply than anyone reads stay at one margin.
  std::string Indent() const { return std::string(2 * std::min(depth_, kMostIndents), ' '); }

  void Line(const JSStructItemDesc& item, const std::string& value) {
    const Widths widths = widths_.empty() ? Widths() : widths_.back();
    std::string line = Indent() + Padded(ToUtf8(item.name), widths.name) + "  " +
                       Padded(ToUtf8(item.type()), widths.type) + "  " + PlaceOf(item) + "  " + value;
    line.erase(line.find_last_not_of(' ') + 1);
    out_ << line << '\n';
  }

  void HexLines(const ItemPlace& place) {
    const auto size = static_cast<std::size_t>(place.value.size);
    for (std::size_t at = 0; at < size; at += kHexBytesALine) {
      out_ << Indent() << "  " << Hex(place.value.address + at, std::min(kHexBytesALine, size - at)) << '\n';
    }
  }

  std::ostream& out_;
  std::size_t depth_ = 0;
  WideString typeName_;
  std::vector<Widths> widths_;
};

class JsonListing final : public GraphListing {
 public:
  JsonListing(std::ostream& out, bool hex) : GraphListing(hex), out_(out) {}

  void EnterRecord(const RecordPlace& place) override {
    GraphListing::EnterRecord(place);
    Write({{"kind", "record"},
           {"path", ShownPath(place.path)},
           {"record", ToUtf8(place.record.name)},
           {"size", place.record.size},
           {"block", place.memory.block},
           {"block_offset", place.memory.offset}});
  }

  void LeaveRecord(const RecordPlace& place, std::span<const JSStructItemDesc* const> missing) override {
    for (const JSStructItemDesc* const item : missing) {
      Json json = ItemOf(place.record, *item, place.path + "/" + ToUtf8(item->name));
      json["state"] = "missing";
      Write(json);
    }
  }

  void NullItem(const ItemPlace& place) override {
    WriteState(place, place.fate == Fate::kStands ? "null" : StateOf(place.fate));
  }
  void RefusedItem(const ItemPlace& place) override { WriteState(place, "refused"); }

  void EnterItem(const ItemPlace& place) override {
    GraphListing::EnterItem(place);
    Json json = ItemOf(place.record, place.item, place.path);
    json["state"] = StateOf(place.fate);
    json["block"] = place.slot.block;
    json["block_offset"] = place.slot.offset;
    if (place.type.isPointer || place.type.isString) {
      json["target_block"] = place.value.block;
      json["target_size"] = place.value.size;
    }
    if (place.value.address != nullptr && place.type.isString) json["value"] = StringOf(place);
    if (HasBytes(place)) PutNumbers(json, place);
    Write(json);
  }

 private:
  static const char* StateOf(Fate fate) noexcept {
    switch (fate) {
      case Fate::kStands:
        break;
      case Fate::kReplaced:
      case Fate::kPartlyReplaced:
        return "replaced";
      case Fate::kWithoutEffect:
        return "ignored";
    }
    return "set";
  }

  static Json ItemOf(const JSStructDesc& record, const JSStructItemDesc& item, const std::string& path) {
    return {{"kind", "item"},
            {"path", ShownPath(path)},
            {"record", ToUtf8(record.name)},
            {"item", ToUtf8(item.name)},
            {"type", ToUtf8(item.type())},
            {"offset", item.offset},
            {"size", item.size}};
  }

  // Infinities and what is no number have no form in JSON: they stay texts.
  static Json NumberOf(const std::string& text) {
    Json number = Json::parse(text, nullptr, /*allow_exceptions=*/false);
    return number.is_number() ? number : Json(text);
  }

  void PutNumbers(Json& json, const ItemPlace& place) {
    Json values = Json::array();
    for (const std::string& number : NumbersOf(place)) values.push_back(NumberOf(number));
    json["value"] = place.type.isArray() ? values : values.front();
    if (hex()) json["hex"] = Hex(place.value.address, static_cast<std::size_t>(place.value.size));
  }

  void WriteState(const ItemPlace& place, const char* state) {
    Json json = ItemOf(place.record, place.item, place.path);
    json["state"] = state;
    json["block"] = place.slot.block;
    json["block_offset"] = place.slot.offset;
    Write(json);
  }

  void Write(const Json& json) { out_ << json.dump(-1, ' ', false, Json::error_handler_t::replace) << '\n'; }

  std::ostream& out_;
};

void WriteBlocks(std::ostream& out, const std::vector<Block>& blocks, std::uint32_t total, bool json) {
  for (std::size_t at = 0; at < blocks.size(); ++at) {
    if (json) {
      out << Json{{"kind", "block"}, {"block", at}, {"size", blocks[at].size}, {"path", blocks[at].path}}
                 .dump();
      out << '\n';
    } else {
      out << "block " << at << "  " << blocks[at].size << " bytes  " << blocks[at].path << '\n';
    }
  }
  if (json) {
    out << Json{{"kind", "total"}, {"blocks", blocks.size()}, {"size", total}}.dump() << '\n';
  } else {
    out << "total  " << Counted(blocks.size(), "block") << ", " << total << " bytes\n";
  }
}

// Where and why the walk ended, with the library's answer if that is a failure too.
Diagnostic Ending(Id id, const SourceFile& source, const SourceTree& tree,
                  const std::optional<WalkFailure>& failure) {
  const std::size_t element = failure ? failure->element : tree.elements().front();
  return {.id = id,
          .place = source.At(tree.nodes()[element].position),
          .message = failure ? failure->message : "the library refuses the document",
          .path = failure ? ShownPath(failure->path) : std::string()};
}

[[noreturn]] void FailLoading(Diagnostic diagnostic, const LibraryAnswer& answer) {
  diagnostic.function = answer.function;
  diagnostic.code = answer.code;
  diagnostic.libraryText = answer.errorText;
  throw CommandFailure{kExitBadInput, std::move(diagnostic)};
}

// The listing goes to a text first: a document that does not load leaves no half of a listing.
template <class Listing>
int Inspect(const InspectOptions& options, const DocumentSet& set, const SourceFile& source,
            Diagnostics& diagnostics) {
  const SourceTree tree = ParseSource(source);
  const RebuiltGraph graph(set, source.text);
  std::ostringstream text;
  Listing listing(text, options.hex);
  ReaderWalk walk(set, tree, listing);
  const std::optional<WalkFailure> failure = walk.Run(source.text, graph.root());
  if (!graph.answer().ok()) FailLoading(Ending(Id::kDoesNotLoad, source, tree, failure), graph.answer());
  if (failure) diagnostics.Report(Ending(Id::kAnalysisEnded, source, tree, failure));
  if (options.blocks) {
    text.str({});
    WriteBlocks(text, listing.blocks(), graph.totalSize(), options.json);
  }
  WriteOutput(std::string(kStandardStream), text.str());
  return failure ? kExitFindings : kExitFine;
}

}  // namespace

int RunInspect(const InspectOptions& options, Diagnostics& diagnostics) {
  const DocumentSet set(options.set);
  int exitCode = TellOfSet(set, diagnostics);
  const SourceFile source = ReadSource(options.file);
  for (const Diagnostic& finding : source.findings) diagnostics.Report(finding);
  if (!source.findings.empty()) exitCode = kExitFindings;
  return Worse(exitCode, options.json ? Inspect<JsonListing>(options, set, source, diagnostics)
                                      : Inspect<TreeListing>(options, set, source, diagnostics));
}

}  // namespace sbx::tool
