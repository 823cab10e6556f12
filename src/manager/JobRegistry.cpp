#include "manager/JobRegistry.h"

#include "base/AutomationError.h"
#include "base/KeyFold.h"

#include <utility>

namespace tsasync {

namespace {

constexpr std::size_t kPlacesKept = 64;  // so few places are not worth closing gaps in

double DueTime(const CDLItem& item) { return item.State() == tsdPending ? item.Start() : DueIndex::kNever; }

}  // namespace

JobRegistry::~JobRegistry() {
    for (const auto& job : m_jobs) job.second->SetPlace(nullptr, 0);
}

void JobRegistry::Add(std::u16string_view key, const std::shared_ptr<CDLItem>& oI) {
    const auto [job, added] = m_jobs.try_emplace(FoldKey(key), oI);
    if (!added) Raise(kErrDuplicateKey);
    job->second->SetPlace(this, m_places.size());
    m_places.push_back(&*job);
    ScheduleChanged(*job->second);
}

std::shared_ptr<CDLItem> JobRegistry::Find(std::u16string_view key) const {
    const auto job = m_jobs.find(FoldKey(key));
    return job == m_jobs.end() ? nullptr : job->second;
}

std::shared_ptr<CDLItem> JobRegistry::Item(std::u16string_view key) const {
    auto oI = Find(key);
    if (!oI) Raise(kErrInvalidProcedureCall);
    return oI;
}

void JobRegistry::Remove(std::u16string_view key) {
    const auto job = m_jobs.find(FoldKey(key));
    if (job == m_jobs.end()) Raise(kErrInvalidProcedureCall);
    Remove(job);
    if (m_places.size() > kPlacesKept && m_places.size() > 2 * m_jobs.size()) CloseGaps();
}

std::shared_ptr<CDLItem> JobRegistry::First() const {
    return m_first == m_places.size() ? nullptr : m_places[m_first]->second;
}

void JobRegistry::RemoveFirst() { Remove(m_jobs.find(m_places[m_first]->first)); }

std::shared_ptr<CDLItem> JobRegistry::FirstDue(double now) const {
    const auto place = m_due.FirstDue(now);
    return place ? m_places[*place]->second : nullptr;
}

void JobRegistry::ScheduleChanged(const CDLItem& item) { m_due.Set(item.Place(), DueTime(item)); }

void JobRegistry::Remove(Jobs::iterator job) {
    const std::shared_ptr<CDLItem> oI = std::move(job->second);  // ends after the registry is whole again
    m_due.Set(oI->Place(), DueIndex::kNever);
    m_places[oI->Place()] = nullptr;
    oI->SetPlace(nullptr, 0);
    m_jobs.erase(job);
    while (m_first < m_places.size() && m_places[m_first] == nullptr) ++m_first;
}

// Moves every job to the next free place below it. As many jobs were removed since the last time as are moved
// now, so that the cost of a removal stays the same on average.
void JobRegistry::CloseGaps() {
    std::erase(m_places, nullptr);
    m_first = 0;
    m_due.Clear();
    for (std::size_t place = 0; place < m_places.size(); ++place) {
        m_places[place]->second->SetPlace(this, place);
        ScheduleChanged(*m_places[place]->second);
    }
}

}  // namespace tsasync
