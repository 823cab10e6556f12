// What the operations of a manager cost with 1,000 to 1,000,000 registered jobs, and what an idle job takes.
// Prints, after Google Benchmark's table, the ratio of the dearest to the cheapest number of jobs for each
// operation.
#include "base/Text.h"
#include "manager/CDLManager.h"
#include "tests/platform/clock.h"

#include <benchmark/benchmark.h>
#include <malloc.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <functional>
#include <map>
#include <memory>
#include <numeric>
#include <random>
#include <string>
#include <utility>
#include <vector>

namespace tsasync {
namespace {

constexpr double kNow = 45366;
constexpr double kPast = kNow - 1;
constexpr double kFuture = kNow + 1;
constexpr double kLongAgo = kNow - 1000;  // nothing is due

// At hand: the same records again and again. Cold: any record, with nothing of the engine in the processor's
// caches, as it is for a host that does something else between two calls. Warm with warm and cold with cold:
// a thousand jobs fit in the caches and a million don't, which says nothing about the registry.
enum class Access { AtHand, Cold };
// Operations in one iteration. Emptying the caches takes a thousand times as long as a cold operation.
constexpr std::size_t BatchOf(Access access) { return access == Access::AtHand ? 100 : 11; }

enum class Rest { Idle, Pending, Due };  // what the jobs are that no operation touches

// A manager with a number of jobs, and the records that its host keeps.
class Engine final : IManagerEvents {
  public:
    explicit Engine(std::size_t jobs) {
        testplatform::SetNow(kNow);
        manager = CDLManager::Create(*this);
        const std::size_t before = mallinfo2().uordblks;
        records.reserve(jobs);
        const std::size_t vector = mallinfo2().uordblks - before;
        keeps = true;
        for (std::size_t i = 0; i < jobs; ++i) manager->AddURL(Url(i), u"Asset");
        keeps = false;
        bytesPerJob = static_cast<double>(mallinfo2().uordblks - before - vector) / static_cast<double>(jobs);
    }
    ~Engine() { manager->Terminate(); }
    Engine(const Engine&) = delete;
    Engine& operator=(const Engine&) = delete;

    static std::u16string Url(std::size_t i) {
        return u"https://assets.example.com/library/pictures/" + Decimal(static_cast<std::int64_t>(i)) +
               u".jpg";
    }

    // What the untouched jobs are, by writing into the records as a host can.
    void SetRest(Rest value) {
        for (const auto& oI : records) {
            oI->SetStart(value == Rest::Due ? kPast : kFuture);
            oI->SetState(value == Rest::Idle ? tsdStopped : tsdPending);
        }
    }

    // As many places in `records` as a batch has; at hand, the same ones as the last time.
    const std::vector<std::size_t>& Sample(Access access) {
        const std::size_t batch = BatchOf(access);
        if (access == Access::AtHand && sample.size() == batch) return sample;
        sample.clear();
        for (std::size_t i = 0; i < batch; ++i) {
            const std::size_t part = records.size() / batch;  // one from each part, so that none comes twice
            sample.push_back(i * part + random() % part);
        }
        std::shuffle(sample.begin(), sample.end(), random);
        return sample;
    }
    std::vector<std::u16string> HandlesOf(const std::vector<std::size_t>& places) const {
        std::vector<std::u16string> handles;
        handles.reserve(places.size());
        for (const std::size_t place : places) handles.push_back(records[place]->Handle());
        return handles;
    }

    // The job of a place that has left, at the end of the registry.
    void AddAgain(std::size_t place, Rest rest) {
        manager->AddURL(Url(place), u"Asset");
        records[place] = last;
        last->SetStart(kFuture);
        last->SetState(rest == Rest::Idle ? tsdStopped : tsdPending);
    }

    std::shared_ptr<CDLManager> manager;
    std::vector<std::shared_ptr<CDLItem>> records;
    std::vector<std::size_t> sample;
    std::mt19937 random{1};
    double bytesPerJob = 0;
    std::size_t added = 0;  // URLs used beyond the first ones

  private:
    void StateChanged(const std::shared_ptr<CDLItem>& oI) override {
        if (keeps) records.push_back(oI);
        last = oI;
    }

