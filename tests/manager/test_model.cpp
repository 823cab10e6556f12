#include "automation/Text.h"
#include "tests/manager/ManagerTest.h"
#include "tests/manager/NaiveEngine.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <limits>
#include <random>
#include <thread>
#include <tuple>

// Thousands of random operations on two managers of one thread, done to the engine and to a naive second one.
// After each, both must agree on everything that a host can see. A failure names its seed;
// TSASYNC_SEED=<seed> repeats it.
namespace tsasync {
namespace {

constexpr int kManagers = 2;
constexpr int kSteps = 4000;

enum class Do {
    Add,
    Change,
    Elect,
    Remove,
    WriteState,
    WriteStart,
    WriteAttempts,
    WriteRefCount,
    SetActive,
    SetAutoStart,
    Progress,
    Complete,
    Clock,
    Refuse,
    AbortMove,
    Restart,
    Throw,
};

struct Operation {
    Do what = Do::Elect;
    int manager = 0;
    int url = 0;
    std::int32_t number = 0;  // state, status code, count, error …
    double date = 0;
    bool flag = false;
    bool hasDate = false;
    std::int32_t error = 0;
    naive::End end = naive::End::File;
};

// A top operation, and another one that the host does inside one of its events.
struct Step {
    Operation top;
    int nestedAt = 0;  // number of the event, from 1; 0: none
    Operation nested;
};

// What an operation led to: events (manager, URL, state), and the error and result of it and of the nested
// one.
using Trace = std::vector<std::tuple<int, int, std::int32_t>>;
constexpr int kResult = -1;
constexpr int kError = -2;

std::u16string UrlOf(int url) { return u"http://host/" + Decimal(url); }

class RealEngine {
  public:
    RealEngine(int urls) {
        for (int i = 0; i < kManagers; ++i) hosts.at(static_cast<std::size_t>(i)).engine = this;
        for (int i = 0; i < kManagers; ++i) hosts.at(static_cast<std::size_t>(i)).number = i;
        Begin();
        for (int url = 0; url < urls; ++url) handles.push_back(managers[0]->GetHDL(UrlOf(url)));
        held.resize(handles.size());
    }
    ~RealEngine() { End(); }
    RealEngine(const RealEngine&) = delete;
    RealEngine& operator=(const RealEngine&) = delete;

    void Do(const Operation& op, Trace& trace) {
        CDLManager& manager = *managers.at(static_cast<std::size_t>(op.manager));
        const auto& handle = handles.at(static_cast<std::size_t>(op.url));
        CDLItem* record = held.at(static_cast<std::size_t>(op.url)).get();
        switch (op.what) {
            case Do::Add:
                manager.AddURL(UrlOf(op.url));
                break;
            case Do::Change:
                manager.ChangeState(handle, static_cast<TSDLStateEnum>(op.number),
                                    op.hasDate ? std::optional(op.date) : std::nullopt, op.flag);
                break;
            case Do::Elect:
                trace.emplace_back(kResult, UrlOfHandle(manager.Elect()), 0);
                break;
            case Do::Remove:
                manager.RemoveURL(handle);
                break;
            case Do::WriteState:
                if (record) record->SetState(static_cast<TSDLStateEnum>(op.number));
                break;
            case Do::WriteStart:
                if (record) record->SetStart(op.date);
                break;
            case Do::WriteAttempts:
                if (record) record->SetAttempts(static_cast<std::int16_t>(op.number));
                break;
            case Do::WriteRefCount:
                if (record) record->SetRefCount(op.number);
                break;
            case Do::SetActive:
                manager.SetActiveJobs(static_cast<std::int16_t>(op.number));
                break;
            case Do::SetAutoStart:
                manager.SetAutoStart(op.flag);
                break;
            case Do::Progress:
                Rethrow(FireProgress(Notification(op)));
                break;
            case Do::Complete:
                Rethrow(FireComplete(Completion(op)));
                break;
            case Do::Clock:
                testplatform::SetNow(op.date);
                break;
            case Do::Refuse:
                testplatform::RefuseReads(op.flag ? platform::kErrInvalidUrl : 0);
                break;
            case Do::AbortMove:
                testplatform::FailNextOperation({0, true});
                break;
            case Do::Restart:
                End();
                Begin();
                break;
            case Do::Throw:
                throw HostError(op.error);
        }
    }

