// The misbehaving servers of tests/http/http_servers.py and what the engine
// must make of each, shared by the Linux tests and the Windows host.
#pragma once

#include <cstdint>

namespace vexahttp {

struct FaultCase {
    const char* name;
    // A path on the test server, or one of the two addresses below.
    const char* target;
    // The failure notification's code; 0: the stream plays to its end.
    int32_t failure;
    // What reaches the engine of stream.mp3: its first half when cut, else all.
    bool firstHalfOnly;
    // The answer states the file's whole length.
    bool statesLength;
};

constexpr const char* kClosedPort = "closed port";
constexpr const char* kUnresolvable = "http://vexa-test.invalid/stream.mp3";

constexpr FaultCase kFaultCases[] = {
    {"port closed", kClosedPort, -9553, false, false},
    {"name cannot be resolved", kUnresolvable, -9553, false, false},
    {"fewer than 1024 bytes, then the end", "/fault/short", -9554, false, false},
    {"404 page over 1024 bytes", "/fault/missing", -9550, false, false},
    {"redirect is followed", "/fault/redirect/stream.mp3", 0, false, true},
    {"cut mid-stream ends the stream", "/fault/cut/stream.mp3", 0, true, true},
    {"16-byte trickle plays", "/fault/trickle/stream.mp3", 0, false, false},
    {"static file with its length", "/stream.mp3", 0, false, true},
};

}  // namespace vexahttp