    std::shared_ptr<CDLItem> last;
    bool keeps = false;  // while the jobs are added
};

// The engine for this many jobs; one at a time.
Engine& EngineOf(const benchmark::State& state) {
    static std::unique_ptr<Engine> engine;
    const auto jobs = static_cast<std::size_t>(state.range(0));
    if (!engine || engine->records.size() != jobs) {
        engine.reset();
        engine = std::make_unique<Engine>(jobs);
    }
    testplatform::SetNow(kNow);
    return *engine;
}

// Writes more than the processor's caches hold.
void EvictCaches() {
    constexpr std::size_t kSize = std::size_t{256} << 20U, kLine = 64;
    static std::vector<char> memory(kSize);
    for (std::size_t i = 0; i < kSize; i += kLine) ++memory[i];
    benchmark::ClobberMemory();
}

// Measures `operation` on every element, the rest of an iteration not at all. Warm it takes the mean, which
// counts what comes now and then (a table that grows); cold the median, because one operation in a row may be
// interrupted for longer than all the others take.
template <typename Elements, typename Operation>
void Measure(benchmark::State& state, Access access, const Elements& elements, const Operation& operation) {
    std::vector<double> times;
    for (const auto& element : elements) {
        if (access == Access::Cold) EvictCaches();
        const auto start = std::chrono::steady_clock::now();
        operation(element);
        times.push_back(std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count());
    }
    const auto middle = times.begin() + static_cast<std::ptrdiff_t>(times.size() / 2);
    std::nth_element(times.begin(), middle, times.end());
    const double mean = std::accumulate(times.begin(), times.end(), 0.0) / static_cast<double>(times.size());
    state.SetIterationTime(access == Access::Cold ? *middle : mean);  // of one operation
}

void AddUrl(benchmark::State& state, Rest rest, Access access) {
    Engine& engine = EngineOf(state);
    engine.SetRest(rest);
    while (state.KeepRunning()) {
        std::vector<std::u16string> urls;
        for (std::size_t i = 0; i < BatchOf(access); ++i)
            urls.push_back(Engine::Url(100'000'000 + engine.added++));
        Measure(state, access, urls, [&](const auto& url) { engine.manager->AddURL(url, u"Asset"); });
        testplatform::SetNow(kLongAgo);
        for (const auto& url : urls) engine.manager->RemoveURL(engine.manager->GetHDL(url));
        testplatform::SetNow(kNow);
    }
    state.counters["bytes/job"] = engine.bytesPerJob;
}

void HdlByUrl(benchmark::State& state, Rest rest, Access access) {
    Engine& engine = EngineOf(state);
    engine.SetRest(rest);
    while (state.KeepRunning()) {
        std::vector<std::u16string> urls;
        for (const std::size_t place : engine.Sample(access)) urls.push_back(Engine::Url(place));
        Measure(state, access, urls,
                [&](const auto& url) { benchmark::DoNotOptimize(engine.manager->HDLbyURL(url)); });
    }
}

// Stopped jobs become pending and pending ones stopped.
void ChangeState(benchmark::State& state, Rest rest, Access access) {
    Engine& engine = EngineOf(state);
    engine.SetRest(rest);
    const TSDLStateEnum other = rest == Rest::Idle ? tsdPending : tsdStopped;
    while (state.KeepRunning()) {
        const auto& sample = engine.Sample(access);
        Measure(state, access, engine.HandlesOf(sample),
                [&](const auto& handle) { engine.manager->ChangeState(handle, other, kFuture); });
        for (const std::size_t place : sample) {
            engine.records[place]->SetState(rest == Rest::Idle ? tsdStopped : tsdPending);
        }
    }
}

// Jobs anywhere in the registry; the host drops its references with them.
void RemoveUrl(benchmark::State& state, Rest rest, Access access) {
    Engine& engine = EngineOf(state);
    engine.SetRest(rest);
    while (state.KeepRunning()) {
        const auto& sample = engine.Sample(access);
        const auto handles = engine.HandlesOf(sample);
        for (const std::size_t place : sample) engine.records[place].reset();
        Measure(state, access, handles, [&](const auto& handle) { engine.manager->RemoveURL(handle); });
        for (const std::size_t place : sample) engine.AddAgain(place, rest);
    }
}

// Elections of jobs anywhere in the registry, or of the first ones where all are due. With `afterWrites` the
// host makes each job due right before its election.
void Elect(benchmark::State& state, bool afterWrites, Rest rest, Access access) {
    Engine& engine = EngineOf(state);
    engine.SetRest(rest);
    while (state.KeepRunning()) {
        const auto& sample = engine.Sample(access);
        const auto makeDue = [&](std::size_t place) {
            engine.records[place]->SetStart(kPast);
            engine.records[place]->SetState(tsdPending);
        };
        if (!afterWrites && rest != Rest::Due) std::for_each(sample.begin(), sample.end(), makeDue);
        std::vector<std::u16string> elected;
        elected.reserve(sample.size());
        Measure(state, access, sample, [&](std::size_t place) {
            if (afterWrites) makeDue(place);
            elected.push_back(engine.manager->Elect());
        });
        testplatform::SetNow(kLongAgo);
        for (const auto& handle : elected) {
            engine.manager->ChangeState(handle, rest == Rest::Idle ? tsdStopped : tsdPending,
                                        rest == Rest::Due ? kPast : kFuture);
        }
        testplatform::SetNow(kNow);
    }
}

void ElectNothing(benchmark::State& state, Rest rest, Access access) {
    Engine& engine = EngineOf(state);
    engine.SetRest(rest);
    const std::vector<int> batch(BatchOf(access));
    while (state.KeepRunning()) {
        Measure(state, access, batch, [&](int) { benchmark::DoNotOptimize(engine.manager->Elect()); });
    }
}

// Google Benchmark's table, and of each measurement the round that was disturbed the least.
class Reporter final : public benchmark::ConsoleReporter {
  public:
    void ReportRuns(const std::vector<Run>& runs) override {
        ConsoleReporter::ReportRuns(runs);
        for (const auto& run : runs) {
            const double time = run.GetAdjustedRealTime();
            double& least =
                times[run.run_name.function_name].try_emplace(run.run_name.args, time).first->second;
            least = std::min(least, time);
        }
    }
    void Finalize() override {
        std::printf("\n%-36s dearest / cheapest number of jobs\n", "");
        for (const auto& [name, ofJobs] : times) {
            const auto [least, most] = std::minmax_element(
                ofJobs.begin(), ofJobs.end(), [](auto& a, auto& b) { return a.second < b.second; });
            std::printf("%-36s %.2f\n", name.c_str(), most->second / least->second);
        }
    }

