#pragma once

#include <cstdint>

// The numbers of the errors that the core raises and tells apart. Those of a failed read are the reader's
// (platform/url_reader.h).
namespace tsasync {

// Runtime errors.
inline constexpr std::int32_t kErrInvalidProcedureCall = 5;
inline constexpr std::int32_t kErrOverflow = 6;
inline constexpr std::int32_t kErrOutOfMemory = 7;
inline constexpr std::int32_t kErrTypeMismatch = 13;
inline constexpr std::int32_t kErrInternal = 51;
inline constexpr std::int32_t kErrFileNotFound = 53;
inline constexpr std::int32_t kErrPermissionDenied = 70;
inline constexpr std::int32_t kErrPathNotFound = 76;
inline constexpr std::int32_t kErrObjectNotSet = 91;
inline constexpr std::int32_t kErrInvalidPropertyValue = 380;
inline constexpr std::int32_t kErrDuplicateKey = 457;

// The component's own.
inline constexpr std::int32_t kErrUnknownHandle = 2001;
inline constexpr std::int32_t kErrUnknownProgressKey = 2003;
inline constexpr std::int32_t kErrMoveFailed = 10001;
inline constexpr std::int32_t kErrMoveCode7 = 10002;
inline constexpr std::int32_t kErrMoveAborted = 10003;
inline constexpr std::int32_t kErrMoveCancelled = 10004;
inline constexpr std::int32_t kErrMoveUnknown = 10005;

}  // namespace tsasync
