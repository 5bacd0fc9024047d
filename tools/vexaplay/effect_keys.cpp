#include "effect_keys.h"

#include <cstring>

#include "parse_number.h"
#include "vexaengine.h"

namespace vexaplay {

namespace {

constexpr int kPresetCount = 11;
constexpr int kDefaultRoom = 4;

const char* const kPresetNames[kPresetCount] = {
    "flanger",           "inverted flanger",   "echo 12.5 ms",       "echo 25.5 ms",
    "pitch +2 semitones", "pitch +4 semitones", "pitch +7 semitones", "pitch -2 semitones",
    "pitch -4 semitones", "pitch -7 semitones", "phaser",
};

struct NumberOption {
    const char* name;
    int low, high;
    int EffectChoice::*field;
};

const NumberOption kNumberOptions[] = {
    {"--reverb", 0, 4, &EffectChoice::reverb},
    {"--reverb-level", 0, 64, &EffectChoice::reverbLevel},
    {"--chorus-level", 0, 64, &EffectChoice::chorusLevel},
    {"--wide-amount", 0, 64, &EffectChoice::wideAmount},
    {"--preset", -1, kPresetCount - 1, &EffectChoice::preset},
};

}  // namespace

const char* const kEffectOptionsHelp =
    "  --reverb N      reverb room: 0 off, 1, 2, 3, or 4 the default room (default 0)\n"
    "  --reverb-level N  reverb level 0-64 (default 8)\n"
    "  --chorus        chorus on; --chorus-level N: its level 0-64 (default 12)\n"
    "  --wide          stereo widening on; --wide-amount N: 1/32 steps 0-64 (default 12)\n"
    "  --preset N      preset effect: -1 off (default), 0 flanger, 1 inverted flanger,\n"
    "                  2 echo 12.5 ms, 3 echo 25.5 ms, 4-6 pitch +2/+4/+7 semitones,\n"
    "                  7-9 pitch -2/-4/-7 semitones, 10 phaser\n"
    "                  (8-bit output runs the effects too, at 8-bit precision)\n";

const char* const kEffectKeysHelp =
    "effect keys: r reverb off/1/2/3/default room, c chorus, w widening, p preset off/0..10\n";

OptionResult ParseEffectOption(int argc, char** argv, int& i, EffectChoice& choice, std::string& error) {
    const char* arg = argv[i];
    if (std::strcmp(arg, "--chorus") == 0) {
        choice.chorus = true;
        return OptionResult::Taken;
    }
    if (std::strcmp(arg, "--wide") == 0) {
        choice.wide = true;
        return OptionResult::Taken;
    }
    for (const NumberOption& option : kNumberOptions) {
        if (std::strcmp(arg, option.name) != 0) continue;
        if (i + 1 >= argc || !ParseNumber(argv[i + 1], option.low, option.high, &(choice.*option.field))) {
            error = std::string(option.name) + " takes " + std::to_string(option.low) + " to " +
                    std::to_string(option.high);
            return OptionResult::Invalid;
        }
        ++i;
        return OptionResult::Taken;
    }
    return OptionResult::NotAnEffectOption;
}

void ApplyEffects(const EffectChoice& choice) {
    const int roomType = choice.reverb == kDefaultRoom ? 0 : choice.reverb;
    VexaEngine_SetEffect(choice.reverb != 0 ? 1 : 0, roomType, choice.reverbLevel, choice.chorus ? 1 : 0,
                         choice.chorusLevel, choice.wide ? 1 : 0, choice.wideAmount, choice.preset >= 0 ? 1 : 0,
                         choice.preset >= 0 ? choice.preset : 0);
}

bool HandleEffectKey(char key, EffectChoice& choice) {
    switch (key) {
        case 'r': choice.reverb = (choice.reverb + 1) % (kDefaultRoom + 1); break;
        case 'c': choice.chorus = !choice.chorus; break;
        case 'w': choice.wide = !choice.wide; break;
        case 'p': choice.preset = choice.preset + 1 < kPresetCount ? choice.preset + 1 : -1; break;
        default: return false;
    }
    ApplyEffects(choice);
    return true;
}

std::string DescribeEffects(const EffectChoice& choice) {
    std::string text;
    const auto add = [&text](const std::string& name) { text += (text.empty() ? "" : ", ") + name; };
    if (choice.reverb == kDefaultRoom) add("reverb");
    if (choice.reverb > 0 && choice.reverb < kDefaultRoom) add("reverb " + std::to_string(choice.reverb));
    if (choice.chorus) add("chorus");
    if (choice.wide) add("wide");
    if (choice.preset >= 0 && choice.preset < kPresetCount) add(kPresetNames[choice.preset]);
    return text;
}

}  // namespace vexaplay