    int UrlOfHandle(const std::u16string& handle) const {
        for (std::size_t url = 0; url < handles.size(); ++url) {
            if (handles[url] == handle) return static_cast<int>(url);
        }
        return -1;
    }

    std::function<void(int manager, const std::shared_ptr<CDLItem>&)> event;
    std::vector<std::shared_ptr<CDLManager>> managers;
    std::vector<std::u16string> handles;         // by URL
    std::vector<std::shared_ptr<CDLItem>> held;  // the record that the host saw last, by URL

  private:
    struct Sink final : IManagerEvents {
        void StateChanged(const std::shared_ptr<CDLItem>& oI) override { engine->event(number, oI); }
        RealEngine* engine = nullptr;
        int number = 0;
    };

    void Begin() {
        for (auto& host : hosts) {
            managers.push_back(CDLManager::Create(host));
            managers.back()->SetAssetsPath(u"C:\\Assets");
        }
    }
    void End() {
        for (const auto& manager : managers) manager->Terminate();
        managers.clear();
    }
    static void Rethrow(const std::optional<AutomationError>& error) {
        if (error) throw AutomationError(*error);
    }
    std::u16string KeyOf(int url) const { return u"[" + handles.at(static_cast<std::size_t>(url)) + u"]"; }
    platform::AsyncProperty Notification(const Operation& op) const {
        if (op.number == platform::kStatusError) {
            return testplatform::Error(KeyOf(op.url), op.error);
        }
        auto property = testplatform::Bytes(KeyOf(op.url), op.number * 3, op.number * 2);
        property.StatusCode = op.number;
        return property;
    }
    platform::AsyncProperty Completion(const Operation& op) {
        if (op.end == naive::End::Failure) return testplatform::Failed(KeyOf(op.url), op.error);
        const std::u16string file = u"C:\\Cache\\" + Decimal(++files);
        if (op.end == naive::End::File) testplatform::PutFile(file, "data");
        return testplatform::Done(KeyOf(op.url), file, UrlOf(op.url), 4);
    }

    std::array<Sink, kManagers> hosts;
    int files = 0;
};

void DoNaively(naive::Engine& engine, std::vector<naive::JobRef>& held, const Operation& op, Trace& trace) {
    naive::Manager& manager = engine.managers.at(static_cast<std::size_t>(op.manager));
    const naive::JobRef job = held.at(static_cast<std::size_t>(op.url));
    switch (op.what) {
        case Do::Add:
            return engine.AddURL(op.manager, op.url);
        case Do::Change:
            return engine.ChangeState(op.manager, op.url, op.number,
                                      op.hasDate ? std::optional(op.date) : std::nullopt, op.flag);
        case Do::Elect:
            trace.emplace_back(kResult, engine.Elect(op.manager), 0);
            return;
        case Do::Remove:
            return engine.RemoveURL(op.manager, op.url);
        case Do::WriteState:
            if (job) job->state = op.number;
            return;
        case Do::WriteStart:
            if (job) job->start = op.date;
            return;
        case Do::WriteAttempts:
            if (job) job->attempts = static_cast<std::int16_t>(op.number);
            return;
        case Do::WriteRefCount:
            if (job) job->refCount = op.number;
            return;
        case Do::SetActive:
            manager.active = static_cast<std::int16_t>(op.number);
            return;
        case Do::SetAutoStart:
            manager.autoStart = op.flag;
            return;
        case Do::Progress: {
            const bool isError = op.number == platform::kStatusError;
            return engine.Progress(op.url, op.number, isError ? 0 : op.number * 3,
                                   isError ? 0 : op.number * 2, op.error);
        }
        case Do::Complete:
            return engine.Complete(op.url, op.end, op.error);
        case Do::Clock:
            engine.now = op.date;
            return;
        case Do::Refuse:
            engine.refuse = op.flag;
            return;
        case Do::AbortMove:
            engine.abortMove = true;
            return;
        case Do::Restart:
            return engine.Restart();
        case Do::Throw:
            throw naive::Error{op.error};
    }
}

class Model : public testing::TestWithParam<int> {
  protected:
    using Random = std::mt19937;

