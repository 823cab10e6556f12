#include "platform/reader/connection_gate.h"

#include <algorithm>

namespace tsasync::platform {

void ConnectionGate::Enter(std::uint64_t read, const std::string& host) {
    m_row.push_back(read);
    m_waiting.emplace(read, host);
}

void ConnectionGate::Return(std::uint64_t read, const std::string& host) {
    m_hosts[host].parked.push_front(read);
    m_waiting.emplace(read, host);
    m_freed.push_back(host);
}

bool ConnectionGate::Leave(std::uint64_t read) { return m_waiting.erase(read) != 0; }

std::optional<std::uint64_t> ConnectionGate::Next(Clock::time_point now) {
    if (m_places >= m_limits.connections) return std::nullopt;
    // What is parked is older than all that is in the row.
    while (!m_freed.empty()) {
        const std::string name = m_freed.front();
        Host& host = m_hosts[name];
        const std::size_t places = PlacesAt(name, now);
        while (!host.parked.empty() && host.places < places) {
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
        if (host.places < PlacesAt(waiting->second, now)) return Admit(read, std::string(waiting->second));
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

std::size_t ConnectionGate::PlacesAt(const std::string& host, Clock::time_point now) const {
    const auto fewer = m_fewer.find(host);
    const bool counts = fewer != m_fewer.end() && now < fewer->second.until;
    return counts ? fewer->second.places : m_limits.connectionsPerHost;
}

void ConnectionGate::TurnedAway(const std::string& host, Clock::time_point asked, Clock::time_point now) {
    std::erase_if(m_fewer, [&](const auto& one) { return one.second.until <= now; });
    const auto last = m_fewer.find(host);
    if (last != m_fewer.end() && asked < last->second.since) return;
    const std::size_t half = std::max<std::size_t>(PlacesAt(host, now) / 2, 1);
    m_fewer.insert_or_assign(host, Fewer{half, now, now + m_limits.fewerFor});
}

bool ConnectionGate::IsShared(const std::string& host) const {
    const auto found = m_hosts.find(host);
    return found != m_hosts.end() && found->second.places > 1;
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
