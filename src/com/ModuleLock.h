#pragma once

// What keeps the component in memory: its live objects and the locks that hosts have placed on it. The one
// state that threads share.
namespace tsasync::com {

void AddModuleLock() noexcept;
void ReleaseModuleLock() noexcept;
bool IsModuleLocked() noexcept;

// A member of every object that hosts can hold.
class LiveObject {
  public:
    LiveObject() noexcept { AddModuleLock(); }
    ~LiveObject() { ReleaseModuleLock(); }
    LiveObject(const LiveObject&) = delete;
    LiveObject& operator=(const LiveObject&) = delete;
};

}  // namespace tsasync::com
