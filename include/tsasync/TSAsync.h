#pragma once

// The type library TSAsync, "Quillmark Async Transfer Module 1.0": the frozen contract between the component
// and its hosts. Identifiers, the order of the members, dispatch identifiers, parameter lists and defaults
// never change.
//
// Every object is used, and released, on the thread that created the manager. To any other thread a manager
// answers with an error, and when its last reference is dropped there, its jobs run on until its own thread
// ends. A manager's thread must run a message loop (Windows) or its default GLib main context (Linux);
// transfers make progress and events arrive from there. Use one manager a thread: all managers of a thread
// share its jobs, and each of them handles every notification, so that with two the second finds a finished
// file moved away and makes its job pending again.
//
// Strings are automation strings: [in] ones stay the caller's, [out] ones become the caller's, null is empty.
//
// A member that fails returns a negative HRESULT and leaves the error's number, source and description in the
// thread's error object (GetErrorInfo). 0x800A0000 + n stands for the runtime error n: 5 unknown handle, 53
// file not found. Through IDispatch::Invoke the same error is DISP_E_EXCEPTION with an EXCEPINFO.

#include "tsasync/com.h"

// --- identifiers -------------------------------------------------------------------------------------------

inline constexpr GUID LIBID_TSAsync{
    0xF48DE0A9, 0xA80A, 0x11D3, {0x93, 0xD8, 0x00, 0x50, 0x04, 0x33, 0x86, 0x4D}};
inline constexpr WORD TSAsync_MajorVersion = 1;
inline constexpr WORD TSAsync_MinorVersion = 2;
inline constexpr const OLECHAR* ProgID_CDLManager = OLESTR("TSAsync.CDLManager");

// The one class that hosts create.
inline constexpr CLSID CLSID_CDLManager{
    0xF48DE0B7, 0xA80A, 0x11D3, {0x93, 0xD8, 0x00, 0x50, 0x04, 0x33, 0x86, 0x4D}};
// Not creatable: its objects come from a manager's events.
inline constexpr CLSID CLSID_CDLItem{
    0xF48DE0C6, 0xA80A, 0x11D3, {0x93, 0xD8, 0x00, 0x50, 0x04, 0x33, 0x86, 0x4D}};

inline constexpr IID IID__CDLManager{
    0x57023890, 0xEA9E, 0x489E, {0x9E, 0x8E, 0x3F, 0x8B, 0xD1, 0xB4, 0x71, 0x21}};
// Earlier identifiers of _CDLManager; they give the same method table.
inline constexpr IID IID_CDLManager___v0{
    0xF48DE0B6, 0xA80A, 0x11D3, {0x93, 0xD8, 0x00, 0x50, 0x04, 0x33, 0x86, 0x4D}};
inline constexpr IID IID_CDLManager___v1{
    0x8B858AD7, 0xB845, 0x11D3, {0x93, 0xF1, 0x00, 0x50, 0x04, 0x33, 0x86, 0x4D}};

// The events of CDLManager.
inline constexpr IID DIID___CDLManager{
    0x2A84707C, 0xE5E5, 0x46C9, {0xA1, 0x27, 0xFC, 0x9E, 0x8A, 0xA1, 0xAE, 0xBC}};
// The events under their identifier of the first version; a sink may ask for either.
inline constexpr IID DIID___CDLManager___v0{
    0xF48DE0B9, 0xA80A, 0x11D3, {0x93, 0xD8, 0x00, 0x50, 0x04, 0x33, 0x86, 0x4D}};

inline constexpr IID IID__CDLItem{
    0xBF3F2B55, 0x064C, 0x4513, {0xA0, 0xD8, 0xF4, 0x16, 0x5E, 0x05, 0xF8, 0xAF}};
// Earlier identifier of _CDLItem; it gives the same method table.
inline constexpr IID IID_CDLItem___v0{
    0xF48DE0C5, 0xA80A, 0x11D3, {0x93, 0xD8, 0x00, 0x50, 0x04, 0x33, 0x86, 0x4D}};

inline constexpr GUID GUID_TSDLStateEnum{
    0xF48DE0B8, 0xA80A, 0x11D3, {0x93, 0xD8, 0x00, 0x50, 0x04, 0x33, 0x86, 0x4D}};

// --- the state of a job ------------------------------------------------------------------------------------

enum TSDLStateEnum : LONG {
    tsdStopped = 0,      // registered, not scheduled: never started, or cancelled
    tsdStarting = 1,     // a transfer is requested, no data yet
    tsdDownloading = 2,  // data is arriving
    tsdPending = 3,      // waiting to be started: for the limit, after a refused start, for a retry at Start
    tsdFinished = 4,     // the file is in its final place
    tsdBroken = 5,       // given up after failures
};

// --- dispatch identifiers ----------------------------------------------------------------------------------

