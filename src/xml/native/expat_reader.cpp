#include "xml/native/expat_reader.h"

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstring>
#include <expat.h>
#include <memory>
#include <new>
#include <type_traits>
#include <vector>

#include "xml/native/attribute_budget.h"
#include "xml/native/entity_table.h"
#include "xml/text_scan.h"

namespace sbx::xml::native {
namespace {

static_assert(sizeof(XML_Char) == sizeof(char16_t), "expat in its UTF-16 build is needed");
static_assert(std::endian::native == std::endian::little, "text is handed over as UTF-16LE");

// The parser copies what it is given, so it gets pieces that stay in the cache. It looks at a token that is
// not whole yet from its beginning each time, so within a long one the pieces grow.
constexpr std::size_t kPieceUnits = std::size_t{128} * 1024;
constexpr std::size_t kLargestPieceUnits = std::size_t{16} * 1024 * 1024;

WideView ViewOf(const XML_Char* text, std::size_t length) noexcept {
  return {reinterpret_cast<const char16_t*>(text), length};
}

WideView ViewOf(const XML_Char* text) noexcept {
  return WideView(reinterpret_cast<const char16_t*>(text));
}

// The parser's memory comes from where all of ours does. It reports any refusal of its own as a lack of
// memory too, so ours is noted.
thread_local bool t_memoryRefused = false;

struct BlockHeader {
  alignas(std::max_align_t) std::size_t bytes;
};

void* Allocate(std::size_t bytes) noexcept {
  void* const block =
      bytes > SIZE_MAX / 2 ? nullptr : ::operator new(sizeof(BlockHeader) + bytes, std::nothrow);
  if (block == nullptr) {
    t_memoryRefused = true;
    return nullptr;
  }
  return new (block) BlockHeader{bytes} + 1;
}

void Free(void* memory) noexcept {
  if (memory != nullptr) ::operator delete(static_cast<BlockHeader*>(memory) - 1);
}

void* Reallocate(void* memory, std::size_t bytes) noexcept {
  if (memory == nullptr) return Allocate(bytes);
  void* const moved = Allocate(bytes);
  if (moved == nullptr) return nullptr;
  std::memcpy(moved, memory, std::min(bytes, (static_cast<BlockHeader*>(memory) - 1)->bytes));
  Free(memory);
  return moved;
}

struct ParserDeleter {
  void operator()(XML_Parser parser) const noexcept { XML_ParserFree(parser); }
};
using ParserHolder = std::unique_ptr<std::remove_pointer_t<XML_Parser>, ParserDeleter>;

class Reader {
 public:
  Reader(WideView text, ParseEvents& events)
      : text_(text), events_(events), parser_(MakeParser()), declaredAttributes_(text.size()) {
    SetHandlers();
  }

  TextPlace Place() const noexcept {
    return {static_cast<std::uint32_t>(XML_GetCurrentLineNumber(parser_.get())),
            static_cast<std::uint32_t>(XML_GetCurrentColumnNumber(parser_.get())) + 1};
  }

  // What ended the reading.
  const char* Fault() const noexcept {
    const char* const words = isRefused_ ? nullptr : XML_ErrorString(XML_GetErrorCode(parser_.get()));
    return words == nullptr ? "a reference or a declaration that is refused" : words;
  }

  bool Read() {
    std::size_t at = 0;
    std::size_t pieceUnits = kPieceUnits;
    XML_Index reached = 0;
    bool isLast = false;
    do {
      const WideView piece = text_.substr(at, pieceUnits);
      at += piece.size();
      isLast = at == text_.size();
      const XML_Status status =
          XML_Parse(parser_.get(), reinterpret_cast<const char*>(piece.data()),
                    static_cast<int>(piece.size() * sizeof(char16_t)), isLast ? XML_TRUE : XML_FALSE);
      if (isOutOfMemory_ || (status != XML_STATUS_OK && t_memoryRefused)) throw std::bad_alloc();
      if (status != XML_STATUS_OK || isRefused_) return false;
      const XML_Index now = XML_GetCurrentByteIndex(parser_.get());
      pieceUnits = now == reached ? std::min(2 * pieceUnits, kLargestPieceUnits) : kPieceUnits;
      reached = now;
    } while (!isLast);
    return true;
  }

