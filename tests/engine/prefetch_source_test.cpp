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

std::vector<uint8_t> CountingBytes(size_t size) {
    std::vector<uint8_t> bytes(size);
    for (size_t i = 0; i < size; ++i) bytes[i] = static_cast<uint8_t>((i * 7 + i / 251) & 0xFF);
    return bytes;
}

// A file source with its prefetch machinery, as Play sets it up.
class PrefetchedFile : public ::testing::Test {
protected:
    void TearDown() override { Close(); }

    int32_t Open(const std::vector<uint8_t>& bytes) {
        WriteWholeFile(scratch.File("input.bin"), bytes);
        engine.isHttp = 0;
        if (StartPrefetch(engine) != 1) return 0;
        return OpenFileSource(engine, scratch.File("input.bin").c_str(), tag);
    }
    void Close() {
        StopPrefetch(engine);
        CloseFileSource(engine);
    }

    ScratchDir scratch;
    EngineRecord& engine = g_engine;
    Id3v1Tag tag{};
};

TEST_F(PrefetchedFile, Id3v1TrailerInAnyLetterCase) {
    const std::pair<const char*, bool> markers[] = {{"TAG", true}, {"tag", true}, {"tAg", true}, {"TAX", false}};
    for (const auto& [marker, isTag] : markers) {
        SCOPED_TRACE(marker);
        std::vector<uint8_t> bytes = CountingBytes(5000);
        Append(bytes, Id3v1Trailer(marker, "Song", 5, 17));
        ASSERT_EQ(Open(bytes), 1);
        EXPECT_EQ(engine.hasId3v1, isTag ? 1 : 0);
        EXPECT_EQ(engine.dataSize, isTag ? 5000u : 5128u);
        if (isTag) {
            EXPECT_STREQ(tag.title, "Song");
            EXPECT_EQ(tag.track, 5);
            EXPECT_EQ(tag.genre, 17);
        }
        // The file is read from its start whatever the tag look-up did.
        uint8_t first[4];
        ASSERT_EQ(SourceRead(engine, first, 4, false), 4);
        EXPECT_EQ(0, std::memcmp(first, bytes.data(), 4));
        Close();
    }
}

TEST_F(PrefetchedFile, ShortFilesAndTagOnlyFiles) {
    ASSERT_EQ(Open(CountingBytes(100)), 1);
    EXPECT_EQ(engine.hasId3v1, 0);
    EXPECT_EQ(engine.dataSize, 100u);
    Close();
    ASSERT_EQ(Open(Id3v1Trailer("TAG")), 1);
    EXPECT_EQ(engine.hasId3v1, 1);
    EXPECT_EQ(engine.dataSize, 0u);
    Close();
    ASSERT_EQ(Open({}), 1);
    EXPECT_EQ(engine.dataSize, 0u);
    uint8_t byte;
    EXPECT_EQ(SourceRead(engine, &byte, 1, false), 0);
}

TEST_F(PrefetchedFile, TitleOf30CharactersAndVersion10Comment) {
    std::vector<uint8_t> trailer = Id3v1Trailer("TAG", std::string(30, 'x'));
    for (int i = 97; i < 127; ++i) trailer[static_cast<size_t>(i)] = 'c';  // comment runs to byte 126
    ASSERT_EQ(Open(trailer), 1);
    EXPECT_EQ(std::string(tag.title), std::string(30, 'x'));
    EXPECT_EQ(std::string(tag.comment), std::string(30, 'c'));
    EXPECT_EQ(tag.track, -1);
}

TEST_F(PrefetchedFile, ReadsInAnySizesReassembleTheFile) {
    const std::vector<uint8_t> bytes = CountingBytes(100000);
    ASSERT_EQ(Open(bytes), 1);
    std::vector<uint8_t> seen;
    const int32_t sizes[] = {4, 1, 417, 2881, 8196, 13, 1044};
    uint8_t chunk[kPrefetchBytes];
    for (size_t i = 0; seen.size() < bytes.size(); ++i) {
        const int32_t want = std::min<int32_t>(sizes[i % 7], static_cast<int32_t>(bytes.size() - seen.size()));
        ASSERT_EQ(SourceRead(engine, chunk, want, false), want) << "at " << seen.size();
        seen.insert(seen.end(), chunk, chunk + want);
    }
    EXPECT_EQ(seen, bytes);
    EXPECT_EQ(SourceRead(engine, chunk, 1, false), 0) << "past the end";
    EXPECT_EQ(SourceRead(engine, chunk, 1, true), 0);
}

TEST_F(PrefetchedFile, PeekThenReadGivesTheSameBytes) {
    const std::vector<uint8_t> bytes = CountingBytes(20000);
    ASSERT_EQ(Open(bytes), 1);
    uint8_t skip[999];
    ASSERT_EQ(SourceRead(engine, skip, sizeof skip, false), 999);
    uint8_t peeked[3000];
    uint8_t read[3000];
    ASSERT_EQ(SourceRead(engine, peeked, 3000, true), 3000);
    ASSERT_EQ(SourceRead(engine, read, 3000, false), 3000);
    EXPECT_EQ(0, std::memcmp(peeked, read, 3000));
    EXPECT_EQ(0, std::memcmp(read, bytes.data() + 999, 3000));
}

TEST_F(PrefetchedFile, TheEndReturnsZeroButKeepsWhatIsThere) {
    ASSERT_EQ(Open(CountingBytes(1000)), 1);
    uint8_t buffer[2000];
    EXPECT_EQ(SourceRead(engine, buffer, 1001, true), 0) << "more than the file holds";
    EXPECT_EQ(SourceRead(engine, buffer, 1000, false), 1000) << "a failed request consumes nothing";
    EXPECT_EQ(SourceRead(engine, buffer, 1, false), 0);
}

TEST_F(PrefetchedFile, RepositionAndClearStartOverAtAByte) {
    const std::vector<uint8_t> bytes = CountingBytes(50000);
    ASSERT_EQ(Open(bytes), 1);
    uint8_t buffer[100];
    ASSERT_EQ(SourceRead(engine, buffer, 100, false), 100);
    SourceLockEnter();
    ASSERT_EQ(SourceReposition(engine, 40000), 1);
    ClearPrefetch();
    SourceLockLeave();
    ASSERT_EQ(SourceRead(engine, buffer, 100, false), 100);
    EXPECT_EQ(0, std::memcmp(buffer, bytes.data() + 40000, 100));
}

// The reader blocks in a read of a pipe that nobody writes to. Stopping must
// give up after its one-second wait and leave the reader to end by itself.
TEST(PrefetchStop, ReaderBlockedInAReadIsLeftBehindWithinTheBound) {
    ScratchDir scratch;
    const std::string fifo = scratch.File("pipe");
    ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
    const int writer = ::open(fifo.c_str(), O_RDWR);  // keeps the pipe open without blocking
    ASSERT_GE(writer, 0);
    EngineRecord& engine = g_engine;
    engine.isHttp = 0;
    ASSERT_EQ(StartPrefetch(engine), 1);
    Id3v1Tag tag{};
    ASSERT_EQ(OpenFileSource(engine, fifo.c_str(), tag), 1);
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
    CloseFileSource(engine);
}

}  // namespace
