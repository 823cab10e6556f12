#pragma once

#include "tsasync/com.h"

#include <cstddef>

namespace tsasync::comrt {

// Bytes that a value of `type` (without VT_BYREF) takes in a variant; 0 for one without content and for a
// type that is not supported.
std::size_t ValueSize(VARTYPE type);

}  // namespace tsasync::comrt
