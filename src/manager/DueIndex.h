#pragma once

#include <cstddef>
#include <limits>
#include <optional>
#include <vector>

namespace tsasync {

// Finds, among many places numbered from 0, the lowest one whose time has come. Nothing in it depends on the
// order in which times are set or asked for, so the clock may step back.
//
// A tree of minima in one array per level, 16 places to a node: setting a time and finding a place cost
// O(log n), with n up to a million five levels of two cache lines.
class DueIndex {
  public:
    static constexpr double kNever = std::numeric_limits<double>::infinity();

    // The time of `place`; kNever when it waits for none. Not a number is never, too.
    void Set(std::size_t place, double time);
    // The lowest place whose time is `now` or earlier.
    std::optional<std::size_t> FirstDue(double now) const;
    void Clear() { m_levels.clear(); }

  private:
    void Grow(std::size_t place);
    double LeastOf(std::size_t level, std::size_t group) const;

    static constexpr std::size_t kFan = 16;
    // [0] holds the time of every place, each level above the least of every kFan entries below. Every level
    // is filled up with kNever to whole groups, the last one is one group.
    std::vector<std::vector<double>> m_levels;
};

}  // namespace tsasync
