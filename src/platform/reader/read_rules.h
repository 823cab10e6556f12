#pragma once

#include "platform/url_reader.h"

#include <algorithm>
#include <cstdint>
#include <limits>

// What the readers of all systems have in common.
namespace tsasync::platform {

// The failure of a read whose server answered with an HTTP status that brings no data.
constexpr std::int32_t FailureOfStatus(int status) {
    switch (status) {
        case 204:
        case 205:
        case 304:
            return kErrDataNotAvailable;
        case 400:
            return kErrInvalidRequest;
        case 401:
        case 407:
            return kErrAuthenticationRequired;
        case 404:
        case 410:
            return kErrObjectNotFound;
        case 408:
        case 504:
            return kErrConnectionTimeout;
        default:
            return status >= 300 && status < 400 ? kErrRedirectFailed : kErrDownloadFailure;
    }
}

// A number of bytes as notifications tell it.
constexpr std::int32_t Saturated(std::int64_t count) {
    return static_cast<std::int32_t>(std::min<std::int64_t>(count, std::numeric_limits<std::int32_t>::max()));
}

}  // namespace tsasync::platform
