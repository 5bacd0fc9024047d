// Win32 implementation of the basic platform services, with the kernel32
// calls and flags the engine has always used: files shared for reading and
// writing while we play them, a not-shared file for saving, CreateThread,
// auto-reset events and critical sections.
//
// Kernel handles are handed out as the opaque platform pointers themselves
// (a file's INVALID_HANDLE_VALUE becomes nullptr), so nothing is allocated
// per handle except the start record of a thread and a critical section.
#include <windows.h>

#include <new>

#include "platform/platform.h"

namespace vexa::platform {

// ---- Files -----------------------------------------------------------------

namespace {
HANDLE FileHandleOf(File* file) { return reinterpret_cast<HANDLE>(file); }

File* WrapFileHandle(HANDLE handle) {
    return handle == INVALID_HANDLE_VALUE ? nullptr : reinterpret_cast<File*>(handle);
}
}  // namespace

File* FileOpenShared(const char* path) {
    if (path == nullptr) return nullptr;
    return WrapFileHandle(CreateFileA(path, GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING,
                                      0, nullptr));
}

File* FileCreate(const char* path) {
    if (path == nullptr) return nullptr;
    return WrapFileHandle(CreateFileA(path, GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr));
}

uint32_t FileSize(File* file) {
    if (file == nullptr) return INVALID_FILE_SIZE;
    return GetFileSize(FileHandleOf(file), nullptr);
}

ReadResult FileRead(File* file, void* destination, uint32_t count, uint32_t* got) {
    *got = 0;
    if (file == nullptr) return ReadResult::Error;
    DWORD read = 0;
    if (!ReadFile(FileHandleOf(file), destination, count, &read, nullptr)) {
        return GetLastError() == ERROR_HANDLE_EOF ? ReadResult::EndOfFile : ReadResult::Error;
    }
    *got = read;
    return ReadResult::Ok;
}

bool FileWrite(File* file, const void* source, uint32_t count) {
    if (file == nullptr) return false;
    const auto* bytes = static_cast<const unsigned char*>(source);
    while (count > 0) {
        DWORD written = 0;
        if (!WriteFile(FileHandleOf(file), bytes, count, &written, nullptr) || written == 0) return false;
        bytes += written;
        count -= written;
    }
    return true;
}

// Positions are below 2 GiB for any stream the engine plays; with no high
// word the offset is a signed 32-bit distance.
bool FileSeek(File* file, uint32_t position) {
    if (file == nullptr) return false;
    return SetFilePointer(FileHandleOf(file), static_cast<LONG>(position), nullptr, FILE_BEGIN) !=
           INVALID_SET_FILE_POINTER;
}

// A file shorter than offset fails with a negative-seek error.
bool FileSeekFromEnd(File* file, uint32_t offset) {
    if (file == nullptr) return false;
    return SetFilePointer(FileHandleOf(file), -static_cast<LONG>(offset), nullptr, FILE_END) !=
           INVALID_SET_FILE_POINTER;
}

void FileClose(File* file) {
    if (file != nullptr) CloseHandle(FileHandleOf(file));
}

bool FileExists(const char* path) { return path != nullptr && GetFileAttributesA(path) != INVALID_FILE_ATTRIBUTES; }

// ---- Threads ---------------------------------------------------------------

namespace {
HANDLE ThreadHandleOf(Thread* thread) { return reinterpret_cast<HANDLE>(thread); }

// The engine's entries use the C calling convention; CreateThread wants a
// stdcall one on i686. The record is freed by the new thread itself.
struct ThreadStartRecord {
    ThreadEntry entry;
    void* argument;
};

DWORD WINAPI ThreadTrampoline(LPVOID parameter) {
    const ThreadStartRecord start = *static_cast<ThreadStartRecord*>(parameter);
    delete static_cast<ThreadStartRecord*>(parameter);
    return start.entry(start.argument);
}
}  // namespace

Thread* ThreadStart(ThreadEntry entry, void* argument) {
    if (TakeFault(Fault::ThreadStart)) return nullptr;
    auto* start = new (std::nothrow) ThreadStartRecord{entry, argument};
    if (start == nullptr) return nullptr;
    DWORD threadId = 0;
    HANDLE handle = CreateThread(nullptr, 0, ThreadTrampoline, start, 0, &threadId);
    if (handle == nullptr) {
        delete start;
        return nullptr;
    }
    return reinterpret_cast<Thread*>(handle);
}

void ThreadSetPriority(Thread* thread, int32_t priority) {
    if (thread != nullptr) SetThreadPriority(ThreadHandleOf(thread), priority);
}

bool ThreadWait(Thread* thread, uint32_t timeoutMs) {
    if (thread == nullptr) return true;
    return WaitForSingleObject(ThreadHandleOf(thread), timeoutMs) == WAIT_OBJECT_0;
}

bool ThreadIsRunning(Thread* thread) {
    if (thread == nullptr) return false;
    DWORD code = 0;
    return GetExitCodeThread(ThreadHandleOf(thread), &code) && code == STILL_ACTIVE;
}

uint32_t ThreadExitCode(Thread* thread) {
    DWORD code = 0;
    if (thread == nullptr || !GetExitCodeThread(ThreadHandleOf(thread), &code)) return 0;
    return code;
}

bool ThreadTerminate(Thread* thread) {
    return thread != nullptr && TerminateThread(ThreadHandleOf(thread), 0) != FALSE;
}

void ThreadClose(Thread* thread) {
    if (thread != nullptr) CloseHandle(ThreadHandleOf(thread));
}

// ---- Events and locks ------------------------------------------------------

namespace {
HANDLE EventHandleOf(Event* event) { return reinterpret_cast<HANDLE>(event); }
}  // namespace

Event* EventCreate() {
    if (TakeFault(Fault::EventCreate)) return nullptr;
    // Auto-reset (one waiter consumes a signal), not signalled at first.
    return reinterpret_cast<Event*>(CreateEventA(nullptr, FALSE, FALSE, nullptr));
}

void EventSignal(Event* event) {
    if (event != nullptr) SetEvent(EventHandleOf(event));
}

bool EventWait(Event* event, uint32_t timeoutMs) {
    if (event == nullptr) return false;
    return WaitForSingleObject(EventHandleOf(event), timeoutMs) == WAIT_OBJECT_0;
}

void EventClose(Event* event) {
    if (event != nullptr) CloseHandle(EventHandleOf(event));
}

struct Lock {
    CRITICAL_SECTION section;
};

Lock* LockCreate() {
    if (TakeFault(Fault::LockCreate)) return nullptr;
    auto* lock = new (std::nothrow) Lock;
    if (lock != nullptr) InitializeCriticalSection(&lock->section);
    return lock;
}

void LockEnter(Lock* lock) { EnterCriticalSection(&lock->section); }
void LockLeave(Lock* lock) { LeaveCriticalSection(&lock->section); }

void LockDelete(Lock* lock) {
    if (lock == nullptr) return;
    DeleteCriticalSection(&lock->section);
    delete lock;
}

void SleepMs(uint32_t milliseconds) { Sleep(milliseconds); }

uint64_t TickMs() { return GetTickCount64(); }

}  // namespace vexa::platform
