#include "base/Text.h"
#include "manager/CDLItem.h"
#include "manager/DueIndex.h"
#include "manager/JobRegistry.h"
#include "tests/base/error_of.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <list>
#include <memory>
#include <random>
#include <string>
#include <vector>

namespace tsasync {
namespace {

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInfinity = std::numeric_limits<double>::infinity();

std::shared_ptr<CDLItem> Job(TSDLStateEnum state = tsdStopped, double start = 0) {
    auto oI = std::make_shared<CDLItem>();
    oI->SetState(state);
    oI->SetStart(start);
    return oI;
}

TEST(Record, SizeRaisesTheTotal) {
    CDLItem item;
    for (const auto& row : {std::pair(500, 500), {400, 500}, {1200, 1200}}) {
        item.SetSize(row.first);
        EXPECT_EQ(std::pair(item.Size(), item.TotalSize()), row);
    }
}

TEST(Registry, KeysFoldCaseAndNumberTheirErrors) {
    JobRegistry jobs;
    const auto first = Job();
    jobs.Add(u"[Ab]", first);
    EXPECT_EQ(ErrorOf([&] { jobs.Add(u"[aB]", Job()); }).number, 457);
    EXPECT_EQ(jobs.Item(u"[AB]"), first);
    EXPECT_EQ(ErrorOf([&] { jobs.Item(u"[x]"); }).number, 5);
    EXPECT_EQ(ErrorOf([&] { jobs.Remove(u"[x]"); }).number, 5);
    EXPECT_EQ(jobs.Find(u"[x]"), nullptr);
    jobs.Remove(u"[ab]");
    EXPECT_EQ(jobs.Count(), 0u);
    EXPECT_EQ(jobs.First(), nullptr);
}

TEST(Registry, OutlivedByItsRecords) {
    const auto left = Job();
    const auto removed = Job();
    {
        JobRegistry jobs;
        jobs.Add(u"[a]", left);
        jobs.Add(u"[b]", removed);
        jobs.Remove(u"[b]");
        removed->SetState(tsdPending);
        EXPECT_EQ(jobs.FirstDue(1), nullptr);
    }
    left->SetState(tsdPending);
    left->SetStart(3);
}

TEST(Registry, OddDates) {
    const struct {
        double start, now;
        bool due;
    } cases[] = {
        {1, 1, true},          {1.0000001, 1, false},  {kNaN, 1e9, false},           {-kInfinity, 1, true},
        {kInfinity, 1, false}, {-657434, 45000, true}, {45000, kNaN, false},         {-0.0, 0.0, true},
        {5, -5, false},        {1e300, 45000, false},  {kInfinity, kInfinity, false}};
    for (const auto& c : cases) {
        JobRegistry jobs;
        jobs.Add(u"[a]", Job(tsdPending, c.start));
        EXPECT_EQ(jobs.FirstDue(c.now) != nullptr, c.due) << c.start << " at " << c.now;
    }
}

// Against a plain list that is walked: jobs come and go, hosts write, the clock runs both ways.
TEST(Registry, AgreesWithAPlainList) {
    std::mt19937 random(20240315);
    const auto below = [&](int n) { return static_cast<int>(random() % static_cast<unsigned>(n)); };
    JobRegistry jobs;
    std::list<std::pair<std::u16string, std::shared_ptr<CDLItem>>> list;
    const auto any = [&] { return std::next(list.begin(), below(static_cast<int>(list.size()))); };
    int added = 0;
    for (int step = 0; step < 30000; ++step) {
        const int growth = step / 5000 % 2 == 0 ? 6 : 2;  // in turns it grows and shrinks
        const int action = below(10);
        if (action < growth || list.empty()) {
            const auto key = u"[k" + Decimal(added++) + u"]";
            list.emplace_back(key, Job(static_cast<TSDLStateEnum>(below(6)), below(100)));
            jobs.Add(key, list.back().second);
        } else if (action < 8) {
            const auto job = below(4) == 0 ? list.begin() : any();
            if (job == list.begin()) {
                EXPECT_EQ(jobs.First(), job->second);
                jobs.RemoveFirst();
            } else {
                jobs.Remove(job->first);
            }
            list.erase(job);
        } else {
            const auto job = any()->second;
            if (below(2) == 0) job->SetState(static_cast<TSDLStateEnum>(below(6)));
            job->SetStart(below(20) == 0 ? kNaN : below(100));
        }
        const double now = below(60) - 5;
        const auto due = std::find_if(list.begin(), list.end(), [&](const auto& each) {
            return each.second->State() == tsdPending && each.second->Start() <= now;
        });
        ASSERT_EQ(jobs.FirstDue(now), due == list.end() ? nullptr : due->second) << "step " << step;
        ASSERT_EQ(jobs.Count(), list.size());
        ASSERT_EQ(jobs.First(), list.empty() ? nullptr : list.front().second);
    }
}

TEST(DueIndex, GrowsByAnyStride) {
    for (const std::size_t far : {0u, 15u, 16u, 255u, 256u, 4096u, 70000u}) {
        DueIndex index;
        EXPECT_FALSE(index.FirstDue(1));
        index.Set(far, 5);
        EXPECT_FALSE(index.FirstDue(4));
        EXPECT_EQ(index.FirstDue(5), far);
        index.Set(far + 1, 4);
        EXPECT_EQ(index.FirstDue(4), far + 1);
        index.Set(far, DueIndex::kNever);
        index.Set(far + 1, kNaN);
        EXPECT_FALSE(index.FirstDue(1e9));
    }
}

}  // namespace
}  // namespace tsasync
