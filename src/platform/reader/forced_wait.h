#pragma once

#include <utility>

// A notice that arrives while a handler of its kind runs is kept back, and dropped by a manager: whatever
// loop that handler runs, a message box's say, must not bring the next one. But a forced download that is
// begun inside a handler waits in a loop for notices, its own and those of the jobs before it in line; kept
// back they would let it wait for ever. So each such wait is a level of its own, on which no handler runs at
// first.
namespace tsasync::platform {

// Lives as long as a forced download waits. The waits of a thread end in the reverse order of their begin.
class ForcedWait {
  public:
    ForcedWait() { ++g_level; }
    ~ForcedWait() { --g_level; }
    ForcedWait(const ForcedWait&) = delete;
    ForcedWait& operator=(const ForcedWait&) = delete;

    // How many forced downloads this thread waits for, one inside the other.
    static int Level() { return g_level; }

  private:
    static inline thread_local int g_level = 0;
};

// The handlers of one kind of notice, on one thread.
class HandlerState {
  public:
    // Whether one of them runs on the present level.
    bool IsRunning() const { return m_level == ForcedWait::Level(); }

    // Lives as long as one of them runs.
    class Run {
      public:
        explicit Run(HandlerState& state)
            : m_state(&state), m_outer(std::exchange(state.m_level, ForcedWait::Level())) {}
        ~Run() {
            if (m_state != nullptr) m_state->m_level = m_outer;
        }
        Run(const Run&) = delete;
        Run& operator=(const Run&) = delete;

        // The state has ended during the run.
        void Forget() { m_state = nullptr; }

      private:
        HandlerState* m_state;
        int m_outer;
    };

  private:
    static constexpr int kNone = -1;
    int m_level = kNone;  // of the innermost one that runs
};

}  // namespace tsasync::platform
