#include "base/Text.h"
#include "tests/manager/NaiveEngine.h"

#include <array>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <new>
#include <random>
#include <thread>

// Thousands of random operations on two managers of one thread, done to the engine and to a naive second one.
// After each, both must agree on everything that a host can see. A failure names its seed;
// TSASYNC_SEED=<seed> repeats it.
namespace tsasync {
namespace {

constexpr std::size_t kManagers = 2;
constexpr int kSteps = 4000;
using End = NaiveEngine::End;

struct Operation {
    std::size_t action = 0;
    int manager = 0;
    int url = 0;
    std::int32_t number = 0;  // state, status code, count
    std::int32_t error = 0;
    double date = 0;
    bool flag = false;
    bool hasDate = false;
    End end = End::File;

    std::size_t Index() const { return static_cast<std::size_t>(url); }
    std::optional<double> Start() const { return hasDate ? std::optional(date) : std::nullopt; }
};

// A top operation, and another one that the host does inside one of its events, or an error that it raises.
struct Step {
    Operation top;
    int nestedAt = 0;  // number of the event, from 1; 0: none
    bool raises = false;
    Operation nested;
};

std::u16string UrlOf(int url) { return u"http://host/" + Decimal(url); }

class RealEngine {
  public:
    explicit RealEngine(int urls) {
        Restart();
        for (int url = 0; url < urls; ++url) {
            handles.push_back(managers[0]->GetHDL(UrlOf(url)));
            held.push_back(std::make_shared<CDLItem>());
        }
    }
    ~RealEngine() {
        for (const auto& manager : managers) manager->Terminate();
    }
    RealEngine(const RealEngine&) = delete;
    RealEngine& operator=(const RealEngine&) = delete;

    CDLManager& Of(int manager) { return *managers.at(static_cast<std::size_t>(manager)); }
    const std::u16string& HandleOf(int url) const { return handles.at(static_cast<std::size_t>(url)); }
    std::u16string KeyOf(int url) const { return u"[" + HandleOf(url) + u"]"; }
    int UrlOfHandle(const std::u16string& handle) const {
        const auto found = std::find(handles.begin(), handles.end(), handle);
        return found == handles.end() ? -1 : static_cast<int>(found - handles.begin());
    }
    int Elect(int manager) { return UrlOfHandle(Of(manager).Elect()); }

    void Progress(const Operation& op) {
        auto property = testplatform::Bytes(KeyOf(op.url), op.number * 3, op.number * 2);
        property.StatusCode = op.number;
        property.Value = op.error;
        if (const auto error = FireProgress(property)) throw AutomationError(*error);
    }
    void Complete(const Operation& op) {
        const std::u16string file = u"C:\\Cache\\" + Decimal(++files);
        if (op.end == End::File) testplatform::PutFile(file, "data");
        const auto property = op.end == End::Failure
                                  ? testplatform::Failed(KeyOf(op.url), op.error)
                                  : testplatform::Done(KeyOf(op.url), file, UrlOf(op.url), 4);
        if (const auto error = FireComplete(property)) throw AutomationError(*error);
    }
    void Restart() {
        for (const auto& manager : managers) manager->Terminate();
        managers.clear();
        for (std::size_t i = 0; i < kManagers; ++i) {
            managers.push_back(CDLManager::Create(hosts.at(i)));
            managers.back()->SetAssetsPath(u"C:\\Assets");
            hosts.at(i).handler = [this, i](const std::shared_ptr<CDLItem>& oI) {
                const int url = UrlOfHandle(oI->Handle());
                held.at(static_cast<std::size_t>(url)) = oI;
                event(static_cast<int>(i), url, oI->State());
            };
        }
    }

    std::function<void(int manager, int url, std::int32_t state)> event;
    std::vector<std::shared_ptr<CDLManager>> managers;
    std::vector<std::u16string> handles;         // by URL
    std::vector<std::shared_ptr<CDLItem>> held;  // the record that the host saw last, by URL

