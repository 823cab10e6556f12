#include "platform/reader/redirections.h"

#include "platform/reader/failure.h"

namespace tsasync::platform::reader {

namespace {

constexpr int kMost = 20;

}  // namespace

std::optional<ReadFailure> Redirections::Follow(const ResponseHead& head) {
    if (head.locationsDiffer) return Failure(why::kTwoTargets, m_current.text);
    return Follow(head.location);
}

std::optional<ReadFailure> Redirections::Follow(std::string_view location) {
    if (m_count == kMost) return Failure(why::kTooManyRedirections, m_asked.text);
    if (location.empty()) return Failure(why::kNoTarget, m_current.text);
    auto target = ResolveReference(m_current, location);
    if (auto* failure = std::get_if<ReadFailure>(&target)) {
        // What is no place to go to at all was told as such.
        return Failure(failure->number == kErrInvalidUrl ? why::kMalformedTarget : why::kForbiddenTarget,
                       location);
    }
    auto& source = std::get<SourceUrl>(target);
    if (!source.IsWeb()) return Failure(why::kForbiddenTarget, location);
    if (m_current.scheme == "https" && source.scheme != "https")
        return Failure(why::kUnsecuredTarget, location);
    ++m_count;
    m_current = std::move(source);
    // The user's name in the URL is told to the server that the URL names, and to no other.
    if (!m_current.NamesUser() && m_current.origin == m_asked.origin) {
        m_current.user = m_asked.user;
        m_current.password = m_asked.password;
    }
    return std::nullopt;
}

}  // namespace tsasync::platform::reader
