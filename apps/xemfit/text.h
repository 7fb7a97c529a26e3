#pragma once

#include "text/text.h"

namespace Xem::Tool {

using namespace Strings;

}  // namespace Xem::Tool