  private:
    std::array<Host, kManagers> hosts;
    int files = 0;
};

using Real = RealEngine&;
using Naive = NaiveEngine&;
using Op = const Operation&;

struct Action {
    const char* name;
    int weight;
    void (*real)(Real, Op);
    void (*naive)(Naive, Op);
    std::vector<std::int32_t> numbers = {0};
};

const std::vector<std::int32_t> kStates = {0, 1, 2, 3, 3, 4, 5, -7};
constexpr int kResult = -1;  // in place of the manager: what an operation gave, told like an event

const Action kActions[] = {
    {"Add", 4, [](Real r, Op op) { r.Of(op.manager).AddURL(UrlOf(op.url)); },
     [](Naive n, Op op) { n.AddURL(op.manager, op.url); }},
    {"Change", 6,
     [](Real r, Op op) {
         r.Of(op.manager)
             .ChangeState(r.HandleOf(op.url), static_cast<TSDLStateEnum>(op.number), op.Start(), op.flag);
     },
     [](Naive n, Op op) { n.ChangeState(op.manager, op.url, op.number, op.Start(), op.flag); }, kStates},
    {"Elect", 4, [](Real r, Op op) { r.event(kResult, r.Elect(op.manager), 0); },
     [](Naive n, Op op) { n.event(kResult, n.Elect(op.manager), 0); }},
    {"Remove", 2, [](Real r, Op op) { r.Of(op.manager).RemoveURL(r.HandleOf(op.url)); },
     [](Naive n, Op op) { n.RemoveURL(op.manager, op.url); }},
    {"Progress",
     4,
     [](Real r, Op op) { r.Progress(op); },
     [](Naive n, Op op) { n.Progress(op.url, op.number, op.number * 3, op.number * 2, op.error); },
     {0, 1, 4, 5, 5, 13}},
    {"Complete", 4, [](Real r, Op op) { r.Complete(op); },
     [](Naive n, Op op) { n.Complete(op.url, op.end, op.error); }},
    {"Clock", 2, [](Real, Op op) { testplatform::SetNow(op.date); }, [](Naive n, Op op) { n.now = op.date; }},
    // What the host writes into the record that it holds.
    {"State", 2,
     [](Real r, Op op) { r.held.at(op.Index())->SetState(static_cast<TSDLStateEnum>(op.number)); },
     [](Naive n, Op op) { n.held.at(op.Index())->state = op.number; }, kStates},
    {"Start", 2, [](Real r, Op op) { r.held.at(op.Index())->SetStart(op.date); },
     [](Naive n, Op op) { n.held.at(op.Index())->start = op.date; }},
    {"Attempts",
     1,
     [](Real r, Op op) { r.held.at(op.Index())->SetAttempts(static_cast<std::int16_t>(op.number)); },
     [](Naive n, Op op) { n.held.at(op.Index())->attempts = static_cast<std::int16_t>(op.number); },
     {0, 9, 10, 32767}},
    {"RefCount",
     1,
     [](Real r, Op op) { r.held.at(op.Index())->SetRefCount(op.number); },
     [](Naive n, Op op) { n.held.at(op.Index())->refCount = op.number; },
     {-1, 0, 1, 2, 2147483647}},
    {"ActiveJobs",
     1,
     [](Real r, Op op) { r.Of(op.manager).SetActiveJobs(static_cast<std::int16_t>(op.number)); },
     [](Naive n, Op op) { n.Of(op.manager).active = static_cast<std::int16_t>(op.number); },
     {0, 2, 3, -32768, 32767}},
    {"AutoStart", 1, [](Real r, Op op) { r.Of(op.manager).SetAutoStart(op.flag); },
     [](Naive n, Op op) { n.Of(op.manager).autoStart = op.flag; }},
    {"Refuse", 1, [](Real, Op op) { testplatform::RefuseReads(op.flag ? platform::kErrInvalidUrl : 0); },
     [](Naive n, Op op) { n.refuse = op.flag; }},
    {"LackMemory", 1, [](Real, Op op) { testplatform::LackMemory(op.flag); },
     [](Naive n, Op op) { n.lack = op.flag; }},
    {"AbortMove", 1,
     [](Real, Op) {
         testplatform::FailNextOperation({0, true});
     },
     [](Naive n, Op) { n.abortMove = true; }},
    // Not inside an event.
    {"Restart", 1, [](Real r, Op) { r.Restart(); }, [](Naive n, Op) { n.Restart(); }},
};

// (manager, URL, state) of every event, and kError with the number of every error.
using Trace = std::vector<std::tuple<int, int, std::int32_t>>;
constexpr int kError = -2;

template <typename Engine>
Trace Do(Engine& engine, const Step& step) {
    Trace trace;
    const auto run = [&](const Operation& op) {
        const Action& action = kActions[op.action];
        const auto error = ErrorOf([&] {
            if constexpr (std::is_same_v<Engine, RealEngine>) {
                action.real(engine, op);
            } else {
                action.naive(engine, op);
            }
        });
        if (error.number != 0) trace.emplace_back(kError, error.number, 0);
    };
    int events = 0;
    engine.event = [&](int manager, int url, std::int32_t state) {
        trace.emplace_back(manager, url, state);
        if (++events != step.nestedAt) return;
        // What the engine has no number for itself is to it like any other error.
        if (step.raises && step.nested.error == kErrOutOfMemory && std::is_same_v<Engine, RealEngine>)
            throw std::bad_alloc();
        if (step.raises) throw HostError(step.nested.error);
        run(step.nested);
    };
    run(step.top);
    return trace;
}

class Model : public testing::TestWithParam<int> {
  protected:
    void Run();

