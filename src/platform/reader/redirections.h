#pragma once

#include "platform/reader/response_head.h"
#include "platform/reader/source_url.h"

#include <optional>
#include <utility>

namespace tsasync::platform::reader {

// Whether an answer of this HTTP status names another place to ask.
constexpr bool IsRedirection(int status) {
    return status == 301 || status == 302 || status == 303 || status == 307 || status == 308;
}

// The way of one read: where it was asked to go, and where redirections have led it. They lead to http and
// https only, never from https to http, and 20 times at most.
class Redirections {
  public:
    explicit Redirections(SourceUrl asked) : m_asked(asked), m_current(std::move(asked)) {}

    const SourceUrl& Asked() const { return m_asked; }
    const SourceUrl& Current() const { return m_current; }

    // Goes where `head`, or a Location that was told alone, leads; or gives the failure, kErrRedirectFailed,
    // and stays.
    std::optional<ReadFailure> Follow(const ResponseHead& head);
    std::optional<ReadFailure> Follow(std::string_view location);

  private:
    SourceUrl m_asked;
    SourceUrl m_current;
    int m_count = 0;
};

}  // namespace tsasync::platform::reader
