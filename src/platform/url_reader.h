#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <variant>

// The asynchronous URL reader. One reader serves any number of reads; they are told apart by a property name.
// Every notification arrives on the thread that created the reader, from that thread's message loop and never
// from inside a call to the reader.
namespace tsasync::platform {

// Status codes of a notification (URL-moniker numbering).
enum ReadStatus : std::int32_t {
    kStatusError = 0,
    kStatusFindingResource = 1,
    kStatusConnecting = 2,
    kStatusRedirecting = 3,
    kStatusBeginDownload = 4,
    kStatusDownloading = 5,
    kStatusEndDownload = 6,
    kStatusUsingCachedCopy = 10,
    kStatusSendingRequest = 11,
    kStatusMimeTypeAvailable = 13,
    kStatusCacheFileNameAvailable = 14,
    kStatusBeginSyncOperation = 15,
    kStatusEndSyncOperation = 16,
};

// Failures of a read: the URL moniker's numbers.
inline constexpr std::int32_t kErrInvalidUrl = static_cast<std::int32_t>(0x800C0002u);
inline constexpr std::int32_t kErrNoSession = static_cast<std::int32_t>(0x800C0003u);
inline constexpr std::int32_t kErrCannotConnect = static_cast<std::int32_t>(0x800C0004u);
inline constexpr std::int32_t kErrResourceNotFound = static_cast<std::int32_t>(0x800C0005u);
inline constexpr std::int32_t kErrObjectNotFound = static_cast<std::int32_t>(0x800C0006u);
inline constexpr std::int32_t kErrDataNotAvailable = static_cast<std::int32_t>(0x800C0007u);
inline constexpr std::int32_t kErrDownloadFailure = static_cast<std::int32_t>(0x800C0008u);
inline constexpr std::int32_t kErrAuthenticationRequired = static_cast<std::int32_t>(0x800C0009u);
inline constexpr std::int32_t kErrConnectionTimeout = static_cast<std::int32_t>(0x800C000Bu);
inline constexpr std::int32_t kErrInvalidRequest = static_cast<std::int32_t>(0x800C000Cu);
inline constexpr std::int32_t kErrUnknownProtocol = static_cast<std::int32_t>(0x800C000Du);
inline constexpr std::int32_t kErrSecurityProblem = static_cast<std::int32_t>(0x800C000Eu);
inline constexpr std::int32_t kErrCannotLoadData = static_cast<std::int32_t>(0x800C000Fu);
inline constexpr std::int32_t kErrRedirectFailed = static_cast<std::int32_t>(0x800C0014u);
inline constexpr std::int32_t kErrInvalidCertificate = static_cast<std::int32_t>(0x800C0019u);

// The answer to a cancellation of a read that the reader does not know (any more).
inline constexpr std::int32_t kErrNoSuchRead = 14;

inline constexpr std::int32_t kReadIntoFile = 1;  // the one read type that is served

// The failure of a read, as the value of its completion; reading that value raises it.
struct ReadFailure {
    std::int32_t number = 0;
    std::u16string description;
};

// One notification. The names are those of the automation object that hosts of user controls know.
struct AsyncProperty {
    std::u16string PropertyName;  // as given to AsyncRead
    // On completion: the full path of the file that holds the data (the receiver's to move away or leave; the
    // reader deletes what stays when it is swept), or the failure. With kStatusError: the error's number.
    std::variant<std::monostate, std::u16string, std::int32_t, ReadFailure> Value;
    std::u16string Target;       // the URL finally read; differs from the one asked for after a redirection
    std::int32_t BytesRead = 0;  // so far; 2147483647 stands for that or more
    std::int32_t BytesMax = 0;   // expected in total, 0 when unknown; 2147483647 stands for that or more
    std::int32_t StatusCode = 0;
    std::u16string Status;  // the text that goes with the code: host, address, MIME type, redirect target
};

class IReadEvents {
  public:
    // Progress or a change of status. May throw AutomationError; the reader logs it and goes on.
    virtual void AsyncReadProgress(const AsyncProperty& property) = 0;
    // The end of a read, exactly once, never after its cancellation. May throw likewise.
    virtual void AsyncReadComplete(const AsyncProperty& property) = 0;

  protected:
    ~IReadEvents() = default;
};

class UrlReader {
  public:
    // `events` is not owned and must outlive the reader.
    explicit UrlReader(IReadEvents& events);
    // Cancels every read; no notification follows.
    ~UrlReader();
    UrlReader(const UrlReader&) = delete;
    UrlReader& operator=(const UrlReader&) = delete;

    // Where a thread may have several message loops: from now on notifications come from the one that is the
    // thread's at this moment; before the first call from the one at the reader's making.
    void ListenHere();

    // The folder where the data of reads started from now on will finally be wanted: their files lie on the
    // same volume where that can be. Need not exist.
    void PlaceNear(std::u16string_view folder);

    // Starts a read of `target`. `type` is kReadIntoFile. Returns 0, or the error number of a refusal; a bad
    // or unreachable URL is no refusal but a failed completion. The name must not be in use. kErrNoSession
    // when the thread could hear of nothing because another thread runs its message loop. Throws what is no
    // AutomationError where the system lacks memory or a thread; the next try may find them.
    std::int32_t AsyncRead(std::u16string_view target, std::int32_t type, std::u16string_view propertyName);

    // Stops the read and forgets its name, which may be used again at once. Returns 0, or kErrNoSuchRead when
    // no read has the name.
    std::int32_t CancelAsyncRead(std::u16string_view propertyName);

  private:
    class Impl;
    std::unique_ptr<Impl> m_impl;
};

}  // namespace tsasync::platform
