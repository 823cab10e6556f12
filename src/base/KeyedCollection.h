#pragma once

#include "base/AutomationError.h"
#include "base/KeyFold.h"

#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>

namespace tsasync {

// A table of values under string keys that compare without regard to letter case. An unknown key raises error
// 5, a key that is already there error 457. Every operation costs O(1).
template <typename T>
class KeyedCollection {
  public:
    void Add(std::u16string_view key, T value) {
        if (!m_values.try_emplace(FoldKey(key), std::move(value)).second) {
            Raise(kErrDuplicateKey);
        }
    }

    const T& Item(std::u16string_view key) const {
        const auto found = m_values.find(FoldKey(key));
        if (found == m_values.end()) Raise(kErrInvalidProcedureCall);
        return found->second;
    }

    void Remove(std::u16string_view key) {
        if (m_values.erase(FoldKey(key)) == 0) Raise(kErrInvalidProcedureCall);
    }

  private:
    std::unordered_map<std::u16string, T> m_values;
};

}  // namespace tsasync