 private:
  static ParserHolder MakeParser() {
    static const XML_Memory_Handling_Suite memory = {Allocate, Reallocate, Free};
    // A protocol's word on the encoding stands above what the document declares.
    static const XML_Char encoding[] = {'U', 'T', 'F', '-', '1', '6', 'L', 'E', 0};
    t_memoryRefused = false;
    ParserHolder parser(XML_ParserCreate_MM(encoding, &memory, nullptr));
    if (parser == nullptr) throw std::bad_alloc();
    return parser;
  }

  // Handlers are called from C: nothing may leave them. After a stop a few events may still arrive.
  template <class Step>
  void Guarded(Step step) noexcept {
    if (isRefused_ || isOutOfMemory_) return;
    try {
      step();
    } catch (...) {
      isOutOfMemory_ = true;
    }
    if (isRefused_ || isOutOfMemory_) XML_StopParser(parser_.get(), XML_FALSE);
  }

  static Reader& Self(void* user) noexcept { return *static_cast<Reader*>(user); }

  void SetHandlers() noexcept;
  void StartElement(const XML_Char* name, const XML_Char** attributes);
  void DeclareAttribute(WideView element, WideView type, bool hasDefault);
  void Entity(WideView name, const XML_Char* value, int length);
  WideView CurrentMarkup() const noexcept;

