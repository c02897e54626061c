// The error codes the vendor headers define, so that the simulator answers
// only those, and names them in the reasons of refused calls.
#include <algorithm>
#include <cstdint>
#include <cstdio>

#include "sim/sim.h"

namespace sim {
namespace {

struct Code {
    std::uint32_t code;
    const char* symbol;
    const char* module;
    const char* words;
};

const Code kCodes[] = {
#include "hi_error_names.inc"
};

const Code* lookup(HI_S32 code) {
    const std::uint32_t c = (std::uint32_t)code;
    const Code* end = kCodes + sizeof kCodes / sizeof kCodes[0];
    const Code* it = std::lower_bound(kCodes, end, c, [](const Code& a, std::uint32_t b) { return a.code < b; });
    return it != end && it->code == c ? it : nullptr;
}

// The HDMI library numbers its reasons its own way.
constexpr int kHdmiNoSupport = 10;

}  // namespace

bool defined_code(HI_S32 code) { return lookup(code) != nullptr; }

const char* code_name(HI_S32 code) {
    const Code* c = lookup(code);
    return c ? c->symbol : nullptr;
}

const char* code_words(HI_S32 code) {
    const Code* c = lookup(code);
    return c ? c->words : nullptr;
}

std::string code_reason(HI_S32 code) {
    const Code* c = lookup(code);
    char buf[96];
    if (c) std::snprintf(buf, sizeof buf, "%s: %s", c->symbol, c->words);
    else std::snprintf(buf, sizeof buf, "0x%08X: a code the platform does not define", (unsigned)code);
    return buf;
}

HI_S32 code_of(int mod, int reason, std::initializer_list<int> fallbacks) {
    if (defined_code(err(mod, reason))) return err(mod, reason);
    for (int r : fallbacks)
        if (defined_code(err(mod, r))) return err(mod, r);
    return err(mod, ILLEGAL_PARAM);
}

HI_S32 unsupported(int mod, const char* call) {
    const HI_S32 code = mod == HI_ID_HDMI ? err(mod, kHdmiNoSupport) : code_of(mod, NOT_SUPPORT, {NOT_PERM});
    return refuse(code, "%s is not simulated", call);
}

}  // namespace sim
