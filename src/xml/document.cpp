#include "xml/document.h"

namespace sbx::xml {
namespace {

DocumentFactory g_factory = nullptr;

}  // namespace

std::unique_ptr<Document> Document::New() {
  return g_factory != nullptr ? g_factory() : CreatePlatformDocument();
}

void SetDocumentFactory(DocumentFactory factory) noexcept {
  g_factory = factory;
}

}  // namespace sbx::xml
