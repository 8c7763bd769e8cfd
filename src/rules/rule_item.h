// One rule of the document: reading it, and the kinds that its `type` chooses from. A new kind is one new
// file with its class and its factory, declared here, and one line in the table of rule_item.cpp.
#pragma once

#include <memory>

#include "base/result_codes.h"
#include "base/wide_text.h"
#include "diag/dbg_log_facade.h"
#include "rules/rule_set.h"
#include "xml/document.h"

namespace sbx {

// Reads a `RuleItem` and appends it to the entry. 0 or -2, -6, -9 with the entry unchanged.
Status LoadRuleItemFromXML(JSRuleDesc* rule, const xml::NodeRef& node);

// An attribute of a rule document's element; empty where it is absent, and after a log line for a null
// element.
WideString RuleAttribute(const xml::NodeRef& element, WideView name);

// The factories read the attributes of their kind; `name` and `type` are set by the caller.
std::unique_ptr<JSRuleItemDesc> MakeStructArrayPtr(const xml::NodeRef& element);
std::unique_ptr<JSRuleItemDesc> MakeAlterType(const xml::NodeRef& element);
std::unique_ptr<JSRuleItemDesc> MakeRelocateStructName(const xml::NodeRef& element);
std::unique_ptr<JSRuleItemDesc> MakeConvertNameList(const xml::NodeRef& element);

// A failure of the loader: the log line, and the status handed through.
template <class... Args>
Status LoadFailure(Status status, WideView format, const Args&... args) {
  g_DBGLog.Printf(0, format, args...);
  return status;
}

}  // namespace sbx
