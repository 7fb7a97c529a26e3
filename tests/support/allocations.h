#pragma once

#include <cstdint>

namespace Xem::Testing {

/// Allocations by operator new in this process so far. Using it replaces the global operator new of the test.
std::int64_t AllocationCount();

}  // namespace Xem::Testing
