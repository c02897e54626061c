// The emulated inner audio codec behind "/dev/acodec": every request is
// journaled as { name = "ioctl", n = 2, args = { request, value } }; set
// requests are judged as the driver judges them (volumes, rate and width
// codes, sources, flags) and stored into registers, get requests read them
// back; a refused value fails with EINVAL, and the journal says why.
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string>
#include <fcntl.h>
#include <mutex>
#include <set>
#include <sys/ioctl.h>
#include <unistd.h>

#include "acodec.h"
#include "core/internal.h"
#include "sim/sim.h"
#include "tessel_dev.h"

namespace sim {
namespace {

struct Codec {
    std::set<int> fds;                        // descriptors open on the codec
    std::map<unsigned, ACODEC_GAIN_S> regs;   // by request number (set side)
};

Codec& codec() {
    static Codec c;
    return c;
}

std::mutex& codec_lock() {
    static std::mutex m;
    return m;
}

// Get requests answer from the register their set request writes.
unsigned register_of(unsigned nr) {
    switch (nr) {
    case 0x04: return 0x02;  // input volume
    case 0x05: return 0x03;  // output volume
    case 0x1C: return 0x0C;  // microphone gain, left
    case 0x1D: return 0x0D;  //                 right
    case 0x1E: return 0x0F;  // DAC gain, left
    case 0x1F: return 0x10;  //           right
    case 0x20: return 0x11;  // ADC gain, left
    case 0x21: return 0x12;  //           right
    default: return 0;
    }
}

bool is_get(unsigned nr) { return register_of(nr) != 0; }

// The values the driver takes for a set request, by request number: one
// field of the request in a range. Requests not listed take any value.
struct Rule {
    unsigned nr;
    const char* what;
    bool mute;  // the rule is on the mute field of a gain record, else on its value
    int lo, hi;
};

const Rule kRules[] = {
    {0x02, "input volume (dB)", false, -78, 80},
    {0x03, "output volume (dB)", false, -121, 6},
    {0x06, "I2S1 sample rate code", false, ACODEC_RATE_8K_FAMILY, ACODEC_RATE_32K_FAMILY},
    {0x35, "I2S2 sample rate code", false, ACODEC_RATE_8K_FAMILY, ACODEC_RATE_32K_FAMILY},
    {0x07, "differential output mode", false, 0, 2},
    {0x08, "input source", false, 0, 4},
    {0x0C, "left microphone gain", false, 0, 31},
    {0x0D, "right microphone gain", false, 0, 31},
    {0x0F, "left DAC mute", true, 0, 1},
    {0x10, "right DAC mute", true, 0, 1},
    {0x11, "left ADC mute", true, 0, 1},
    {0x12, "right ADC mute", true, 0, 1},
    {0x13, "left microphone mute", false, 0, 1},
    {0x14, "right microphone mute", false, 0, 1},
    {0x16, "left DAC mute", false, 0, 1},
    {0x17, "right DAC mute", false, 0, 1},
    {0x18, "soft mute", false, 0, 1},
    {0x19, "soft unmute", false, 0, 1},
    {0x31, "DAC I2S interface", false, 0, 1},
    {0x32, "ADC I2S interface", false, 0, 1},
    {0x33, "I2S1 data width code", false, ACODEC_WIDTH_8BIT, ACODEC_WIDTH_24BIT},
    {0x34, "I2S2 data width code", false, ACODEC_WIDTH_8BIT, ACODEC_WIDTH_24BIT},
};

// Whether the driver takes v for the set request nr; when it does not (the
// driver answers EINVAL), why says so.
bool accepted(unsigned nr, const ACODEC_GAIN_S& v, std::string* why) {
    for (const Rule& r : kRules) {
        if (r.nr != nr) continue;
        const int x = r.mute ? v.mute : v.gain;
        if (x >= r.lo && x <= r.hi) return true;
        char buf[96];
        std::snprintf(buf, sizeof buf, "%s %d outside [%d, %d]", r.what, x, r.lo, r.hi);
        *why = buf;
        return false;
    }
    return true;
}

bool known_request(unsigned long req) {
    static const unsigned long kRequests[] = {
        ACODEC_RESET, ACODEC_SET_INPUT_VOLUME, ACODEC_SET_OUTPUT_VOLUME, ACODEC_GET_INPUT_VOLUME,
        ACODEC_GET_OUTPUT_VOLUME, ACODEC_SET_I2S1_SAMPLE_RATE, ACODEC_SET_OUTPUT_DIFF_MODE,
        ACODEC_SELECT_SOURCE, ACODEC_SET_MIC_GAIN_LEFT, ACODEC_SET_MIC_GAIN_RIGHT,
        ACODEC_SET_DAC_GAIN_LEFT, ACODEC_SET_DAC_GAIN_RIGHT, ACODEC_SET_ADC_GAIN_LEFT,
        ACODEC_SET_ADC_GAIN_RIGHT, ACODEC_SET_MIC_MUTE_LEFT, ACODEC_SET_MIC_MUTE_RIGHT,
        ACODEC_SET_DAC_MUTE_LEFT, ACODEC_SET_DAC_MUTE_RIGHT, ACODEC_DAC_SOFT_MUTE,
        ACODEC_DAC_SOFT_UNMUTE, ACODEC_GET_MIC_GAIN_LEFT, ACODEC_GET_MIC_GAIN_RIGHT,
        ACODEC_GET_DAC_GAIN_LEFT, ACODEC_GET_DAC_GAIN_RIGHT, ACODEC_GET_ADC_GAIN_LEFT,
        ACODEC_GET_ADC_GAIN_RIGHT, ACODEC_SELECT_DAC_I2S, ACODEC_SELECT_ADC_I2S,
        ACODEC_SET_I2S1_DATA_WIDTH, ACODEC_SET_I2S2_DATA_WIDTH, ACODEC_SET_I2S2_SAMPLE_RATE,
    };
    for (unsigned long r : kRequests)
        if (r == req) return true;
    return false;
}

Value argument(unsigned long req, const void* arg) {
    if (!arg || _IOC_SIZE(req) == 0) return Value();
    if (_IOC_SIZE(req) == sizeof(ACODEC_GAIN_S)) {
        const ACODEC_GAIN_S* g = static_cast<const ACODEC_GAIN_S*>(arg);
        Value v;
        v.kind = Value::Seq;
        v.items = {Value::integer(g->gain), Value::integer(g->mute)};
        return v;
    }
    return Value::integer(*static_cast<const int*>(arg));
}

// Carries out a request; -1 with errno, and why, when the driver refuses it.
int request(unsigned long req, void* arg, std::string* why) {
    if (!known_request(req)) {
        char buf[64];
        std::snprintf(buf, sizeof buf, "request 0x%lX is none the codec knows (ENOTTY)", req);
        *why = buf;
        errno = ENOTTY;
        return -1;
    }
    const unsigned nr = _IOC_NR(req);
    std::lock_guard<std::mutex> g(codec_lock());
    if (nr == 0x00) {
        codec().regs.clear();
        return 0;
    }
    if (!arg) {
        *why = "no value given (null pointer, EFAULT)";
        errno = EFAULT;
        return -1;
    }
    const bool record = _IOC_SIZE(req) == sizeof(ACODEC_GAIN_S);
    if (is_get(nr)) {
        ACODEC_GAIN_S r = codec().regs[register_of(nr)];
        if (record)
            *static_cast<ACODEC_GAIN_S*>(arg) = r;
        else
            *static_cast<int*>(arg) = r.gain;
    } else {
        ACODEC_GAIN_S r{};
        if (record)
            r = *static_cast<const ACODEC_GAIN_S*>(arg);
        else
            r.gain = *static_cast<const int*>(arg);
        if (!accepted(nr, r, why)) {
            *why += " (EINVAL)";
            errno = EINVAL;
            return -1;
        }
        codec().regs[nr] = r;
        // soft muting and unmuting undo each other: the latest one stands
        if (nr == 0x18) codec().regs.erase(0x19);
        if (nr == 0x19) codec().regs.erase(0x18);
    }
    return 0;
}

bool is_codec(int fd) {
    std::lock_guard<std::mutex> g(codec_lock());
    return codec().fds.count(fd) != 0;
}

}  // namespace

bool codec_register(unsigned nr, int* gain, int* mute) {
    std::lock_guard<std::mutex> g(codec_lock());
    auto it = codec().regs.find(nr);
    if (it == codec().regs.end()) return false;
    if (gain) *gain = it->second.gain;
    if (mute) *mute = it->second.mute;
    return true;
}

void codec_reset() {
    std::lock_guard<std::mutex> g(codec_lock());
    codec().regs.clear();
}

}  // namespace sim

