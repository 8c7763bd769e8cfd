#include "api/conversion_state.h"

namespace sbx {

constinit ConversionState g_conversion = {};

}  // namespace sbx
