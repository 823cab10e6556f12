#include "platform/reader/connection_gate.h"

#include <algorithm>

namespace tsasync::platform {

void ConnectionGate::Enter(std::uint64_t read, const std::string& host) {
    m_row.push_back(read);
    m_waiting.emplace(read, host);
}

void ConnectionGate::Return(std::uint64_t read, const std::string& host) {
    m_hosts[host].parked.insert(read);
    m_waiting.emplace(read, host);
    m_freed.push_back(host);
}

bool ConnectionGate::Leave(std::uint64_t read) { return m_waiting.erase(read) != 0; }

std::optional<std::uint64_t> ConnectionGate::Next(Clock::time_point now) {
    EndFewer(now);
    if (m_places >= m_limits.connections) return std::nullopt;
    // What is parked is older than all that is in the row.
    while (!m_freed.empty()) {
        const std::string name = m_freed.front();
        Host& host = m_hosts[name];
        const std::size_t places = PlacesAt(name);
        while (!host.parked.empty() && host.places < places) {
            const std::uint64_t read = host.parked.extract(host.parked.begin()).value();
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
        if (host.places < PlacesAt(waiting->second)) return Admit(read, std::string(waiting->second));
        host.parked.insert(read);
    }
    return std::nullopt;
}

std::optional<std::uint64_t> ConnectionGate::Admit(std::uint64_t read, const std::string& host) {
    m_waiting.erase(read);
    ++m_hosts[host].places;
    ++m_places;
    return read;
}

ConnectionGate::Clock::time_point ConnectionGate::Due() const {
    return m_ends.empty() ? Clock::time_point::max() : m_ends.front().first;
}

// Hosts that have had fewer places for long enough have all of them again.
void ConnectionGate::EndFewer(Clock::time_point now) {
    for (; Due() <= now; m_ends.pop_front()) {
        const auto fewer = m_fewer.find(m_ends.front().second);
        if (fewer == m_fewer.end() || fewer->second.until > now) continue;  // turned reads away once more
        m_freed.push_back(fewer->first);
        m_fewer.erase(fewer);
    }
}

std::size_t ConnectionGate::PlacesAt(const std::string& host) const {
    const auto fewer = m_fewer.find(host);
    return fewer != m_fewer.end() ? fewer->second.places : m_limits.connectionsPerHost;
}

void ConnectionGate::TurnedAway(const std::string& host, Clock::time_point asked, Clock::time_point now) {
    EndFewer(now);
    const auto last = m_fewer.find(host);
    if (last != m_fewer.end() && asked < last->second.since) return;
    const std::size_t half = std::max<std::size_t>(PlacesAt(host) / 2, 1);
    m_fewer.insert_or_assign(host, Fewer{half, now, now + m_limits.fewerFor});
    m_ends.emplace_back(now + m_limits.fewerFor, host);
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