// Opening the codec is journaled as { name = "open", n = 2, args = { path,
// flags } } and can be made to fail with sim.fail("open", ...).
extern "C" int tessel_dev_open(const char* path, int flags) {
    if (!path || std::strcmp(path, ACODEC_DEVICE_PATH) != 0) return open(path, flags);
    sim::Entry e;
    e.name = "open";
    e.args = {sim::Value::string(path), sim::Value::integer(flags)};
    HI_S32 code;
    int fd;
    if (sim::take_fault("open", &code)) {
        errno = ENODEV;
        fd = -1;
        e.reason = sim::kInjectedReason;
        e.injected = true;
    } else {
        // A real descriptor keeps numbers unique and close() ordinary.
        fd = open("/dev/null", O_RDWR | (flags & O_CLOEXEC));
        if (fd >= 0) {
            std::lock_guard<std::mutex> g(sim::codec_lock());
            sim::codec().fds.insert(fd);
        } else {
            e.reason = std::string("the host's /dev/null, which stands for the codec, did not open: ") +
                       std::strerror(errno);
        }
    }
    e.ret = sim::Value::integer(fd);
    sim::journal_add(std::move(e));
    return fd;
}

extern "C" int tessel_dev_ioctl(int fd, unsigned long req, void* arg) {
    if (!sim::is_codec(fd)) return ioctl(fd, req, arg);
    sim::Entry e;
    e.name = "ioctl";
    e.args.resize(2);
    e.args[0] = sim::Value::integer((long long)req);
    HI_S32 code;
    int r;
    if (sim::take_fault("ioctl", &code)) {
        r = code;
        e.reason = sim::kInjectedReason;
        e.injected = true;
    } else {
        r = sim::request(req, arg, &e.reason);
    }
    // a get request is journaled with what it wrote, a set with what it sent
    if (r == 0 || !sim::is_get(_IOC_NR(req)))
        e.args[1] = sim::argument(req, arg);
    e.ret = sim::Value::integer(r);
    sim::journal_add(std::move(e));
    return r;
}

extern "C" int tessel_dev_close(int fd) {
    {
        std::lock_guard<std::mutex> g(sim::codec_lock());
        sim::codec().fds.erase(fd);
    }
    return close(fd);
}
