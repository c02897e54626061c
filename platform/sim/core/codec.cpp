// The emulated inner audio codec behind "/dev/acodec": every request is
// journaled as { name = "ioctl", n = 2, args = { request, value } }; set
// requests are judged as the driver judges them (volumes, rate and width
// codes, sources, flags) and stored into registers, get requests read them
// back; a refused value fails with EINVAL.
#include <cerrno>
#include <cstring>
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

// The values the driver takes for a set request, by request number; false
// for a value it refuses (EINVAL).
bool accepted(unsigned nr, const ACODEC_GAIN_S& v) {
    auto in = [](int x, int lo, int hi) { return x >= lo && x <= hi; };
    switch (nr) {
    case 0x02: return in(v.gain, -78, 80);                          // input volume, dB
    case 0x03: return in(v.gain, -121, 6);                          // output volume, dB
    case 0x06: case 0x35: return in(v.gain, ACODEC_RATE_8K_FAMILY, ACODEC_RATE_32K_FAMILY);
    case 0x07: return in(v.gain, 0, 2);                             // differential output
    case 0x08: return in(v.gain, 0, 4);                             // input source
    case 0x0C: case 0x0D: return in(v.gain, 0, 31);                 // microphone gain
    case 0x0F: case 0x10: case 0x11: case 0x12: return in(v.mute, 0, 1);
    case 0x13: case 0x14: case 0x16: case 0x17: case 0x18: case 0x19: return in(v.gain, 0, 1);
    case 0x31: case 0x32: return in(v.gain, 0, 1);                  // I2S interface
    case 0x33: case 0x34: return in(v.gain, ACODEC_WIDTH_8BIT, ACODEC_WIDTH_24BIT);
    default: return true;
    }
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

int request(unsigned long req, void* arg) {
    if (!known_request(req)) {
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
        if (!accepted(nr, r)) {
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
    } else {
        // A real descriptor keeps numbers unique and close() ordinary.
        fd = open("/dev/null", O_RDWR | (flags & O_CLOEXEC));
        if (fd >= 0) {
            std::lock_guard<std::mutex> g(sim::codec_lock());
            sim::codec().fds.insert(fd);
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
    } else {
        r = sim::request(req, arg);
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
