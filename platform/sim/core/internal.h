// Shared between the simulator's core files; not for module files.
#pragma once

#include "sim/decode.h"

namespace sim {

const Field* find_field(const Type& type, const char* name);
long long read_integer(const Field& field, const void* at);
const char* union_choice(const Type& owner, const void* data);  // member name or null

void clear_faults();
void codec_reset();
// The codec register a set request (by its number) last wrote; false when
// none has since the last reset.
bool codec_register(unsigned nr, int* gain, int* mute);

}  // namespace sim
