// sbxml describe: records and their items, as each direction reads their types, and the rules on them.
#include <algorithm>
#include <nlohmann/json.hpp>
#include <sstream>

#include "desc/structure_description.h"
#include "sbxml/commands.h"
#include "sbxml/listing.h"
#include "sbxml/text.h"
#include "sbxml/type_reading.h"

namespace sbx::tool {
namespace {

using Json = nlohmann::ordered_json;

struct Rule {
  std::string record;  // whose rules it stands among
  std::string item;
  std::string kind;
  std::vector<std::pair<std::string, std::string>> attributes;  // the others, as written
  WideString target;                                            // a record that it names; empty for none
};

// The record's name at the front of a type text.
WideString BaseNameOf(WideView type) {
  return WideString(type.substr(0, type.find_first_of(u" [*")));
}

Rule ReadRule(const SourceTree& tree, std::size_t node, WideView record) {
  Rule rule;
  rule.record = ToUtf8(record);
  rule.item = ToUtf8(tree.AttributeOf(node, u"name"));
  rule.kind = ToUtf8(tree.AttributeOf(node, u"type"));
  for (const SourceAttribute& attribute : tree.nodes()[node].attributes) {
    if (attribute.name == u"name" || attribute.name == u"type") continue;
    rule.attributes.emplace_back(ToUtf8(attribute.name), ToUtf8(attribute.value));
  }
  const WideView structName = tree.AttributeOf(node, u"structname");
  rule.target = structName.empty() ? BaseNameOf(tree.AttributeOf(node, u"alterto")) : WideString(structName);
  return rule;
}

std::vector<Rule> ReadRules(const SourceTree& tree) {
  std::vector<Rule> rules;
  for (const std::size_t outer : tree.elements()) {
    if (tree.nodes()[outer].text != u"Rules") continue;
    for (std::size_t node = outer + 1; node < tree.nodes()[outer].end; ++node) {
      const SourceNode& inner = tree.nodes()[node];
      if (inner.kind != SourceNode::Kind::kElement || inner.text != u"RuleItem") continue;
      rules.push_back(ReadRule(tree, node, tree.AttributeOf(outer, u"name")));
    }
  }
  return rules;
}

class Description {
 public:
  virtual ~Description() = default;
  virtual void Record(const JSStructDesc& record) = 0;
  virtual void Item(const JSStructDesc& record, const JSStructItemDesc& item, const TypeReading& reading) = 0;
  // `isOwn`: one of the record's rules; otherwise a rule of another record that leads to this one.
  virtual void OneRule(const JSStructDesc& record, const Rule& rule, bool isOwn) = 0;

  std::string Take() const { return out_.str(); }

 protected:
  std::ostringstream out_;
};

class TextDescription final : public Description {
 public:
  void Record(const JSStructDesc& record) override {
    if (out_.tellp() != 0) out_ << '\n';
    out_ << ToUtf8(record.name) << ", " << Counted(static_cast<std::uint64_t>(record.size), "byte") << ", "
         << Counted(record.items().size(), "item");
    if (!record.description.empty()) out_ << ": " << ToUtf8(record.description);
    out_ << '\n';
    nameWidth_ = typeWidth_ = 0;
    for (const JSStructItemDesc& item : record.items()) {
      nameWidth_ = std::max(nameWidth_, item.name.size());
      typeWidth_ = std::max(typeWidth_, item.type().size());
    }
  }

  void Item(const JSStructDesc&, const JSStructItemDesc& item, const TypeReading& reading) override {
    out_ << "  " << PlaceOf(item) << "  " << Padded(ToUtf8(item.name), nameWidth_) << "  "
         << Padded(ToUtf8(item.type()), typeWidth_) << "  ";
    if (reading.toXml == reading.fromXml) {
      out_ << reading.toXml;
    } else {
      out_ << "! to XML: " << reading.toXml << "; from XML: " << reading.fromXml;
    }
    if (!item.restrictText().empty()) out_ << "  " << ToUtf8(item.restrictText());
    out_ << '\n';
  }

  void OneRule(const JSStructDesc&, const Rule& rule, bool isOwn) override {
    out_ << "  " << (isOwn ? "rule " : "led to by ") << (isOwn ? "" : rule.record + ".") << rule.item << ": "
         << rule.kind;
    for (const auto& [name, value] : rule.attributes) out_ << ' ' << name << "=\"" << value << '"';
    out_ << '\n';
  }

 private:
  std::size_t nameWidth_ = 0;
  std::size_t typeWidth_ = 0;
};

class JsonDescription final : public Description {
 public:
  void Record(const JSStructDesc& record) override {
    Write({{"kind", "record"},
           {"record", ToUtf8(record.name)},
           {"size", record.size},
           {"description", ToUtf8(record.description)}});
  }

  void Item(const JSStructDesc& record, const JSStructItemDesc& item, const TypeReading& reading) override {
    Write({{"kind", "item"},
           {"record", ToUtf8(record.name)},
           {"item", ToUtf8(item.name)},
           {"type", ToUtf8(item.type())},
           {"offset", item.offset},
           {"size", item.size},
           {"description", ToUtf8(item.description)},
           {"restrict", ToUtf8(item.restrictText())},
           {"to_xml", reading.toXml},
           {"from_xml", reading.fromXml},
           {"agrees", reading.toXml == reading.fromXml}});
  }

  void OneRule(const JSStructDesc& record, const Rule& rule, bool isOwn) override {
    Json attributes = Json::object();
    for (const auto& [name, value] : rule.attributes) attributes[name] = value;
    Write({{"kind", isOwn ? "rule" : "led-to-by"},
           {"record", ToUtf8(record.name)},
           {"of", rule.record},
           {"item", rule.item},
           {"rule", rule.kind},
           {"attributes", attributes}});
  }

 private:
  void Write(const Json& json) { out_ << json.dump(-1, ' ', false, Json::error_handler_t::replace) << '\n'; }
};

void Describe(JSPDBMemDesc& set, const JSStructDesc& record, const std::vector<Rule>& rules,
              Description& out) {
  out.Record(record);
  for (const JSStructItemDesc& item : record.items()) out.Item(record, item, ReadItemType(set, record, item));
  const std::string name = ToUtf8(record.name);
  for (const Rule& rule : rules) {
    if (rule.record == name) out.OneRule(record, rule, true);
  }
  for (const Rule& rule : rules) {
    if (rule.record != name && rule.target == record.name) out.OneRule(record, rule, false);
  }
}

}  // namespace

int RunDescribe(const DescribeOptions& options, Diagnostics& diagnostics) {
  const DocumentSet set(options.set);
  const int exitCode = TellOfSet(set, diagnostics);
  const std::vector<Rule> rules = ReadRules(ParseSource(set.ruleSource(), kExitBadSet, Id::kBadRules));
  const WideString wanted = ToWide(options.record);
  if (!wanted.empty() && set.descriptions().FindStruct(wanted) == nullptr) {
    throw CommandFailure{kExitUsage,
                         {.id = Id::kUsage,
                          .place = {.file = set.descriptionSource().name},
                          .message = "there is no record " + Quoted(wanted)}};
  }
  TextDescription text;
  JsonDescription json;
  Description& out = options.json ? static_cast<Description&>(json) : text;
  for (const JSStructDesc& record : set.descriptions().structs()) {
    if (wanted.empty() || record.name == wanted) Describe(set.descriptions(), record, rules, out);
  }
  WriteOutput(std::string(kStandardStream), out.Take());
  return exitCode;
}

}  // namespace sbx::tool