enum : DISPID {
    DISPID_CDLManager_AddURL = 0x60030005,
    DISPID_CDLManager_AutoStart = 0x68030003,
    DISPID_CDLManager_AssetsPath = 0x68030002,
    DISPID_CDLManager_ActiveJobs = 0x68030001,
    DISPID_CDLManager_ChangeState = 0x6003000B,
    DISPID_CDLManager_Elect = 0x6003000C,
    DISPID_CDLManager_RemoveURL = 0x6003000E,
    DISPID_CDLManager_Jobs = 0x68030000,
    DISPID_CDLManager_StartLog = 0x6003000F,
    DISPID_CDLManager_HDLbyURL = 0x60030011,
    DISPID_CDLManager_GetHDL = 0x60030019,
    DISPID_CDLManager_LangID = 0x6803001A,

    DISPID_CDLItem_Name = 0x6803000A,
    DISPID_CDLItem_Attempts = 0x68030009,
    DISPID_CDLItem_FinalPath = 0x68030008,
    DISPID_CDLItem_TmpPath = 0x68030007,
    DISPID_CDLItem_Start = 0x68030006,
    DISPID_CDLItem_Size = 0x68030005,
    DISPID_CDLItem_State = 0x68030004,
    DISPID_CDLItem_TotalSize = 0x68030003,
    DISPID_CDLItem_URL = 0x68030002,
    DISPID_CDLItem_Handle = 0x68030001,
    DISPID_CDLItem_RefCount = 0x6803000D,
    DISPID_CDLItem_MIMEType = 0x6803000B,

    // Events, see __CDLManager.
    DISPID_CDLManager_StateChanged = 1,
    DISPID_CDLManager_TraceEvent = 2,
};

// --- the manager -------------------------------------------------------------------------------------------

// Registers URLs, steers their jobs and tells of them through its events. All managers of a thread share its
// jobs.
struct _CDLManager : IDispatch {
    // Slot 1. Registers `URL` (or adds a reference to its job) and gives its handle. An empty `Name` gives
    // the job a name of its own. With `Force` the download runs at once behind a modal dialog and the call
    // returns when it has ended; the handle is empty when the user cancelled. Late bound, `Name` defaults to
    // "" and `Force` to False.
    virtual HRESULT STDMETHODCALLTYPE AddURL(BSTR URL, BSTR Name, VARIANT_BOOL Force, BSTR* result) = 0;

    // Slots 2 and 3. Whether new jobs are scheduled at once; a new manager says False.
    virtual HRESULT STDMETHODCALLTYPE get_AutoStart(VARIANT_BOOL* result) = 0;
    virtual HRESULT STDMETHODCALLTYPE put_AutoStart(VARIANT_BOOL value) = 0;

    // Slots 4 and 5. The folder for finished files; made when needed. The stored setting, else "Quillmark
    // Assets" in the user's documents folder.
    virtual HRESULT STDMETHODCALLTYPE get_AssetsPath(BSTR* result) = 0;
    virtual HRESULT STDMETHODCALLTYPE put_AssetsPath(BSTR value) = 0;

    // Slots 6 and 7. The number of transfers that this manager has started and not yet seen end.
    virtual HRESULT STDMETHODCALLTYPE get_ActiveJobs(SHORT* result) = 0;
    virtual HRESULT STDMETHODCALLTYPE put_ActiveJobs(SHORT value) = 0;

    // Slot 8. Requests a state for the job `HDL`. `StartTime` is the time before which a pending job must not
    // start; 0, like leaving it out, means now. `Force` starts the transfer whatever the limit; null means
    // False, and the value is only read. Fails with 0x800407D1 for an unknown handle.
    virtual HRESULT STDMETHODCALLTYPE ChangeState(BSTR HDL, TSDLStateEnum State, DATE StartTime,
                                                  VARIANT_BOOL* Force) = 0;

    // Slot 9. Starts the first due pending job, whatever the limit, and gives its handle; empty when none
    // started. Retries start only here and inside other calls and events, so a host calls this now and then.
    virtual HRESULT STDMETHODCALLTYPE Elect(BSTR* result) = 0;

    // Slot 10. Releases one registration; the last one cancels and removes the job. Fails with 0x800A0005 for
    // an unknown handle.
    virtual HRESULT STDMETHODCALLTYPE RemoveURL(BSTR HDL) = 0;

    // Slot 11. The number of registered jobs of the thread, its low 16 bits.
    virtual HRESULT STDMETHODCALLTYPE get_Jobs(SHORT* result) = 0;

    // Slot 12. Starts the host process's application log. `LogModes` is a destination (0 the system's choice,
    // 1 off, 2 the file `LogTarget`, 3 the system's log) plus flags (16 overwrite now, 32 the thread's number
    // before each entry).
    virtual HRESULT STDMETHODCALLTYPE StartLog(BSTR LogTarget, LONG LogModes) = 0;

    // Slot 13. The handle of `sURL` when it is registered, else empty.
    virtual HRESULT STDMETHODCALLTYPE HDLbyURL(BSTR sURL, BSTR* result) = 0;

    // Slot 14. The handle of `sURL`, registered or not.
    virtual HRESULT STDMETHODCALLTYPE GetHDL(BSTR sURL, BSTR* result) = 0;

