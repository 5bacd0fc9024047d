// POSIX implementation of the basic platform services: files through file
// descriptors, threads through std::thread with a shared completion record
// (so a handle can be closed while its thread still runs), events and locks
// through the standard library.
#include "platform/platform.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <new>
#include <thread>

namespace vexa::platform {

// ---- Files -----------------------------------------------------------------

struct File {
    int fd;
};

namespace {
File* WrapDescriptor(int fd) {
    if (fd < 0) return nullptr;
    File* file = new (std::nothrow) File{fd};
    if (file == nullptr) ::close(fd);
    return file;
}
}  // namespace

File* FileOpenShared(const char* path) {
    if (path == nullptr) return nullptr;
    const int fd = ::open(path, O_RDONLY | O_CLOEXEC);
    if (fd < 0) return nullptr;
    struct stat info {};
    // Directories open for reading on POSIX but are not files to play.
    if (::fstat(fd, &info) != 0 || S_ISDIR(info.st_mode)) {
        ::close(fd);
        return nullptr;
    }
    return WrapDescriptor(fd);
}

File* FileCreate(const char* path) {
    if (path == nullptr) return nullptr;
    return WrapDescriptor(::open(path, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644));
}

uint32_t FileSize(File* file) {
    struct stat info {};
    if (file == nullptr || ::fstat(file->fd, &info) != 0) return 0xFFFFFFFFu;
    return static_cast<uint32_t>(info.st_size);
}

ReadResult FileRead(File* file, void* destination, uint32_t count, uint32_t* got) {
    *got = 0;
    if (file == nullptr) return ReadResult::Error;
    for (;;) {
        const ssize_t n = ::read(file->fd, destination, count);
        if (n >= 0) {
            *got = static_cast<uint32_t>(n);
            return ReadResult::Ok;
        }
        if (errno != EINTR) return ReadResult::Error;
    }
}

bool FileWrite(File* file, const void* source, uint32_t count) {
    if (file == nullptr) return false;
    const auto* bytes = static_cast<const unsigned char*>(source);
    while (count > 0) {
        const ssize_t n = ::write(file->fd, bytes, count);
        if (n < 0) {
            if (errno == EINTR) continue;
            return false;
        }
        bytes += n;
        count -= static_cast<uint32_t>(n);
    }
    return true;
}

bool FileSeek(File* file, uint32_t position) {
    return file != nullptr && ::lseek(file->fd, static_cast<off_t>(position), SEEK_SET) >= 0;
}

bool FileSeekFromEnd(File* file, uint32_t offset) {
    return file != nullptr && ::lseek(file->fd, -static_cast<off_t>(offset), SEEK_END) >= 0;
}

void FileClose(File* file) {
    if (file == nullptr) return;
    ::close(file->fd);
    delete file;
}

bool FileExists(const char* path) {
    struct stat info {};
    return path != nullptr && ::stat(path, &info) == 0;
}

// ---- Threads ---------------------------------------------------------------

namespace {
// Shared between the handle and the running thread; whichever lets go last
// frees it, so closing a handle never pulls the record from under a thread.
struct ThreadRecord {
    std::mutex mutex;
    std::condition_variable ended;
    bool finished = false;
    uint32_t exitCode = 0;
};
}  // namespace

struct Thread {
    std::shared_ptr<ThreadRecord> record;
    std::thread worker;
};

Thread* ThreadStart(ThreadEntry entry, void* argument) {
    if (TakeFault(Fault::ThreadStart)) return nullptr;
    auto* thread = new (std::nothrow) Thread;
    if (thread == nullptr) return nullptr;
    thread->record = std::make_shared<ThreadRecord>();
    try {
        thread->worker = std::thread([record = thread->record, entry, argument] {
            const uint32_t result = entry(argument);
            std::lock_guard<std::mutex> hold(record->mutex);
            record->exitCode = result;
            record->finished = true;
            record->ended.notify_all();
        });
    } catch (...) {
        delete thread;
        return nullptr;
    }
    return thread;
}

void ThreadSetPriority(Thread*, int32_t) {}

bool ThreadWait(Thread* thread, uint32_t timeoutMs) {
    if (thread == nullptr) return true;
    std::unique_lock<std::mutex> hold(thread->record->mutex);
    auto isFinished = [&] { return thread->record->finished; };
    if (timeoutMs == kWaitForever) {
        thread->record->ended.wait(hold, isFinished);
        return true;
    }
    return thread->record->ended.wait_for(hold, std::chrono::milliseconds(timeoutMs), isFinished);
}

bool ThreadIsRunning(Thread* thread) { return thread != nullptr && !ThreadWait(thread, 0); }

uint32_t ThreadExitCode(Thread* thread) {
    if (thread == nullptr) return 0;
    std::lock_guard<std::mutex> hold(thread->record->mutex);
    return thread->record->exitCode;
}

bool ThreadTerminate(Thread*) { return false; }

void ThreadClose(Thread* thread) {
    if (thread == nullptr) return;
    if (ThreadWait(thread, 0)) {
        thread->worker.join();
    } else {
        thread->worker.detach();
    }
    delete thread;
}

// ---- Events and locks ------------------------------------------------------

struct Event {
    std::mutex mutex;
    std::condition_variable signalled;
    bool set = false;
};

Event* EventCreate() {
    if (TakeFault(Fault::EventCreate)) return nullptr;
    return new (std::nothrow) Event;
}

void EventSignal(Event* event) {
    std::lock_guard<std::mutex> hold(event->mutex);
    event->set = true;
    event->signalled.notify_one();
}

bool EventWait(Event* event, uint32_t timeoutMs) {
    std::unique_lock<std::mutex> hold(event->mutex);
    auto isSet = [&] { return event->set; };
    if (timeoutMs == kWaitForever) {
        event->signalled.wait(hold, isSet);
    } else if (!event->signalled.wait_for(hold, std::chrono::milliseconds(timeoutMs), isSet)) {
        return false;
    }
    event->set = false;  // auto-reset: one waiter consumes the signal
    return true;
}

void EventClose(Event* event) { delete event; }

struct Lock {
    std::recursive_mutex mutex;
};

Lock* LockCreate() {
    if (TakeFault(Fault::LockCreate)) return nullptr;
    return new (std::nothrow) Lock;
}
void LockEnter(Lock* lock) { lock->mutex.lock(); }
void LockLeave(Lock* lock) { lock->mutex.unlock(); }
void LockDelete(Lock* lock) { delete lock; }

void SleepMs(uint32_t milliseconds) { std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds)); }

uint64_t TickMs() {
    using namespace std::chrono;
    return static_cast<uint64_t>(duration_cast<milliseconds>(steady_clock::now().time_since_epoch()).count());
}

}  // namespace vexa::platform
