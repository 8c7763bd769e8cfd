#include "documents.h"

#include <string_view>

namespace bench {
namespace {

constexpr std::u16string_view kTasksType = u"@TASKS@";
constexpr std::u16string_view kFiltersType = u"@FILTERS@";

constexpr std::u16string_view kDescriptions =
    uR"(<StructureDescription>
  <JSStruct name="JobScript" size="96" numOfItems="8">
    <JSStructItem name="version" type="int" size="4" offset="0"/>
    <JSStructItem name="count" type="uint" size="4" offset="4"/>
    <JSStructItem name="tasks" type="@TASKS@" size="8" offset="8"/>
    <JSStructItem name="name" type="wchar_t*" size="8" offset="16"/>
    <JSStructItem name="comment" type="wchar_t*" size="8" offset="24"/>
    <JSStructItem name="label" type="wchar_t[16]" size="32" offset="32"/>
    <JSStructItem name="schedule" type="Schedule" size="24" offset="64"/>
    <JSStructItem name="options" type="Options*" size="8" offset="88"/>
  </JSStruct>
  <JSStruct name="Schedule" size="24" numOfItems="3">
    <JSStructItem name="kind" type="int" size="4" offset="0"/>
    <JSStructItem name="time" type="uint" size="4" offset="4"/>
    <JSStructItem name="slots" type="short[8]" size="16" offset="8"/>
  </JSStruct>
  <JSStruct name="Options" size="72" numOfItems="14">
    <JSStructItem name="copies" type="int" size="4" offset="0"/>
    <JSStructItem name="priority" type="int" size="4" offset="4"/>
    <JSStructItem name="retries" type="int" size="4" offset="8"/>
    <JSStructItem name="timeout" type="int" size="4" offset="12"/>
    <JSStructItem name="quality" type="int" size="4" offset="16"/>
    <JSStructItem name="margin" type="int" size="4" offset="20"/>
    <JSStructItem name="shift" type="int" size="4" offset="24"/>
    <JSStructItem name="density" type="int" size="4" offset="28"/>
    <JSStructItem name="owner" type="wchar_t*" size="8" offset="32"/>
    <JSStructItem name="queue" type="wchar_t*" size="8" offset="40"/>
    <JSStructItem name="printer" type="wchar_t*" size="8" offset="48"/>
    <JSStructItem name="notes" type="wchar_t*" size="8" offset="56"/>
    <JSStructItem name="draft" type="bool" size="1" offset="64"/>
    <JSStructItem name="rotation" type="short" size="2" offset="66"/>
  </JSStruct>
  <JSStruct name="Task" size="88" numOfItems="10">
    <JSStructItem name="id" type="uint" size="4" offset="0"/>
    <JSStructItem name="flags" type="uint" size="4" offset="4"/>
    <JSStructItem name="source" type="wchar_t*" size="8" offset="8"/>
    <JSStructItem name="target" type="wchar_t*" size="8" offset="16"/>
    <JSStructItem name="nFilters" type="uint" size="4" offset="24"/>
    <JSStructItem name="filters" type="@FILTERS@" size="8" offset="32"/>
    <JSStructItem name="size" type="int64" size="8" offset="40"/>
    <JSStructItem name="ratio" type="float" size="4" offset="48"/>
    <JSStructItem name="digest" type="uchar[16]" size="16" offset="52"/>
    <JSStructItem name="limits" type="int[4]" size="16" offset="68"/>
  </JSStruct>
  <JSStruct name="Filter" size="16" numOfItems="3">
    <JSStructItem name="kind" type="int" size="4" offset="0"/>
    <JSStructItem name="mask" type="uint" size="4" offset="4"/>
    <JSStructItem name="pattern" type="wchar_t*" size="8" offset="8"/>
  </JSStruct>
</StructureDescription>)";

constexpr std::u16string_view kNoRules = u"<ConvertRuleDesc/>";

constexpr std::u16string_view kCountRules =
    uR"(<ConvertRuleDesc>
  <Rules name="JobScript">
    <RuleItem name="tasks" type="StructArrayPtr" structname="Task" num="count"/>
  </Rules>
  <Rules name="Task">
    <RuleItem name="filters" type="StructArrayPtr" structname="Filter" num="nFilters"/>
  </Rules>
</ConvertRuleDesc>)";

void Replace(std::u16string& text, std::u16string_view what, std::u16string_view with) {
  text.replace(text.find(what), what.size(), with);
}

std::u16string CountedType(std::u16string_view record, std::uint32_t count) {
  std::u16string type(record);
  type += u'[';
  for (const char digit : std::to_string(count)) type += static_cast<char16_t>(digit);
  return type + u"]*";
}

std::uint32_t Bytes(const std::u16string& text) {
  return static_cast<std::uint32_t>(text.size() * sizeof(char16_t));
}

}  // namespace

Module::Module(ArrayCounts counts, const Size& size) : descriptions_(kDescriptions), rules_(kNoRules) {
  if (counts == ArrayCounts::kByRule) {
    Replace(descriptions_, kTasksType, u"Task*");
    Replace(descriptions_, kFiltersType, u"Filter*");
    rules_ = kCountRules;
  } else {
    Replace(descriptions_, kTasksType, CountedType(u"Task", size.tasks));
    Replace(descriptions_, kFiltersType, CountedType(u"Filter", size.filters));
  }
  resources_[0] = {"XML", kDescriptionsId, Bytes(descriptions_), descriptions_.data()};
  resources_[1] = {"XML", kRulesId, Bytes(rules_), rules_.data()};
  table_ = {2, resources_};
}

}  // namespace bench
