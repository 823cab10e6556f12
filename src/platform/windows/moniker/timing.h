#pragma once

#include "platform/reader/limits.h"

namespace tsasync::platform {

// The process's. Only tests ever change them, before its first read.
inline Limits& Timing() {
    static Limits limits;
    return limits;
}

}  // namespace tsasync::platform