    static unsigned Seed() {
        const char* given = std::getenv("TSASYNC_SEED");  // NOLINT(concurrency-mt-unsafe): nobody writes it
        return given ? static_cast<unsigned>(std::strtoul(given, nullptr, 10)) : std::random_device{}();
    }
    int Below(int n) { return static_cast<int>(random() % static_cast<unsigned>(n)); }
    template <typename T>
    T OneOf(const std::vector<T>& values) {
        return values.at(static_cast<std::size_t>(Below(static_cast<int>(values.size()))));
    }

    Operation RandomOperation(bool isNested) {
        static const auto kChoice = [] {
            std::vector<std::size_t> choice;
            for (const Action& each : kActions) choice.insert(choice.end(), each.weight, &each - kActions);
            return choice;
        }();
        Operation op;
        op.action = kChoice.at(
            static_cast<std::size_t>(Below(static_cast<int>(kChoice.size()) - (isNested ? 1 : 0))));
        op.manager = Below(kManagers);
        op.url = Below(urls);
        op.flag = Below(2) == 0;
        op.hasDate = Below(2) == 0;
        op.number = OneOf(kActions[op.action].numbers);
        op.error = OneOf<std::int32_t>({0, platform::kErrDownloadFailure, 5, kErrOutOfMemory, 13, 53, 457,
                                        1234, 10001, 10002, 10003, 10004, 10005});
        op.end = OneOf<End>({End::File, End::File, End::NoFile, End::Failure});
        op.date = now + (Below(13) - 6) / (24.0 * 60);
        if (kActions[op.action].name == std::string_view("Clock")) {
            now = op.date;
        } else if (Below(20) == 0) {
            op.date = OneOf<double>({std::numeric_limits<double>::quiet_NaN(), -1e9, 1e9});
        }
        return op;
    }

    int urls = GetParam();
    unsigned seed = Seed();
    std::mt19937 random{seed};
    double now = 45366 + 10.0 / 24;
};

double Comparable(double date) { return std::isnan(date) ? std::numeric_limits<double>::max() : date; }

void Model::Run() {
    testplatform::ResetFileSystem();
    testplatform::ClearSettings();
    testplatform::SetNow(now);
    RealEngine real(urls);
    NaiveEngine model(kManagers, urls);
    model.now = now;
    for (int i = 0; i < kSteps; ++i) {
        Step step{RandomOperation(false), Below(3) == 0 ? Below(3) + 1 : 0, Below(3) == 0,
                  RandomOperation(true)};
        if (Below(4) == 0 && step.top.action + 1 < std::size(kActions)) {
            step.nested = step.top;  // the same inside itself, which the engine guards against
            step.nested.url = Below(urls);
        }
        SCOPED_TRACE(testing::Message()
                     << "TSASYNC_SEED=" << seed << ", step " << i << ", " << kActions[step.top.action].name
                     << ", at event " << step.nestedAt << " "
                     << (step.raises ? "an error" : kActions[step.nested.action].name));
        ASSERT_EQ(Do(real, step), Do(model, step));
        for (int m = 0; m < static_cast<int>(kManagers); ++m) {
            ASSERT_EQ(real.Of(m).ActiveJobs(), model.Of(m).active);
            ASSERT_EQ(real.Of(m).Jobs(), static_cast<std::int16_t>(model.jobs.size()));
        }
        std::size_t reads = 0;
        for (int url = 0; url < urls; ++url) {
            const auto key = model.channel.find(url);
            const bool reading = key != model.channel.end() && key->second;
            reads += reading ? 1 : 0;
            const CDLItem& item = *real.held.at(static_cast<std::size_t>(url));
            const NaiveEngine::Job& job = *model.held.at(static_cast<std::size_t>(url));
            ASSERT_EQ(
                std::tuple(!real.Of(0).HDLbyURL(UrlOf(url)).empty(), testplatform::IsReading(real.KeyOf(url)),
                           static_cast<std::int32_t>(item.State()), Comparable(item.Start()), item.Attempts(),
                           item.RefCount(), item.Size(), item.TotalSize()),
                std::tuple(model.Find(url) != nullptr, reading, job.state, Comparable(job.start),
                           job.attempts, job.refCount, job.size, job.totalSize))
                << "URL " << url;
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
