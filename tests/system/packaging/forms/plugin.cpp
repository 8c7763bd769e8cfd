#include "sbxml_module_embed.h"

__attribute__((visibility("default"))) const SBXModuleResources& PluginModule() {
  return sbxml_module;
}
