// vexaplay's effects: the command-line options that choose them, the keys
// that switch them while playing, and their names on the status line.
#pragma once

#include <string>

namespace vexaplay {

struct EffectChoice {
    int reverb = 0;          // 0 off, 1..3 a room type, 4 the default room
    int reverbLevel = 8;     // about 13 dB below the dry signal
    bool chorus = false;
    int chorusLevel = 12;    // about 13 dB below the dry signal
    bool wide = false;
    int wideAmount = 12;     // 12/32 of the side signal added
    int preset = -1;         // -1 off, else 0..10
};

enum class OptionResult { NotAnEffectOption, Taken, Invalid };

// Reads argv[i] (and its value, advancing i) when it is an effect option;
// error says what is wrong when the result is Invalid.
OptionResult ParseEffectOption(int argc, char** argv, int& i, EffectChoice& choice, std::string& error);
// r, c, w and p change the choice and hand it to the engine; false for
// any other key.
bool HandleEffectKey(char key, EffectChoice& choice);
void ApplyEffects(const EffectChoice& choice);
// "reverb 2, chorus, wide, pitch +7 semitones"; empty when all are off.
std::string DescribeEffects(const EffectChoice& choice);

extern const char* const kEffectOptionsHelp;
extern const char* const kEffectKeysHelp;

}  // namespace vexaplay