    void Run();

    static unsigned Seed() {
        const char* given = std::getenv("TSASYNC_SEED");  // NOLINT(concurrency-mt-unsafe): nobody writes it
        return given ? static_cast<unsigned>(std::strtoul(given, nullptr, 10)) : std::random_device{}();
    }
    int Below(int n) { return static_cast<int>(random() % static_cast<unsigned>(n)); }
    template <typename T>
    T OneOf(std::initializer_list<T> values) {
        return values.begin()[Below(static_cast<int>(values.size()))];
    }

    Operation RandomOperation(bool isNested) {
        static constexpr Do kOften[] = {Do::Add,        Do::Add,        Do::Change,   Do::Change,
                                        Do::Change,     Do::Elect,      Do::Elect,    Do::Remove,
                                        Do::WriteState, Do::WriteStart, Do::Progress, Do::Progress,
                                        Do::Complete,   Do::Complete,   Do::Clock};
        static constexpr Do kSeldom[] = {Do::WriteAttempts, Do::WriteRefCount, Do::SetActive,
                                         Do::SetAutoStart,  Do::Refuse,        Do::AbortMove,
                                         Do::Restart};
        Operation op;
        if (isNested && Below(3) == 0) {
            op.what = Do::Throw;
        } else if (Below(5) != 0) {
            op.what = kOften[Below(static_cast<int>(std::size(kOften)))];
        } else {
            op.what = kSeldom[Below(static_cast<int>(std::size(kSeldom)) - (isNested ? 1 : 0))];
        }
        op.manager = Below(kManagers);
        op.url = Below(urls);
        op.flag = Below(2) == 0;
        op.hasDate = Below(2) == 0;
        op.error = OneOf({platform::kErrDownloadFailure, 5, 13, 53, 457, 1234, 10001, 10002, 10003});
        op.end = OneOf({naive::End::File, naive::End::File, naive::End::NoFile, naive::End::Failure});
        op.date = now + (Below(13) - 6) / (24.0 * 60);
        if (op.what == Do::Clock) {
            now = op.date;
        } else if (Below(20) == 0) {
            op.date = OneOf({std::numeric_limits<double>::quiet_NaN(), -1e9, 1e9});
        }
        op.number = Number(op.what);
        return op;
    }
    std::int32_t Number(Do what) {
        switch (what) {
            case Do::Progress:
                return OneOf({0, 1, 4, 5, 5, 13});
            case Do::WriteAttempts:
                return OneOf({0, 9, 10, 32767});
            case Do::WriteRefCount:
                return OneOf({-1, 0, 1, 2});
            case Do::SetActive:
                return OneOf({0, 2, 3, -32768});
            default:
                return OneOf({0, 1, 2, 3, 3, 4, 5, 7});
        }
    }

