#pragma once

#include "platform/reader/limits.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <optional>
#include <set>
#include <string>
#include <unordered_map>
#include <utility>

namespace tsasync::platform {

// Decides which waiting read may use the network next: the oldest one whose host has a place free, while
// there is a place in all. No operation costs more than O(log n), whatever waits.
class ConnectionGate {
  public:
    using Clock = std::chrono::steady_clock;

    explicit ConnectionGate(const Limits& limits) : m_limits(limits) {}

    // `read` waits for a place at `host`, behind all others.
    void Enter(std::uint64_t read, const std::string& host);
    // `read`, which was turned away there, waits for a place at `host` before all that are younger.
    void Return(std::uint64_t read, const std::string& host);
    // `read` waits no longer. Whether it did: one that did holds no place.
    bool Leave(std::uint64_t read);
    // Takes the next read that may start out of the waiting ones; it then holds a place at its host.
    std::optional<std::uint64_t> Next(Clock::time_point now);
    // When more of them may start, if nothing else happens.
    Clock::time_point Due() const;
    // Gives the place of a read at `host` back.
    void Release(const std::string& host);
    // Whether several reads hold places at `host`.
    bool IsShared(const std::string& host) const;
    // `host` has turned away a read that asked at `asked`: for a while it has half the places. Of reads that
    // asked at the same time only the first counts.
    void TurnedAway(const std::string& host, Clock::time_point asked, Clock::time_point now);

  private:
    struct Host {
        std::size_t places = 0;  // held
        // Reads that came to the head of the row while this host was full or were turned away, by age.
        std::set<std::uint64_t> parked;
    };

    struct Fewer {
        std::size_t places;
        Clock::time_point since;
        Clock::time_point until;
    };

    void EndFewer(Clock::time_point now);
    std::size_t PlacesAt(const std::string& host) const;
    std::optional<std::uint64_t> Admit(std::uint64_t read, const std::string& host);

    const Limits& m_limits;
    std::size_t m_places = 0;                                  // held in all
    std::deque<std::uint64_t> m_row;                           // in order of arrival
    std::unordered_map<std::uint64_t, std::string> m_waiting;  // read → its host; what is not here has left
    std::unordered_map<std::string, Host> m_hosts;             // those with places held or reads parked
    std::unordered_map<std::string, Fewer> m_fewer;            // by host
    std::deque<std::pair<Clock::time_point, std::string>> m_ends;  // each `until` there has been of these
    std::deque<std::string> m_freed;  // hosts that may have a place free while reads are parked
};

}  // namespace tsasync::platform
