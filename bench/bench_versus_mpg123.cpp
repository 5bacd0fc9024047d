// Decoding speed against mpg123 on the same files in the same run, every
// engine and layer, through the exported interface:
//
// - Layer III: a 128 kbit/s joint-stereo MP3 made at run time with sox and
//   lame (a sweep, pink noise and tremolo; nothing committed);
// - Layer I and II: a conformance vector looped to the same length.
//
// The engine runs in bench_engine_host (record-only, WAV written, time taken
// inside that program, best of RUNS); mpg123 runs as `mpg123 -q -w OUT.wav
// FILE`, best of RUNS wall-clock times including its start. Ratios above 1
// mean the engine is faster. Peak resident sizes come from the processes'
// resource usage. With --wine HOST.EXE the Windows build of the host is timed
// under Wine on the Layer III file as well (its own timing, not Wine's start;
// set WINEPREFIX to a prefix of your own).
//
//   bench_versus_mpg123 [--seconds S] [--runs N] [--host HOST] [--wine HOST.EXE]...
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

namespace {

namespace fs = std::filesystem;

struct ChildResult {
    bool ok = false;
    double wallSeconds = 0.0;
    double processorSeconds = 0.0;  // user + system, all threads
    long peakRssKb = 0;
    std::string output;
};

// Runs a program, collecting its standard output, wall time and peak RSS.
ChildResult Run(const std::vector<std::string>& args) {
    ChildResult result;
    int pipeEnds[2];
    if (pipe(pipeEnds) != 0) return result;
    const auto start = std::chrono::steady_clock::now();
    const pid_t pid = fork();
    if (pid == 0) {
        dup2(pipeEnds[1], STDOUT_FILENO);
        close(pipeEnds[0]);
        std::vector<char*> argv;
        for (const std::string& arg : args) argv.push_back(const_cast<char*>(arg.c_str()));
        argv.push_back(nullptr);
        execvp(argv[0], argv.data());
        _exit(127);
    }
    close(pipeEnds[1]);
    // The output is read once the program has ended, not to the pipe's end:
    // processes it leaves behind (Wine's server and services) hold the pipe
    // open. Every host prints a line or two, far less than a pipe holds.
    int status = 0;
    rusage usage{};
    const bool ended = pid > 0 && wait4(pid, &status, 0, &usage) == pid;
    result.wallSeconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    fcntl(pipeEnds[0], F_SETFL, O_NONBLOCK);
    char buffer[256];
    for (ssize_t n; (n = read(pipeEnds[0], buffer, sizeof buffer)) > 0;) result.output.append(buffer, n);
    close(pipeEnds[0]);
    if (!ended) return result;
    result.peakRssKb = usage.ru_maxrss;
    result.processorSeconds = static_cast<double>(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) +
                              static_cast<double>(usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) * 1e-6;
    result.ok = WIFEXITED(status) && WEXITSTATUS(status) == 0;
    return result;
}

struct Timing {
    double seconds = -1.0;  // best wall-clock time of the runs; negative when it could not run
    double processor = -1.0;  // best processor time
    long peakRssKb = 0;
};

Timing TimeMpg123(const std::string& input, const std::string& wav, int runs) {
    Timing timing;
    for (int run = 0; run < runs; ++run) {
        const ChildResult child = Run({"mpg123", "-q", "-w", wav, input});
        fs::remove(wav);
        if (!child.ok) return Timing{};
        if (timing.seconds < 0.0 || child.wallSeconds < timing.seconds) timing.seconds = child.wallSeconds;
        if (timing.processor < 0.0 || child.processorSeconds < timing.processor)
            timing.processor = child.processorSeconds;
        timing.peakRssKb = std::max(timing.peakRssKb, child.peakRssKb);
    }
    return timing;
}

Timing TimeEngine(const std::vector<std::string>& host, int runs, int engine, int quality, const std::string& input,
                  const std::string& folder) {
    std::vector<std::string> args = host;
    for (const std::string& arg : {std::to_string(runs), std::to_string(engine), std::to_string(quality),
                                   std::string("0"), std::string("0"), input, folder})
        args.push_back(arg);
    const ChildResult child = Run(args);
    Timing timing;
    if (child.ok) std::sscanf(child.output.c_str(), "%lf %lf", &timing.seconds, &timing.processor);
    timing.peakRssKb = child.peakRssKb;
    return timing;
}

// A Linux path as a Windows program under Wine sees it (drive Z: is /).
std::string WinePath(const std::string& path) {
    std::string windows = "Z:" + path;
    for (char& c : windows)
        if (c == '/') c = '\\';
    return windows;
}

bool MakeLayer3(const std::string& mp3, const std::string& scratch, int seconds) {
    const std::string wav = scratch + "/signal.wav";
    const std::string synth = "sox -n -r 44100 -c 2 -b 16 '" + wav + "' synth " + std::to_string(seconds) +
                              " sine 110-12000 pinknoise tremolo 7 60 vol 0.5 2>/dev/null";
    const std::string encode = "lame --quiet -b 128 -m j '" + wav + "' '" + mp3 + "' 2>/dev/null";
    const bool ok = std::system(synth.c_str()) == 0 && std::system(encode.c_str()) == 0;
    fs::remove(wav);
    return ok;
}

// A constant-bitrate conformance vector repeated until it lasts `seconds`.
bool LoopVector(const std::string& vector, const std::string& out, int bitsPerSecond, int seconds) {
    std::ifstream in(vector, std::ios::binary);
    const std::string bytes{std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
    if (bytes.empty()) return false;
    const double vectorSeconds = 8.0 * static_cast<double>(bytes.size()) / bitsPerSecond;
    std::ofstream stream(out, std::ios::binary);
    for (double length = 0.0; length < seconds; length += vectorSeconds) stream << bytes;
    return true;
}

}  // namespace

int main(int argc, char** argv) {
    std::setvbuf(stdout, nullptr, _IOLBF, 0);  // each row as it is measured, also into a file
    int seconds = 120;
    int runs = 5;
    std::vector<std::string> wineHosts;
    const std::string self = fs::canonical("/proc/self/exe").parent_path().string();
    std::vector<std::string> host = {self + "/bench_engine_host"};
    for (int i = 1; i + 1 < argc; i += 2) {
        const std::string option = argv[i];
        if (option == "--seconds") seconds = std::atoi(argv[i + 1]);
        else if (option == "--runs") runs = std::atoi(argv[i + 1]);
        else if (option == "--wine") wineHosts.push_back(argv[i + 1]);
        else if (option == "--host") host = {argv[i + 1]};  // another build's host
    }
    const std::string scratch = (fs::temp_directory_path() / ("vexa-bench-" + std::to_string(getpid()))).string();
    fs::create_directories(scratch);

    struct Stream {
        const char* layer;
        std::string path;
    };
    std::vector<Stream> streams = {{"III", scratch + "/layer3.mp3"}};
    if (!MakeLayer3(streams[0].path, scratch, seconds)) {
        std::fprintf(stderr, "sox and lame are needed to make the Layer III stream\n");
        return 1;
    }
    // 44.1 kHz stereo vectors: Layer I at 384 kbit/s, Layer II at 192 kbit/s.
    const std::string vectors = std::string(VEXA_SHARED_DIR) + "/vectors/iso/";
    if (LoopVector(vectors + "l1-fl6.bit", scratch + "/layer1.mp1", 384000, seconds))
        streams.push_back({"I", scratch + "/layer1.mp1"});
    if (LoopVector(vectors + "l2-fl11.bit", scratch + "/layer2.mp2", 192000, seconds))
        streams.push_back({"II", scratch + "/layer2.mp2"});

    std::printf("%d s streams, best of %d runs, record-only to WAV. Ratio = mpg123's time / the engine's time\n"
                "(above 1: the engine is faster), by wall clock and by processor time of all threads.\n",
                seconds, runs);
    std::printf("%-5s %-6s %-7s %9s %9s %7s %9s %9s %7s\n", "layer", "engine", "quality", "wall s", "mpg123 s",
                "ratio", "cpu s", "mpg123 s", "ratio");
    Timing layer3Engine0;
    for (const Stream& stream : streams) {
        const Timing reference = TimeMpg123(stream.path, scratch + "/mpg123.wav", runs);
        Timing qualityZero;
        for (int engine = 0; engine < 4; ++engine) {
            const int qualities = engine == 0 && std::string(stream.layer) == "III" ? 3 : 1;
            for (int quality = 0; quality < qualities; ++quality) {
                const Timing ours = TimeEngine(host, runs, engine, quality, stream.path, scratch);
                if (engine == 0 && quality == 0) qualityZero = ours;
                std::printf("%-5s %-6d %-7d %9.4f %9.4f %7.2f %9.4f %9.4f %7.2f", stream.layer, engine, quality,
                            ours.seconds, reference.seconds, reference.seconds / ours.seconds, ours.processor,
                            reference.processor, reference.processor / ours.processor);
                if (quality > 0)
                    std::printf("  %.2fx (cpu %.2fx) faster than quality 0", qualityZero.seconds / ours.seconds,
                                qualityZero.processor / ours.processor);
                if (engine == 0 && quality == 0)
                    std::printf("  peak RSS %ld KB, mpg123 %ld KB", ours.peakRssKb, reference.peakRssKb);
                std::printf("\n");
            }
        }
        if (std::string(stream.layer) == "III") layer3Engine0 = qualityZero;
    }
    // Wine's own messages stay off the table; WINEPREFIX is the caller's.
    if (!wineHosts.empty()) setenv("WINEDEBUG", "-all", 0);
    for (const std::string& wineHost : wineHosts) {
        // A first start boots the prefix, whose helper processes keep the
        // processors busy for seconds; a kept server and an untimed run first
        // leave only the host running while it is timed.
        Run({"wineserver", "-p", "120"});
        TimeEngine({"wine", wineHost}, 1, 0, 0, WinePath(streams[0].path), WinePath(scratch));
        const Timing wine = TimeEngine({"wine", wineHost}, runs, 0, 0, WinePath(streams[0].path), WinePath(scratch));
        std::printf("%s under Wine, Layer III engine 0: wall %.4f s (%.2fx the Linux library's), cpu %.4f s (%.2fx)\n",
                    wineHost.c_str(), wine.seconds, wine.seconds / layer3Engine0.seconds, wine.processor,
                    wine.processor / layer3Engine0.processor);
    }
    fs::remove_all(scratch);
    return 0;
}