  private:
    std::map<std::string, std::map<std::string, double>> times;  // by operation and number of jobs
};

}  // namespace
}  // namespace tsasync

int main(int argc, char** argv) {
    using namespace tsasync;
    benchmark::Initialize(&argc, argv);
    using Run = std::function<void(benchmark::State&)>;
    struct Case {
        std::string name;
        Access access;
        Run run;
    };
    std::vector<Case> cases;
    for (const Access access : {Access::AtHand, Access::Cold}) {
        const auto add = [&](const std::string& name, const auto& operation, auto... arguments) {
            cases.push_back({name + (access == Access::AtHand ? "/at hand" : "/cold"), access,
                             [=](auto& state) { operation(state, arguments..., access); }});
        };
        for (const Rest rest : {Rest::Idle, Rest::Pending}) {
            const std::string among = rest == Rest::Idle ? "/idle" : "/pending";
            add("AddURL" + among, AddUrl, rest);
            add("HDLbyURL" + among, HdlByUrl, rest);
            add("ChangeState" + among, ChangeState, rest);
            add("RemoveURL" + among, RemoveUrl, rest);
            add("Elect" + among, Elect, false, rest);
            add("Elect after writes" + among, Elect, true, rest);
        }
        add("Elect/due", Elect, false, Rest::Due);
        add("Elect/none due", ElectNothing, Rest::Pending);
    }
    // In rounds, so that a machine that is slower for a while is so for every number of jobs.
    for (int round = 0; round < 9; ++round) {
        for (const std::int64_t jobs : {1'000, 100'000, 1'000'000}) {
            for (const auto& [name, access, run] : cases) {
                benchmark::RegisterBenchmark(name.c_str(), run)
                    ->Arg(jobs)
                    ->UseManualTime()
                    ->Iterations(access == Access::AtHand ? 200 : 4);
            }
        }
    }
    Reporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
}
