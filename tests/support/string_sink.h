// Serialised text in one string, for tests.
#pragma once

#include <gtest/gtest.h>
#include <string>

#include "support/written_xml.h"
#include "xml/document.h"

namespace sbx::testing {

class StringSink : public xml::TextSink {
 public:
  bool Append(WideView piece) override {
    text.append(piece);
    ++pieces;
    return true;
  }
  WideString text;
  int pieces = 0;
};

// The document's text, in the form that all systems share; its units are checked on the way.
inline WideString TextOf(const xml::SerializedText& serialized) {
  StringSink sink;
  EXPECT_TRUE(serialized.WriteTo(sink));
  EXPECT_EQ(serialized.Units(), sink.text.size());
  return AsEverywhere(sink.text);
}
inline WideString TextOf(xml::Document& document) {
  return TextOf(*document.GetXml());
}

}  // namespace sbx::testing