    // Slot 15. The language of the dialogs shown from now on, a Windows language identifier (1033 English,
    // 1031 German …); 0 or below is the user's own.
    virtual HRESULT STDMETHODCALLTYPE put_LangID(LONG value) = 0;
};
using CDLManager___v0 = _CDLManager;
using CDLManager___v1 = _CDLManager;

// The manager's events, dispatch only: a host connects an IDispatch whose Invoke takes these dispatch
// identifiers.
//
//   1  StateChanged(oI As CDLItem)
//      A job was added, referenced again, started, made progress or changed its state.
//   2  TraceEvent(logBuff As String, evType As Long)
//      Declared, never raised.
//
// They arrive on the manager's thread, to every connected sink. A sink that fails makes the operation that
// raised the event fail with the sink's error.
struct __CDLManager : IDispatch {};

// --- the record of a job -----------------------------------------------------------------------------------

// Every value can be read and written and is stored as it is given. A record lives on for as long as a host
// holds it.
struct _CDLItem : IDispatch {
    // Slots 1 and 2. The name to show.
    virtual HRESULT STDMETHODCALLTYPE put_Name(BSTR value) = 0;
    virtual HRESULT STDMETHODCALLTYPE get_Name(BSTR* result) = 0;
    // Slots 3 and 4. The number of transfer starts counted against the job; it is given up after the tenth.
    virtual HRESULT STDMETHODCALLTYPE put_Attempts(SHORT value) = 0;
    virtual HRESULT STDMETHODCALLTYPE get_Attempts(SHORT* result) = 0;
    // Slots 5 and 6. Where the finished file is.
    virtual HRESULT STDMETHODCALLTYPE put_FinalPath(BSTR value) = 0;
    virtual HRESULT STDMETHODCALLTYPE get_FinalPath(BSTR* result) = 0;
    // Slots 7 and 8. The file in which the data was received.
    virtual HRESULT STDMETHODCALLTYPE put_TmpPath(BSTR value) = 0;
    virtual HRESULT STDMETHODCALLTYPE get_TmpPath(BSTR* result) = 0;
    // Slots 9 and 10. When the job was registered or last stopped, or the earliest time at which it may
    // start.
    virtual HRESULT STDMETHODCALLTYPE put_Start(DATE value) = 0;
    virtual HRESULT STDMETHODCALLTYPE get_Start(DATE* result) = 0;
    // Slots 11 and 12. Bytes received. Putting more than TotalSize raises TotalSize, too.
    virtual HRESULT STDMETHODCALLTYPE put_Size(LONG value) = 0;
    virtual HRESULT STDMETHODCALLTYPE get_Size(LONG* result) = 0;
    // Slot 13; the get is slot 16.
    virtual HRESULT STDMETHODCALLTYPE put_State(TSDLStateEnum value) = 0;
    // Slots 14 and 15. Bytes expected, 0 while unknown; 2 147 483 647 stands for that many and for more.
    virtual HRESULT STDMETHODCALLTYPE get_TotalSize(LONG* result) = 0;
    virtual HRESULT STDMETHODCALLTYPE put_TotalSize(LONG value) = 0;
    // Slot 16.
    virtual HRESULT STDMETHODCALLTYPE get_State(TSDLStateEnum* result) = 0;
    // Slots 17 and 18. The address; after a finished transfer the one that was read in the end.
    virtual HRESULT STDMETHODCALLTYPE put_URL(BSTR value) = 0;
    virtual HRESULT STDMETHODCALLTYPE get_URL(BSTR* result) = 0;
    // Slots 19 and 20. The handle, by which the manager's members know the job.
    virtual HRESULT STDMETHODCALLTYPE put_Handle(BSTR value) = 0;
    virtual HRESULT STDMETHODCALLTYPE get_Handle(BSTR* result) = 0;
    // Slots 21 and 22. The number of registrations outstanding.
    virtual HRESULT STDMETHODCALLTYPE get_RefCount(LONG* result) = 0;
    virtual HRESULT STDMETHODCALLTYPE put_RefCount(LONG value) = 0;
    // Slots 23 and 24. The content type, empty while unknown.
    virtual HRESULT STDMETHODCALLTYPE put_MIMEType(BSTR value) = 0;
    virtual HRESULT STDMETHODCALLTYPE get_MIMEType(BSTR* result) = 0;
};
using CDLItem___v0 = _CDLItem;

// --- entry points ------------------------------------------------------------------------------------------

extern "C" {
// The class factory of CLSID_CDLManager; CLASS_E_CLASSNOTAVAILABLE for any other class.
HRESULT STDMETHODCALLTYPE DllGetClassObject(REFCLSID rclsid, REFIID riid, void** ppv);
// S_OK when no object of the component is alive and no server lock is held, else S_FALSE.
HRESULT STDMETHODCALLTYPE DllCanUnloadNow();
// Write and remove the registration of the class, with the component's own path.
HRESULT STDMETHODCALLTYPE DllRegisterServer();
HRESULT STDMETHODCALLTYPE DllUnregisterServer();
}
