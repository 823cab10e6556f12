// For how long, and in which order, reads wait.
#include "platform/reader/connection_gate.h"
#include "platform/reader/patience.h"

#include <gtest/gtest.h>

namespace tsasync::platform {
namespace {

using namespace std::chrono_literals;

TEST(Patience, EndsWhateverTheServerNames) {
    const Limits limits;
    const struct {
        std::optional<std::int64_t> named;
        int tries;
    } cases[] = {{std::nullopt, 9}, {0, 9}, {1, 9}, {10, 3}, {30, 1}, {31, 0}, {INT64_MAX, 0}};
    for (const auto& c : cases) {
        Patience patience(limits);
        int tries = 0;
        while (tries < 100 && patience.Next(c.named, 0)) ++tries;
        EXPECT_EQ(tries, c.tries) << c.named.value_or(-2);
    }
}

TEST(ConnectionGate, LetsParkedReadsInByAgeOnceTheHostHasAllItsPlacesAgain) {
    const Limits limits{.connectionsPerHost = 2};
    ConnectionGate gate(limits);
    const auto start = ConnectionGate::Clock::now();
    for (std::uint64_t read = 1; read <= 5; ++read) gate.Enter(read, "host");
    EXPECT_EQ(gate.Due(), ConnectionGate::Clock::time_point::max());
    EXPECT_EQ(gate.Next(start), 1);
    EXPECT_EQ(gate.Next(start), 2);
    EXPECT_EQ(gate.Next(start), std::nullopt);
    for (const std::uint64_t read : {1, 2}) {
        gate.TurnedAway("host", start, start);
        gate.Release("host");
        gate.Return(read, "host");
    }
    EXPECT_EQ(gate.Next(start), 1);
    EXPECT_EQ(gate.Next(start), std::nullopt);
    EXPECT_EQ(gate.Due(), start + limits.fewerFor);
    gate.Enter(6, "host");
    EXPECT_EQ(gate.Next(gate.Due() - 1ms), std::nullopt);
    EXPECT_EQ(gate.Next(gate.Due()), 2);
    EXPECT_EQ(gate.Due(), ConnectionGate::Clock::time_point::max());
    for (const std::uint64_t read : {3, 4, 5, 6}) {
        gate.Release("host");
        EXPECT_EQ(gate.Next(start), read);
    }
}

}  // namespace
}  // namespace tsasync::platform
