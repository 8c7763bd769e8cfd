#include "present/element_content.h"

#include <algorithm>
#include <new>

#include "diag/dbg_log_facade.h"

namespace sbx {

bool ElementContent::Put(const xml::NodeRef& element, WideView text) {
  if (!element) {
    g_DBGLog.Printf(0, u"Invalid parameters for setting element content.");
    return false;
  }
  const WideView shown = text.substr(0, text.find(u'\0'));
  Count(shown.size());
  if (element.document()->PutText(element.get(), shown)) return true;
  g_DBGLog.Printf(0, u"Invalid XML info for setting element content.");
  return false;
}

void ElementContent::Count(std::size_t units) {
  const std::size_t covered = std::min(units, credit_);
  credit_ -= covered;
  if (!output_.CountUnits(units - covered)) throw std::bad_alloc();
}

}  // namespace sbx
