// The prefetching input: ID3v1 detection, reads and peeks through the
// read-ahead buffer, the end of the data, and stopping a reader that is stuck
// in a read.
#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <cstring>

#include "engine/engine_record.h"
#include "engine/prefetch_source.h"
#include "support/frame_builder.h"
#include "support/test_support.h"

using namespace vexa;
using namespace vexatest;

namespace {

// A file source with its prefetch machinery, as Play sets it up.
class PrefetchedFile : public ::testing::Test {
protected:
    void TearDown() override { Close(); }

    int32_t Open(const std::vector<uint8_t>& bytes) { return OpenPath(scratch.Write("input.bin", bytes)); }
    int32_t OpenPath(const std::string& path) {
        engine.isHttp = 0;
        if (StartPrefetch(engine) != 1) return 0;
        return OpenFileSource(engine, path.c_str(), tag);
    }
    void Close() {
        StopPrefetch(engine);
        CloseFileSource(engine);
    }

    ScratchDir scratch;
    EngineRecord& engine = g_engine;
    Id3v1Tag tag{};
};

// The tag is found in any letter case, cut from the data, and the file is
// still read from its start; files too short to hold one have none. (Its
// fields are read in tests/stream, and reach GetFileInfo in engine_api_test.)
TEST_F(PrefetchedFile, Id3v1TrailerDetection) {
    const struct {
        const char* name;
        std::vector<uint8_t> trailer;
        size_t dataBefore;
        bool isTag;
    } cases[] = {
        {"TAG", Id3v1Trailer("TAG"), 5000, true},
        {"tag", Id3v1Trailer("tag"), 5000, true},
        {"tAg", Id3v1Trailer("tAg"), 5000, true},
        {"TAX", Id3v1Trailer("TAX"), 5000, false},
        {"tag only", Id3v1Trailer("TAG"), 0, true},
        {"short", {}, 100, false},
        {"empty", {}, 0, false},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        std::vector<uint8_t> bytes = CountingBytes(c.dataBefore);
        Append(bytes, c.trailer);
        ASSERT_EQ(Open(bytes), 1);
        EXPECT_EQ(engine.hasId3v1, c.isTag ? 1 : 0);
        EXPECT_EQ(engine.dataSize, c.isTag ? c.dataBefore : bytes.size());
        uint8_t first[4];
        if (bytes.empty()) {
            EXPECT_EQ(SourceRead(engine, first, 1, false), 0);
        } else {
            ASSERT_EQ(SourceRead(engine, first, 4, false), 4);
            EXPECT_EQ(0, std::memcmp(first, bytes.data(), 4));
        }
        Close();
    }
}

// Reads of any size reassemble the file; a peek gives what the next read
// does; a request past the end gives 0, consumes nothing, and once the end
// is known, comes back at once; a reposition and clear starts over at any byte.
TEST_F(PrefetchedFile, ReadsPeeksTheEndAndRepositioning) {
    const std::vector<uint8_t> bytes = CountingBytes(100000);
    ASSERT_EQ(Open(bytes), 1);
    std::vector<uint8_t> seen;
    const int32_t sizes[] = {4, 1, 417, 2881, 8196, 13, 1044};
    uint8_t chunk[kPrefetchBytes];
    uint8_t peeked[kPrefetchBytes];
    for (size_t i = 0; seen.size() < bytes.size(); ++i) {
        const int32_t want = std::min<int32_t>(sizes[i % 7], static_cast<int32_t>(bytes.size() - seen.size()));
        if (seen.size() + static_cast<size_t>(want) == bytes.size()) {  // the last read: ask for one more first
            EXPECT_EQ(SourceRead(engine, chunk, want + 1, true), 0) << "more than the file holds";
            EXPECT_EQ(SourceRead(engine, chunk, want + 1, false), 0) << "and that consumes nothing";
        }
        ASSERT_EQ(SourceRead(engine, peeked, want, true), want) << "at " << seen.size();
        ASSERT_EQ(SourceRead(engine, chunk, want, false), want) << "at " << seen.size();
        ASSERT_EQ(0, std::memcmp(peeked, chunk, static_cast<size_t>(want)));
        seen.insert(seen.end(), chunk, chunk + want);
    }
    EXPECT_EQ(seen, bytes);
    EXPECT_EQ(SourceRead(engine, chunk, 1, false), 0) << "past the end";
    SourceLockEnter();  // holds the reader up, as a seek does: the known end must answer without it
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(SourceRead(engine, chunk, 1, true), 0);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(45)) << "waited out a poll";
    ASSERT_EQ(SourceReposition(engine, 40000), 1);
    ClearPrefetch();
    SourceLockLeave();
    ASSERT_EQ(SourceRead(engine, chunk, 100, false), 100);
    EXPECT_EQ(0, std::memcmp(chunk, bytes.data() + 40000, 100));
}

// The reader blocks in a read of a pipe that nobody writes to. Stopping must
// give up after its one-second wait and leave the reader to end by itself.
TEST_F(PrefetchedFile, AReaderBlockedInAReadIsLeftBehindWithinTheBound) {
    const std::string fifo = scratch.File("pipe");
    ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
    const int writer = ::open(fifo.c_str(), O_RDWR);  // keeps the pipe open without blocking
    ASSERT_GE(writer, 0);
    ASSERT_EQ(OpenPath(fifo), 1);
    EXPECT_EQ(engine.hasId3v1, 0);
    platform::EventSignal(g_prefetch->wake);  // the reader now waits in its read
    platform::SleepMs(100);

    const auto start = std::chrono::steady_clock::now();
    StopPrefetch(engine);
    const auto waited = std::chrono::steady_clock::now() - start;
    EXPECT_GE(waited, std::chrono::milliseconds(900));
    EXPECT_LT(waited, std::chrono::milliseconds(1500));

    // Let the abandoned read finish: the reader frees its machinery itself.
    ASSERT_EQ(::write(writer, "abc", 3), 3);
    ::close(writer);
    platform::SleepMs(200);
}

}  // namespace
