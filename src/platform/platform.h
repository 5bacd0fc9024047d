// The engine's view of the operating system: files, threads, events, locks
// and sleeping. Two implementations: win32/ (kernel32 calls with the exact
// flags the engine has always used) and posix/ (the C++ standard library and
// POSIX). Nothing outside src/platform includes a system header of its own.
//
// All handles are opaque pointers; nullptr is "no handle". Every function may
// be called from any thread unless its comment says otherwise.
#pragma once

#include <cstdint>

namespace vexa::platform {

// ---- Files -----------------------------------------------------------------

struct File;

// Opens an existing file for reading while others may read and write it.
File* FileOpenShared(const char* path);
// Creates (or truncates) a file for writing, not shared.
File* FileCreate(const char* path);
// Size in bytes, as a 32-bit value (files over 4 GiB are not audio streams).
uint32_t FileSize(File* file);

enum class ReadResult { Ok, EndOfFile, Error };
// Reads up to count bytes; *got receives how many arrived. Zero bytes with
// ReadResult::Ok also means the end of the file.
ReadResult FileRead(File* file, void* destination, uint32_t count, uint32_t* got);
// Writes count bytes; returns false on any failure.
bool FileWrite(File* file, const void* source, uint32_t count);
// Moves to a byte position from the start of the file.
bool FileSeek(File* file, uint32_t position);
// Moves to offset bytes before the end of the file (offset > 0).
bool FileSeekFromEnd(File* file, uint32_t offset);
void FileClose(File* file);
bool FileExists(const char* path);

// ---- Threads ---------------------------------------------------------------

struct Thread;
using ThreadEntry = uint32_t (*)(void* argument);
constexpr uint32_t kWaitForever = 0xFFFFFFFFu;

// Starts entry(argument) on a new thread; nullptr when it cannot be started.
Thread* ThreadStart(ThreadEntry entry, void* argument);
// Win32 priority value (1 = above normal). POSIX threads keep the default
// scheduling class, which an unprivileged process cannot raise.
void ThreadSetPriority(Thread* thread, int32_t priority);
// true when the thread has ended within timeoutMs.
bool ThreadWait(Thread* thread, uint32_t timeoutMs);
bool ThreadIsRunning(Thread* thread);
// The entry's result; only meaningful once the thread has ended.
uint32_t ThreadExitCode(Thread* thread);
// Ends a thread that did not stop in time. POSIX cannot do this safely: it
// returns false, and the engine's threads are written to end by themselves.
bool ThreadTerminate(Thread* thread);
// Releases the handle. A thread still running goes on and cleans up after
// itself when it ends.
void ThreadClose(Thread* thread);

// ---- Events and locks ------------------------------------------------------

struct Event;  // auto-reset, created not signalled
Event* EventCreate();
void EventSignal(Event* event);
// true when the event was signalled within timeoutMs (the signal is consumed).
bool EventWait(Event* event, uint32_t timeoutMs);
void EventClose(Event* event);

struct Lock;  // re-entrant, like a critical section
Lock* LockCreate();
void LockEnter(Lock* lock);
void LockLeave(Lock* lock);
void LockDelete(Lock* lock);

// Scope guard for a Lock.
class LockGuard {
public:
    explicit LockGuard(Lock* lock) : lock_(lock) { LockEnter(lock_); }
    ~LockGuard() { LockLeave(lock_); }
    LockGuard(const LockGuard&) = delete;
    LockGuard& operator=(const LockGuard&) = delete;

private:
    Lock* lock_;
};

void SleepMs(uint32_t milliseconds);
// Milliseconds from an arbitrary start, monotonic.
uint64_t TickMs();

// ---- Fault injection for tests ---------------------------------------------
// Makes `count` calls of one kind fail as if the system had refused them,
// after letting the next `skip` calls succeed, so tests can reach the
// engine's resource-failure paths. HttpLibrary: the next HTTP sessions find
// no libcurl installed (POSIX).
enum class Fault { ThreadStart, EventCreate, LockCreate, Allocation, HttpLibrary, kCount };
void InjectFault(Fault fault, int count, int skip = 0);
// Consumes one pending failure of this kind; true when the call must fail.
bool TakeFault(Fault fault);

}  // namespace vexa::platform
