#include "platform/reader/type_finder.h"

#include <utility>

namespace tsasync::platform::reader {

void TypeFinder::Begin(std::string_view sent, std::string_view kept, std::string beginning, TimePoint now) {
    m_sent = WantsContent(sent) && !kept.empty() ? kept : sent;
    m_start = std::move(beginning);
    m_since = now;
}

void TypeFinder::Add(std::string_view bytes, TimePoint now) {
    if (m_start.empty()) m_since = now;
    m_start.append(bytes.substr(0, kSniffSize - m_start.size()));
}

}  // namespace tsasync::platform::reader
