#include "decoder/bit_reader.h"

namespace vexa {

BitReader g_bitReader = {nullptr, 0};

}  // namespace vexa
