#include "manager/DueIndex.h"

#include <algorithm>
#include <cmath>

namespace tsasync {

void DueIndex::Set(std::size_t place, double time) {
    if (m_levels.empty() || place >= m_levels.front().size()) Grow(place);
    if (std::isnan(time)) time = kNever;
    m_levels.front()[place] = time;
    for (std::size_t level = 0; level + 1 < m_levels.size(); ++level) {
        place /= kFan;
        const double least = LeastOf(level, place);
        double& known = m_levels[level + 1][place];
        if (known == least) return;
        known = least;
    }
}

std::optional<std::size_t> DueIndex::FirstDue(double now) const {
    if (!(now < kNever)) return {};
    std::size_t group = 0;
    for (auto level = m_levels.rbegin(); level != m_levels.rend(); ++level) {
        const double* const begin = level->data() + group * kFan;
        const double* const found =
            std::find_if(begin, begin + kFan, [&](double time) { return time <= now; });
        if (found == begin + kFan) return {};
        group = static_cast<std::size_t>(found - level->data());
    }
    if (m_levels.empty()) return {};
    return group;
}

// Makes room for `place`, one level after the other until a level is one group.
void DueIndex::Grow(std::size_t place) {
    for (std::size_t level = 0;; ++level, place /= kFan) {
        const bool isNew = level == m_levels.size();
        if (isNew) m_levels.emplace_back();
        const std::size_t size = std::max(m_levels[level].size(), (place / kFan + 1) * kFan);
        m_levels[level].resize(size, kNever);
        if (isNew && level > 0) {
            const std::size_t groups = m_levels[level - 1].size() / kFan;
            for (std::size_t group = 0; group < groups; ++group) {
                m_levels[level][group] = LeastOf(level - 1, group);
            }
        }
        if (size == kFan) return;
    }
}

double DueIndex::LeastOf(std::size_t level, std::size_t group) const {
    const double* const begin = m_levels[level].data() + group * kFan;
    return *std::min_element(begin, begin + kFan);
}

}  // namespace tsasync