  WideView text_;
  ParseEvents& events_;
  ParserHolder parser_;
  EntityTable entities_;
  AttributeBudget declaredAttributes_;
  std::vector<ParsedAttribute> attributes_;
  bool isRefused_ = false;
  bool isOutOfMemory_ = false;
  bool isInDoctype_ = false;
  bool isStandalone_ = false;
  // The parser passes over references to undeclared entities, in attributes without a word, when a part of
  // the document type that it has not read might declare them.
  bool mayPassOver_ = false;
};

// The event's source text: a tag or a literal. Inside an entity, the reference that led there.
WideView Reader::CurrentMarkup() const noexcept {
  const XML_Index index = XML_GetCurrentByteIndex(parser_.get());
  if (index < 0) return {};
  WideView rest = text_.substr(std::min(static_cast<std::size_t>(index) / sizeof(char16_t), text_.size()));
  const int bytes = XML_GetCurrentByteCount(parser_.get());
  if (bytes > 0) return rest.substr(0, static_cast<std::size_t>(bytes) / sizeof(char16_t));
  return rest.substr(0, rest.find(u';') + 1);
}

void Reader::StartElement(const XML_Char* name, const XML_Char** attributes) {
  if (mayPassOver_ && !entities_.AllDeclared(CurrentMarkup())) {
    isRefused_ = true;
    return;
  }
  // Defaults stand behind what the tag itself has.
  const auto specified = static_cast<std::size_t>(XML_GetSpecifiedAttributeCount(parser_.get())) / 2;
  std::size_t defaultUnits = 0;
  attributes_.clear();
  for (; *attributes != nullptr; attributes += 2) {
    attributes_.push_back({.name = ViewOf(attributes[0]), .value = ViewOf(attributes[1])});
    if (attributes_.size() > specified) defaultUnits += attributes_.back().value.size();
  }
  isRefused_ = !declaredAttributes_.Start(ViewOf(name), attributes_.size() - specified, defaultUnits) ||
               !events_.StartElement(ViewOf(name), attributes_);
}

void Reader::DeclareAttribute(WideView element, WideView type, bool hasDefault) {
  isRefused_ = !declaredAttributes_.Declare(element, hasDefault || type == u"ID") ||
               (hasDefault && mayPassOver_ && !entities_.AllDeclared(CurrentMarkup()));
}

void Reader::Entity(WideView name, const XML_Char* value, int length) {
  if (value == nullptr) {
    isRefused_ = !entities_.Declare(name, nullptr);
  } else {
    const WideString replacement(ViewOf(value, static_cast<std::size_t>(length)));
    isRefused_ = !entities_.Declare(name, &replacement);
  }
}

void Reader::SetHandlers() noexcept {
  auto* const parser = parser_.get();
  XML_SetUserData(parser, this);
  XML_SetElementHandler(
      parser,
      [](void* user, const XML_Char* name, const XML_Char** attributes) {
        Self(user).Guarded([&] { Self(user).StartElement(name, attributes); });
      },
      [](void* user, const XML_Char*) { Self(user).Guarded([&] { Self(user).events_.EndElement(); }); });
  XML_SetCharacterDataHandler(parser, [](void* user, const XML_Char* text, int length) {
    Self(user).Guarded(
        [&] { Self(user).events_.Characters(ViewOf(text, static_cast<std::size_t>(length))); });
  });
  XML_SetCdataSectionHandler(
      parser, [](void* user) { Self(user).Guarded([&] { Self(user).events_.StartCdata(); }); },
      [](void* user) { Self(user).Guarded([&] { Self(user).events_.EndCdata(); }); });
  XML_SetCommentHandler(parser, [](void* user, const XML_Char* text) {
    if (Self(user).isInDoctype_) return;
    Self(user).Guarded([&] { Self(user).events_.Comment(ViewOf(text)); });
  });
  XML_SetProcessingInstructionHandler(parser, [](void* user, const XML_Char* target, const XML_Char* data) {
    if (Self(user).isInDoctype_) return;
    Self(user).Guarded([&] { Self(user).events_.Instruction(ViewOf(target), ViewOf(data)); });
  });
  XML_SetXmlDeclHandler(parser, [](void* user, const XML_Char*, const XML_Char*, int standalone) {
    Self(user).isStandalone_ = standalone == 1;
  });
  XML_SetDoctypeDeclHandler(
      parser,
      [](void* user, const XML_Char*, const XML_Char* systemId, const XML_Char*, int) {
        Self(user).isInDoctype_ = true;
        Self(user).mayPassOver_ = systemId != nullptr && !Self(user).isStandalone_;
      },
      [](void* user) { Self(user).isInDoctype_ = false; });
  XML_SetEntityDeclHandler(
      parser, [](void* user, const XML_Char* name, int isParameter, const XML_Char* value, int length,
                 const XML_Char*, const XML_Char*, const XML_Char*, const XML_Char*) {
        if (isParameter != 0) return;
        Self(user).Guarded([&] { Self(user).Entity(ViewOf(name), value, length); });
      });
  XML_SetAttlistDeclHandler(parser, [](void* user, const XML_Char* element, const XML_Char*,
                                       const XML_Char* type, const XML_Char* standard, int) {
    Self(user).Guarded(
        [&] { Self(user).DeclareAttribute(ViewOf(element), ViewOf(type), standard != nullptr); });
  });
  XML_SetSkippedEntityHandler(parser, [](void* user, const XML_Char*, int) {
    Self(user).Guarded([&] { Self(user).isRefused_ = true; });
  });
  XML_SetExternalEntityRefHandler(
      parser, [](XML_Parser, const XML_Char*, const XML_Char*, const XML_Char*, const XML_Char*) -> int {
        return XML_STATUS_ERROR;
      });
  // What no handler takes comes here; of that, only a reference to a parameter entity begins like this.
  XML_SetDefaultHandlerExpand(parser, [](void* user, const XML_Char* text, int length) {
    if (length < 2 || text[0] != '%') return;
    Self(user).Guarded([&] { Self(user).isRefused_ = true; });
  });
}

bool IsHigh(char16_t unit) noexcept {
  return (unit & 0xFC00) == 0xD800;
}
bool IsLow(char16_t unit) noexcept {
  return (unit & 0xFC00) == 0xDC00;
}

TextPlace PlaceOfLoneSurrogate(WideView text) noexcept {
  TextPlace place;
  for (std::size_t at = 0; at < text.size(); ++at) {
    const bool isPair = IsHigh(text[at]) && at + 1 < text.size() && IsLow(text[at + 1]);
    if (!isPair && (IsHigh(text[at]) || IsLow(text[at]))) break;
    if (isPair) ++at;
    const bool isLineEnd = text[at] == u'\n' || (text[at] == u'\r' && text.substr(at + 1, 1) != u"\n");
    if (isLineEnd) {
      place = {place.line + 1, 1};
    } else if (text[at] != u'\r') {
      ++place.column;
    }
  }
  return place;
}

}  // namespace

bool ReadXml(WideView text, ParseEvents& events, ReadingReport* report) {
  // Not every release of expat notices each lone surrogate.
  if (!HasSurrogatesInPairs(text)) {
    if (report != nullptr) *report = {{}, PlaceOfLoneSurrogate(text), "half of a surrogate pair"};
    return false;
  }
  Reader reader(text, events);
  if (report == nullptr) return reader.Read();
  report->here = [&reader] { return reader.Place(); };
  const bool isWhole = reader.Read();
  report->here = nullptr;
  if (!isWhole) {
    report->faultPlace = reader.Place();
    report->fault = reader.Fault();
  }
  return isWhole;
}

}  // namespace sbx::xml::native
