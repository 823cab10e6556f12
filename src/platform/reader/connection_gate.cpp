#include "platform/reader/connection_gate.h"

namespace tsasync::platform {

void ConnectionGate::Enter(std::uint64_t read, const std::string& host) {
    m_row.push_back(read);
    m_waiting.emplace(read, host);
}

bool ConnectionGate::Leave(std::uint64_t read) { return m_waiting.erase(read) != 0; }

std::optional<std::uint64_t> ConnectionGate::Next() {
    if (m_places >= m_inAll) return std::nullopt;
    // What is parked is older than all that is in the row.
    while (!m_freed.empty()) {
        const std::string name = m_freed.front();
        Host& host = m_hosts[name];
        while (!host.parked.empty() && host.places < m_perHost) {
            const std::uint64_t read = host.parked.front();
            host.parked.pop_front();
            if (m_waiting.contains(read)) return Admit(read, name);
        }
        m_freed.pop_front();
        if (host.places == 0 && host.parked.empty()) m_hosts.erase(name);
    }
    while (!m_row.empty()) {
        const std::uint64_t read = m_row.front();
        m_row.pop_front();
        const auto waiting = m_waiting.find(read);
        if (waiting == m_waiting.end()) continue;
        Host& host = m_hosts[waiting->second];
        if (host.places < m_perHost) return Admit(read, std::string(waiting->second));
        host.parked.push_back(read);
    }
    return std::nullopt;
}

std::optional<std::uint64_t> ConnectionGate::Admit(std::uint64_t read, const std::string& host) {
    m_waiting.erase(read);
    ++m_hosts[host].places;
    ++m_places;
    return read;
}

void ConnectionGate::Release(const std::string& name) {
    Host& host = m_hosts[name];
    --m_places;
    --host.places;
    if (!host.parked.empty()) {
        m_freed.push_back(name);
    } else if (host.places == 0) {
        m_hosts.erase(name);
    }
}

}  // namespace tsasync::platform
