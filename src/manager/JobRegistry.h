#pragma once

#include "manager/CDLItem.h"
#include "manager/DueIndex.h"

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace tsasync {

// The jobs of a thread under their keys, in the order in which they were added. Keys compare without regard
// to letter case. Every operation costs O(1) but FirstDue, which costs O(log n), as does every change of a
// record's State and Start while the record is pending.
class JobRegistry final : IScheduleObserver {
  public:
    JobRegistry() = default;
    ~JobRegistry();
    JobRegistry(const JobRegistry&) = delete;
    JobRegistry& operator=(const JobRegistry&) = delete;

    std::size_t Count() const { return m_jobs.size(); }

    // Adds the record at the end. Throws 457 for a key that is already there.
    void Add(std::u16string_view key, const std::shared_ptr<CDLItem>& oI);
    // Null for an unknown key.
    std::shared_ptr<CDLItem> Find(std::u16string_view key) const;
    // Throws 5 for an unknown key.
    std::shared_ptr<CDLItem> Item(std::u16string_view key) const;
    // Throws 5 for an unknown key.
    void Remove(std::u16string_view key);

    // The record added first; null when there is none.
    std::shared_ptr<CDLItem> First() const;
    // To be used when all of them go: it closes no gaps, and so needs no memory.
    void RemoveFirst();

    // The first record in order that is pending and whose Start is `now` or earlier; null when there is none.
    std::shared_ptr<CDLItem> FirstDue(double now) const;

  private:
    using Jobs = std::unordered_map<std::u16string, std::shared_ptr<CDLItem>>;

    void ScheduleChanged(const CDLItem& item) override;
    void Remove(Jobs::iterator job);
    void CloseGaps();

    Jobs m_jobs;  // by folded key
    // The entries of m_jobs in order; null where one was removed. Never more than half of them, and none
    // before m_first.
    std::vector<Jobs::value_type*> m_places;
    std::size_t m_first = 0;  // place of the first job; the number of places when there is none
    DueIndex m_due;           // Start of the pending jobs, by place
};

}  // namespace tsasync
