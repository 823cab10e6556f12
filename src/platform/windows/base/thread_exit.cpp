// The end of thread-wide objects (thread_local), in place of the C++ library's: its own calls their
// destructors when their memory has been freed already.
//
// The compiler keeps these objects in memory that a key of the threads library frees at a thread's end. Keys
// end in the order of their making. The C++ library makes the key that calls the destructors after the first
// use of such memory, and after the main thread's end it calls them twice. The key here is made before
// anything else runs.
#include <pthread.h>
#include <windows.h>

#include <cstdlib>
#include <memory>

namespace {

struct Ending {
    void (*destroy)(void*);
    void* object;
    Ending* earlier;
};

pthread_key_t g_latest;  // of the thread's objects, which end in the reverse order of their making

void RunEndings(void* latest) {
    while (latest != nullptr) {
        const std::unique_ptr<Ending> ending(static_cast<Ending*>(latest));
        ending->destroy(ending->object);
        latest = ending->earlier;
    }
}

void RunOwnEndings() {
    void* const latest = pthread_getspecific(g_latest);
    pthread_setspecific(g_latest, nullptr);
    RunEndings(latest);
}

// 101 is the first of all constructors that a program may have.
[[gnu::constructor(101)]] void MakeKey() {
    if (pthread_key_create(&g_latest, &RunEndings) != 0 || std::atexit(&RunOwnEndings) != 0) std::abort();
}

// Destructors wait in this module for the ends of their threads, so it stays.
void StayLoaded() {
    HMODULE module = nullptr;
    GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_PIN | GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS,
                       reinterpret_cast<LPCWSTR>(&RunEndings), &module);
}

}  // namespace

// At a process's end the system has ended all other threads. What these objects would wait for never comes
// then; they are left as they are.
extern "C" BOOL WINAPI DllMain(HINSTANCE, DWORD reason, LPVOID isProcessEnd) {
    if (reason == DLL_PROCESS_DETACH && isProcessEnd != nullptr) pthread_setspecific(g_latest, nullptr);
    return TRUE;
}

// The compiler calls it when it has made a thread-wide object.
extern "C" int __cxa_thread_atexit(void (*destroy)(void*), void* object, void*) {
    StayLoaded();
    auto* const earlier = static_cast<Ending*>(pthread_getspecific(g_latest));
    return pthread_setspecific(g_latest, new Ending{destroy, object, earlier});
}
