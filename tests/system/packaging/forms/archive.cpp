#include "archive_module_embed.h"

const SBXModuleResources& ArchiveModule() {
  return archive_module;
}
