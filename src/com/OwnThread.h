#pragma once

#include <thread>

namespace tsasync::com {

// The thread that made an object, the only one on which it works.
class OwnThread {
  public:
    bool IsCurrent() const { return std::this_thread::get_id() == m_id; }

  private:
    const std::thread::id m_id = std::this_thread::get_id();
};

}  // namespace tsasync::com
