// The output document under construction: a position and the few steps that a conversion needs.
//
// One exists for each binary-to-XML conversion. There is no stack of open elements: the position is the
// current element alone. Failures are logged at level 0 and returned; nothing here sets an error text.
#pragma once

#include <cstdint>
#include <memory>

#include "base/result_codes.h"
#include "base/wide_text.h"
#include "xml/document.h"

namespace sbx {

// Documents end at this many units: one more could not be told through a signed 32-bit size with its zero.
inline constexpr std::uint64_t kDocumentUnitLimit = 0x7FFFFFFE;

class XMLDOMHelper {
 public:
  // `unitLimit` bounds the serialised document; text and elements that would pass it are refused with -3.
  explicit XMLDOMHelper(std::uint64_t unitLimit = kDocumentUnitLimit) noexcept : unitLimit_(unitLimit) {}

  // Opens the document with its root "JobScriptXMLDescription". Once only.
  Status CreateDocument();
  // Appends an element under the current one and makes it current. After a failure the position is unchanged,
  // so the call must not be paired with BackToParent.
  Status NewElement(WideView name);
  // Makes the parent current; does nothing at the root.
  void BackToParent();
  // Sets the attribute "flag" of the current element. A null value is refused. Callers may ignore the result,
  // so a document that is full throws std::bad_alloc here.
  Status SetFlagAttribute(const char16_t* value);
  // Sets the current element's content, in byte-string form where XML can't carry the text. A view with null
  // data is refused; an empty text is content.
  Status SetContent(WideView text);
  // The same for text of digits, signs, points, letters and blanks alone, as numbers have.
  Status SetPlainContent(WideView text);

  // Units of the serialised document as counted so far. Exact where each element's content and flag were set
  // before its parent became current again, and by this class alone.
  std::uint64_t countedUnits() const noexcept { return units_; }
  // How many more the document may have.
  std::uint64_t unitsLeft() const noexcept { return units_ < unitLimit_ ? unitLimit_ - units_ : 0; }
  const xml::NodeRef& currentElement() const noexcept { return current_; }
  bool isOpen() const noexcept { return document_ != nullptr && root_; }
  // Counts units that someone else is about to write into the document; false if that would pass the limit.
  bool CountUnits(std::uint64_t units) noexcept {
    if (!Fits(units)) return false;
    units_ += units;
    return true;
  }
  // The document's text; null if it can't be had.
  std::unique_ptr<xml::SerializedText> GetXml();

 private:
  // What is known of the current element's share of the document, so that replacing content or flag is
  // counted once. Of an element that was left and came back to, only that it has content.
  struct ElementUnits {
    std::uint64_t name = 0;
    std::uint64_t flag = 0;
    std::uint64_t content = 0;  // of its text
    bool hasContent = false;
  };

  bool Fits(std::uint64_t units) const noexcept { return units <= unitsLeft(); }
  Status SetBinaryContent(WideView text);
  Status CheckContent(WideView text) const;
  Status PutContent(WideView text, std::uint64_t units, const xml::TextTraits& traits);

  std::unique_ptr<xml::Document> document_;
  xml::NodeRef root_;
  xml::NodeRef current_;
  std::uint64_t unitLimit_;
  std::uint64_t units_ = 0;
  ElementUnits currentUnits_;
};

}  // namespace sbx
