/* The benchmark's host: decodes a file in record-only mode through the
 * exported interface, as a player converting a file would, and prints the
 * best wall-clock time and the best processor time (all threads) in seconds
 * of several runs, measured inside the program from VexaEngine_Play until the
 * engine reports the end, so that a Windows build under Wine is timed without
 * Wine's start-up. Processor time is what a busy machine distorts least. The
 * WAVs written are removed after each run. Builds for Linux (the shared
 * library) and Windows (the DLL).
 *
 * Written in C, as many hosts are: its resident size is then the engine's
 * and the C library's, which is what the memory comparison with mpg123 is
 * about.
 *
 *   bench_engine_host RUNS ENGINE QUALITY MONO EIGHTBIT INPUT FOLDER */
#if !defined(_WIN32)
#define _POSIX_C_SOURCE 200809L /* clock_gettime, nanosleep, the directory functions */
#endif
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#if defined(_WIN32)
#include <windows.h>
#else
#include <dirent.h>
#include <sys/resource.h>
#include <time.h>
#endif

#include "vexaengine.h"

#if defined(_WIN32)
static double FileTimeSeconds(FILETIME t) {
    return (double)(((unsigned long long)t.dwHighDateTime << 32) | t.dwLowDateTime) * 1e-7;
}

/* User and system time of the whole process so far, in seconds. */
static double ProcessorSeconds(void) {
    FILETIME created, exited, kernel, user;
    GetProcessTimes(GetCurrentProcess(), &created, &exited, &kernel, &user);
    return FileTimeSeconds(kernel) + FileTimeSeconds(user);
}

static double WallSeconds(void) {
    LARGE_INTEGER now, frequency;
    QueryPerformanceCounter(&now);
    QueryPerformanceFrequency(&frequency);
    return (double)now.QuadPart / (double)frequency.QuadPart;
}

static void SleepOneMs(void) { Sleep(1); }

static void RemoveRecordings(const char* folder) {
    char pattern[MAX_PATH], path[MAX_PATH];
    WIN32_FIND_DATAA found;
    snprintf(pattern, sizeof pattern, "%s\\*.wav", folder);
    HANDLE search = FindFirstFileA(pattern, &found);
    if (search == INVALID_HANDLE_VALUE) return;
    do {
        snprintf(path, sizeof path, "%s\\%s", folder, found.cFileName);
        DeleteFileA(path);
    } while (FindNextFileA(search, &found));
    FindClose(search);
}
#else
static double ProcessorSeconds(void) {
    struct rusage usage;
    getrusage(RUSAGE_SELF, &usage);
    return (double)(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) +
           (double)(usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) * 1e-6;
}

static double WallSeconds(void) {
    struct timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return (double)now.tv_sec + (double)now.tv_nsec * 1e-9;
}

static void SleepOneMs(void) {
    const struct timespec millisecond = {0, 1000000};
    nanosleep(&millisecond, NULL);
}

static void RemoveRecordings(const char* folder) {
    DIR* directory = opendir(folder);
    if (directory == NULL) return;
    char path[4096];
    for (struct dirent* entry; (entry = readdir(directory)) != NULL;) {
        const size_t length = strlen(entry->d_name);
        if (length < 4 || strcmp(entry->d_name + length - 4, ".wav") != 0) continue;
        snprintf(path, sizeof path, "%s/%s", folder, entry->d_name);
        remove(path);
    }
    closedir(directory);
}
#endif

/* One record-only decode; the wall time is negative when it could not run. */
static void RecordOnce(const char* input, const char* folder, double* wall, double* processor) {
    char recordFolder[256] = {0};
    char saveFolder[256] = {0};
    strncpy(recordFolder, folder, sizeof recordFolder - 1);
    *wall = -1.0;
    const double processorStart = ProcessorSeconds();
    const double start = WallSeconds();
    if (VexaEngine_Play(NULL, input, 0, recordFolder, 1, saveFolder) != 1) return;
    /* A short poll: its period is all the timing can be off by. */
    while (VexaEngine_GetMode() != VEXA_MODE_ENDED) SleepOneMs();
    *wall = WallSeconds() - start;
    *processor = ProcessorSeconds() - processorStart;
    VexaEngine_Stop();
}

int main(int argc, char** argv) {
    if (argc != 8) {
        fprintf(stderr, "usage: bench_engine_host RUNS ENGINE QUALITY MONO EIGHTBIT INPUT FOLDER\n");
        return 2;
    }
    const int runs = atoi(argv[1]);
    VexaEngine_SetOutputOptions(1, 16, 1, 0);
    VexaEngine_SetEngine(atoi(argv[2]));
    VexaEngine_SetQuality(atoi(argv[3]));
    VexaEngine_SetChannel(atoi(argv[4]));
    VexaEngine_Set8bitResolution(atoi(argv[5]));
    double bestWall = -1.0, bestProcessor = 0.0;
    for (int run = 0; run < runs; ++run) {
        double wall = 0.0, processor = 0.0;
        RecordOnce(argv[6], argv[7], &wall, &processor);
        RemoveRecordings(argv[7]);
        if (wall < 0.0) {
            fprintf(stderr, "bench_engine_host: %s does not play\n", argv[6]);
            return 1;
        }
        if (bestWall < 0.0 || wall < bestWall) bestWall = wall;
        if (run == 0 || processor < bestProcessor) bestProcessor = processor;
    }
    printf("%.6f %.6f\n", bestWall, bestProcessor);
    return 0;
}
