// The text of a document as every system writes it.
#pragma once

#include "base/wide_text.h"

namespace sbx::testing {

// Whether this build's documents are those of MSXML.
#if defined(_WIN32)
inline constexpr bool kIsMsxml = true;
#else
inline constexpr bool kIsMsxml = false;
#endif

// Whether text that ends in a tag ends in a start tag, behind which an end tag can only be its own.
inline bool EndsInStartTag(WideView text) {
  const std::size_t open = text.rfind(u'<');
  return open != WideView::npos && WideView(u"/?!").find(text[open + 1]) == WideView::npos &&
         !text.ends_with(u"/>");
}

// MSXML ends the document with CR LF and writes a line feed of the text as one; Wine's puts each element on a
// line of its own as well, behind tabs. This takes away the breaks that stand between tags and makes the
// others line feeds, those too that are all of an element's text. Off Windows nothing is added, so nothing is
// taken away.
inline WideString AsEverywhere(WideString text) {
  if (!kIsMsxml) return text;
  WideString plain;
  for (std::size_t at = 0; at < text.size();) {
    if (text.compare(at, 2, u"\r\n") != 0) {
      plain += text[at++];
      continue;
    }
    const std::size_t next = text.find_first_not_of(u'\t', at + 2);
    const bool isBehindTag = plain.empty() || plain.back() == u'>';
    const bool isText =
        next != WideString::npos && text.compare(next, 2, u"</") == 0 && EndsInStartTag(plain);
    if (isBehindTag && !isText && (next == WideString::npos || text[next] == u'<')) {
      at = next == WideString::npos ? text.size() : next;
    } else {
      plain += u'\n';
      at += 2;
    }
  }
  return plain;
}

}  // namespace sbx::testing