    int urls = GetParam();
    unsigned seed = Seed();
    Random random{seed};
    double now = 45366 + 10.0 / 24;
};

// Runs `step` on an engine: `run` does one operation, `note` takes the host's callback for its events.
template <typename AnyError, typename Run, typename Note>
Trace TraceOf(const Step& step, const Run& run, const Note& note) {
    Trace trace;
    int events = 0;
    const auto guarded = [&](const Operation& op) {
        try {
            run(op, trace);
        } catch (const AnyError& error) {
            trace.emplace_back(kError, error.number, 0);
        }
    };
    note([&](int manager, int url, std::int32_t state) {
        trace.emplace_back(manager, url, state);
        if (++events != step.nestedAt) return;
        if (step.nested.what == Do::Throw) return run(step.nested, trace);
        guarded(step.nested);
    });
    guarded(step.top);
    return trace;
}

bool SameDate(double a, double b) { return a == b || (std::isnan(a) && std::isnan(b)); }

void Model::Run() {
    testplatform::ResetFileSystem();
    testplatform::ClearSettings();
    testplatform::SetNow(now);
    RealEngine real(urls);
    naive::Engine model(kManagers);
    model.now = now;
    std::vector<naive::JobRef> held(static_cast<std::size_t>(urls));

    for (int i = 0; i < kSteps; ++i) {
        Step step{RandomOperation(false), Below(3) == 0 ? Below(3) + 1 : 0, {}};
        if (step.nestedAt != 0) step.nested = RandomOperation(true);
        SCOPED_TRACE("TSASYNC_SEED=" + std::to_string(seed) + ", step " + std::to_string(i) + ", operation " +
                     std::to_string(static_cast<int>(step.top.what)) + ", nested " +
                     std::to_string(static_cast<int>(step.nested.what)));
        const Trace realTrace = TraceOf<AutomationError>(
            step, [&](const Operation& op, Trace& trace) { real.Do(op, trace); },
            [&](auto callback) {
                real.event = [&real, callback](int manager, const std::shared_ptr<CDLItem>& oI) {
                    const int url = real.UrlOfHandle(oI->Handle());
                    real.held.at(static_cast<std::size_t>(url)) = oI;
                    callback(manager, url, oI->State());
                };
            });
        const Trace naiveTrace = TraceOf<naive::Error>(
            step, [&](const Operation& op, Trace& trace) { DoNaively(model, held, op, trace); },
            [&](auto callback) {
                model.event = [&held, callback](int manager, const naive::JobRef& job) {
                    held.at(static_cast<std::size_t>(job->url)) = job;
                    callback(manager, job->url, job->state);
                };
            });
        ASSERT_EQ(realTrace, naiveTrace);

        for (std::size_t m = 0; m < kManagers; ++m) {
            ASSERT_EQ(real.managers[m]->ActiveJobs(), model.managers[m].active);
            ASSERT_EQ(real.managers[m]->Jobs(), static_cast<std::int16_t>(model.jobs.size()));
        }
        std::size_t reads = 0;
        for (int url = 0; url < urls; ++url) {
            const auto at = static_cast<std::size_t>(url);
            const auto registered = model.Find(url);
            ASSERT_EQ(real.managers[0]->HDLbyURL(UrlOf(url)).empty(), registered == nullptr);
            const auto key = model.channel.find(url);
            const bool reading = key != model.channel.end() && key->second;
            ASSERT_EQ(testplatform::IsReading(u"[" + real.handles[at] + u"]"), reading);
            reads += reading ? 1 : 0;
            if (!held[at]) continue;
            const CDLItem& item = *real.held[at];
            const naive::Job& job = *held[at];
            ASSERT_EQ(item.State(), job.state);
            ASSERT_TRUE(SameDate(item.Start(), job.start)) << item.Start() << " and " << job.start;
            ASSERT_EQ(std::tuple(item.Attempts(), item.RefCount(), item.Size(), item.TotalSize()),
                      std::tuple(job.attempts, job.refCount, job.size, job.totalSize));
        }
        ASSERT_EQ(testplatform::OpenReads().size(), reads);
    }
}

// On a thread of its own, whose control remembers no key of an earlier run.
TEST_P(Model, AgreesAtEveryStep) {
    std::thread([this] { Run(); }).join();
}

INSTANTIATE_TEST_SUITE_P(Urls, Model, testing::Values(2, 8, 40));

}  // namespace
}  // namespace tsasync
