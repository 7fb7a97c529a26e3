#pragma once

#include "text/utf8.h"

namespace Xem::Tool {

using namespace Strings;

}  // namespace Xem::Tool
