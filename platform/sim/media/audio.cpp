// Sound along bindings, frames lent to callers, the simulator's own voice
// codecs (ADPCM, LPCM), and WAV files.
#include "media/audio.h"

#include <algorithm>
#include <cstring>
#include <map>

#include "media/media.h"

namespace sim {
namespace media {
namespace {

struct SoundReceiver {
    void (*receive)(Key, const SoundPtr&);
    bool (*wants)(Key);
};

std::map<int, SoundReceiver>& receivers() {
    static std::map<int, SoundReceiver> r;
    return r;
}

struct Supplier {
    SoundPtr (*take)(Key);
    bool (*ready)(Key);
};

std::map<int, Supplier>& suppliers() {
    static std::map<int, Supplier> s;
    return s;
}

// A lent frame: its planes, their physical addresses and the description.
struct Lent {
    SoundPtr sound;
    std::vector<std::int16_t> planes[2];
    std::uint32_t phys[2] = {0, 0};
    AUDIO_FRAME_S desc;
};

std::map<const void*, std::unique_ptr<Lent>>& lent() {
    static std::map<const void*, std::unique_ptr<Lent>> l;
    return l;
}

void forget(Lent& l) {
    for (std::uint32_t phys : l.phys)
        if (phys) unmap_memory(phys);
}

const bool g_reset = (on_reset([] {
                          for (auto& l : lent()) forget(*l.second);
                          lent().clear();
                      }),
                      true);

std::int16_t clamp16(double v) {
    return static_cast<std::int16_t>(std::max(-32768.0, std::min(32767.0, std::lround(v) * 1.0)));
}

// ---- ADPCM (the IMA algorithm) --------------------------------------------------------

const int kSteps[89] = {7,     8,     9,     10,    11,    12,    13,    14,    16,    17,    19,    21,    23,
                        25,    28,    31,    34,    37,    41,    45,    50,    55,    60,    66,    73,    80,
                        88,    97,    107,   118,   130,   143,   157,   173,   190,   209,   230,   253,   279,
                        307,   337,   371,   408,   449,   494,   544,   598,   658,   724,   796,   876,   963,
                        1060,  1166,  1282,  1411,  1552,  1707,  1878,  2066,  2272,  2499,  2749,  3024,  3327,
                        3660,  4026,  4428,  4871,  5358,  5894,  6484,  7132,  7845,  8630,  9493,  10442, 11487,
                        12635, 13899, 15289, 16818, 18500, 20350, 22385, 24623, 27086, 29794, 32767};
const int kIndexShift[16] = {-1, -1, -1, -1, 2, 4, 6, 8, -1, -1, -1, -1, 2, 4, 6, 8};

struct Adpcm {
    int predicted = 0, index = 0;

    int decodeNibble(int code) {
        const int step = kSteps[index];
        int diff = step >> 3;
        if (code & 4) diff += step;
        if (code & 2) diff += step >> 1;
        if (code & 1) diff += step >> 2;
        predicted += (code & 8) ? -diff : diff;
        predicted = std::max(-32768, std::min(32767, predicted));
        index = std::max(0, std::min(88, index + kIndexShift[code]));
        return predicted;
    }

    int encodeSample(int sample) {
        const int step = kSteps[index];
        int diff = sample - predicted, code = 0;
        if (diff < 0) {
            code = 8;
            diff = -diff;
        }
        if (diff >= step) { code |= 4; diff -= step; }
        if (diff >= step >> 1) { code |= 2; diff -= step >> 1; }
        if (diff >= step >> 2) code |= 1;
        decodeNibble(code);  // follow the decoder
        return code;
    }
};

// A frame: a 4-byte state (the predicted sample, the step index, 0), then
// two samples a byte. DVI4 keeps the state big-endian and the first sample
// in the high nibble (as RTP's DVI4); IMA little-endian, low nibble first.
class AdpcmEncoder : public VoiceEncoder {
public:
    explicit AdpcmEncoder(bool ima) : ima_(ima) {}
    bool encode(const std::int16_t* s, std::size_t n, std::vector<std::uint8_t>* out) override {
        const std::uint16_t p = static_cast<std::uint16_t>(state_.predicted);
        if (ima_) out->insert(out->end(), {std::uint8_t(p & 0xFF), std::uint8_t(p >> 8)});
        else out->insert(out->end(), {std::uint8_t(p >> 8), std::uint8_t(p & 0xFF)});
        out->insert(out->end(), {std::uint8_t(state_.index), 0});
        for (std::size_t i = 0; i < n; i += 2) {
            const int a = state_.encodeSample(s[i]);
            const int b = i + 1 < n ? state_.encodeSample(s[i + 1]) : 0;
            out->push_back(static_cast<std::uint8_t>(ima_ ? (b << 4 | a) : (a << 4 | b)));
        }
        return true;
    }

private:
    bool ima_;
    Adpcm state_;
};

class AdpcmDecoder : public VoiceDecoder {
public:
    explicit AdpcmDecoder(bool ima) : ima_(ima) {}
    bool decode(const std::uint8_t* b, std::size_t n, std::vector<std::int16_t>* out) override {
        if (n < 4) return false;
        Adpcm s;
        s.predicted = static_cast<std::int16_t>(ima_ ? (b[0] | b[1] << 8) : (b[0] << 8 | b[1]));
        s.index = std::min<int>(88, b[2]);
        for (std::size_t i = 4; i < n; ++i) {
            const int first = ima_ ? b[i] & 0xF : b[i] >> 4, second = ima_ ? b[i] >> 4 : b[i] & 0xF;
            out->push_back(static_cast<std::int16_t>(s.decodeNibble(first)));
            out->push_back(static_cast<std::int16_t>(s.decodeNibble(second)));
        }
        return true;
    }

private:
    bool ima_;
};

class LpcmEncoder : public VoiceEncoder {
public:
    bool encode(const std::int16_t* s, std::size_t n, std::vector<std::uint8_t>* out) override {
        for (std::size_t i = 0; i < n; ++i) {
            const std::uint16_t v = static_cast<std::uint16_t>(s[i]);
            out->insert(out->end(), {std::uint8_t(v & 0xFF), std::uint8_t(v >> 8)});
        }
        return true;
    }
};

class LpcmDecoder : public VoiceDecoder {
public:
    bool decode(const std::uint8_t* b, std::size_t n, std::vector<std::int16_t>* out) override {
        for (std::size_t i = 0; i + 1 < n; i += 2) out->push_back(static_cast<std::int16_t>(b[i] | b[i + 1] << 8));
        return true;
    }
};

void put32(FILE* f, std::uint32_t v) {
    const unsigned char b[4] = {std::uint8_t(v), std::uint8_t(v >> 8), std::uint8_t(v >> 16), std::uint8_t(v >> 24)};
    std::fwrite(b, 1, 4, f);
}

void put16(FILE* f, std::uint16_t v) {
    const unsigned char b[2] = {std::uint8_t(v), std::uint8_t(v >> 8)};
    std::fwrite(b, 1, 2, f);
}

}  // namespace

void on_sound(int mod, void (*receive)(Key, const SoundPtr&), bool (*wants)(Key)) {
    receivers()[mod] = SoundReceiver{receive, wants};
}

void deliver_sound(Key from, const SoundPtr& sound) {
    for (const Key& to : destinations(from)) {
        auto it = receivers().find(to.mod);
        if (it != receivers().end()) it->second.receive(to, sound);
    }
}

bool sound_wanted(Key from) {
    for (const Key& to : destinations(from)) {
        auto it = receivers().find(to.mod);
        if (it != receivers().end() && (!it->second.wants || it->second.wants(to))) return true;
    }
    return false;
}

void on_sound_supply(int mod, SoundPtr (*take)(Key), bool (*ready)(Key)) { suppliers()[mod] = Supplier{take, ready}; }

SoundPtr take_sound(Key from) {
    auto it = suppliers().find(from.mod);
    return it == suppliers().end() ? nullptr : it->second.take(from);
}

bool sound_ready(Key from) {
    auto it = suppliers().find(from.mod);
    return it != suppliers().end() && it->second.ready(from);
}

const AUDIO_FRAME_S* lend_sound(const SoundPtr& sound, AUDIO_FRAME_S* out) {
    std::unique_ptr<Lent> l(new Lent);
    l->sound = sound;
    AUDIO_FRAME_S& d = l->desc;
    std::memset(&d, 0, sizeof d);
    const std::size_t frames = sound->frames();
    d.enBitwidth = AUDIO_BIT_WIDTH_16;
    d.enSoundmode = sound->channels == 2 ? AUDIO_SOUND_MODE_STEREO : AUDIO_SOUND_MODE_MONO;
    d.u64TimeStamp = sound->pts;
    d.u32Seq = sound->seq;
    d.u32Len = static_cast<HI_U32>(frames * sizeof(std::int16_t));
    const std::uint32_t channels = std::min<std::uint32_t>(sound->channels, 2);
    for (std::uint32_t c = 0; c < channels; ++c) {
        std::vector<std::int16_t>& p = l->planes[c];
        p.resize(std::max<std::size_t>(frames, 1));
        for (std::size_t i = 0; i < frames; ++i) p[i] = sound->samples[i * sound->channels + c];
        l->phys[c] = map_memory(p.data(), p.size() * sizeof(std::int16_t));
        d.pVirAddr[c] = p.data();
        d.u32PhyAddr[c] = l->phys[c];
    }
    const AUDIO_FRAME_S* desc = &l->desc;
    if (out) *out = l->desc;
    lent()[d.pVirAddr[0]] = std::move(l);
    return desc;
}

bool take_back_sound(const AUDIO_FRAME_S& frame) {
    auto it = lent().find(frame.pVirAddr[0]);
    if (it == lent().end()) return false;
    forget(*it->second);
    lent().erase(it);
    return true;
}

SoundPtr read_sound(const AUDIO_FRAME_S& f, std::uint32_t rate) {
    const std::uint32_t channels = f.enSoundmode == AUDIO_SOUND_MODE_STEREO ? 2 : 1;
    const std::size_t unit = f.enBitwidth == AUDIO_BIT_WIDTH_8 ? 1 : f.enBitwidth == AUDIO_BIT_WIDTH_16 ? 2 : 0;
    if (!unit || f.enSoundmode >= AUDIO_SOUND_MODE_BUTT || !f.pVirAddr[0] || (channels == 2 && !f.pVirAddr[1]))
        return nullptr;
    auto s = std::make_shared<Sound>();
    s->rate = rate;
    s->channels = channels;
    s->pts = f.u64TimeStamp;
    s->seq = f.u32Seq;
    const std::size_t frames = f.u32Len / unit;
    s->samples.resize(frames * channels);
    for (std::uint32_t c = 0; c < channels; ++c) {
        const auto* plane = static_cast<const std::uint8_t*>(f.pVirAddr[c]);
        for (std::size_t i = 0; i < frames; ++i) {
            std::int16_t v;
            if (unit == 1) v = static_cast<std::int16_t>(static_cast<std::int8_t>(plane[i]) * 256);
            else std::memcpy(&v, plane + 2 * i, 2);
            s->samples[i * channels + c] = v;
        }
    }
    return s;
}

void apply_gain(std::vector<std::int16_t>* samples, std::size_t from, double gain) {
    if (gain == 1.0) return;
    for (std::size_t i = from; i < samples->size(); ++i) (*samples)[i] = clamp16((*samples)[i] * gain);
}

bool voice_payload(PAYLOAD_TYPE_E t) {
    return t == PT_G711A || t == PT_G711U || t == PT_G726 || t == PT_ADPCMA || t == PT_LPCM;
}

VoiceCodec voice_codec(PAYLOAD_TYPE_E type, const void* member) {
    VoiceCodec c;
    c.type = type;
    if (type == PT_G726) c.g726 = static_cast<const AENC_ATTR_G726_S*>(member)->enG726bps;
    if (type == PT_ADPCMA) c.adpcm = static_cast<const AENC_ATTR_ADPCM_S*>(member)->enADPCMType;
    return c;
}

HI_S32 judge_voice(int mod, PAYLOAD_TYPE_E type, const void* member) {
    if (!voice_payload(type))
        return refuse(err(mod, NOT_SUPPORT), "payload %d is not built in (G711A, G711U, G726, ADPCMA, LPCM)", type);
    if (!member) return refuse(err(mod, NULL_PTR), "no codec attributes (pValue is null)");
    const VoiceCodec c = voice_codec(type, member);
    if (type == PT_G726 && (c.g726 < 0 || c.g726 >= static_cast<int>(G726_BUTT)))
        return refuse(err(mod, ILLEGAL_PARAM), "G.726 rate %d unknown", c.g726);
    if (type == PT_ADPCMA && (c.adpcm < 0 || c.adpcm >= static_cast<int>(ADPCM_TYPE_BUTT)))
        return refuse(err(mod, ILLEGAL_PARAM), "ADPCM type %d unknown", c.adpcm);
    return HI_SUCCESS;
}

bool voice_header(PAYLOAD_TYPE_E t) { return t == PT_G711A || t == PT_G711U || t == PT_G726 || t == PT_ADPCMA; }

std::unique_ptr<VoiceEncoder> make_own_encoder(const VoiceCodec& c) {
    if (c.type == PT_ADPCMA) return std::unique_ptr<VoiceEncoder>(new AdpcmEncoder(c.adpcm == ADPCM_TYPE_IMA));
    if (c.type == PT_LPCM) return std::unique_ptr<VoiceEncoder>(new LpcmEncoder);
    return nullptr;
}

std::unique_ptr<VoiceDecoder> make_own_decoder(const VoiceCodec& c) {
    if (c.type == PT_ADPCMA) return std::unique_ptr<VoiceDecoder>(new AdpcmDecoder(c.adpcm == ADPCM_TYPE_IMA));
    if (c.type == PT_LPCM) return std::unique_ptr<VoiceDecoder>(new LpcmDecoder);
    return nullptr;
}

// ---- WAV ------------------------------------------------------------------------------

WavWriter::WavWriter(FILE* f, std::uint32_t rate, std::uint32_t channels) : f_(f), rate_(rate), channels_(channels) {
    std::fwrite("RIFF", 1, 4, f_);
    put32(f_, 36);
    std::fwrite("WAVEfmt ", 1, 8, f_);
    put32(f_, 16);
    put16(f_, 1);  // PCM
    put16(f_, static_cast<std::uint16_t>(channels));
    put32(f_, rate);
    put32(f_, rate * channels * 2);
    put16(f_, static_cast<std::uint16_t>(channels * 2));
    put16(f_, 16);
    std::fwrite("data", 1, 4, f_);
    put32(f_, 0);
}

WavWriter::~WavWriter() { finish(); }

void WavWriter::write(const std::int16_t* samples, std::size_t count) {
    if (!f_) return;
    for (std::size_t i = 0; i < count; ++i) put16(f_, static_cast<std::uint16_t>(samples[i]));
    bytes_ += count * 2;
}

void WavWriter::silence(std::size_t frames) {
    const std::vector<std::int16_t> zero(frames * channels_, 0);
    write(zero.data(), zero.size());
}

void WavWriter::finish() {
    if (!f_) return;
    std::fseek(f_, 4, SEEK_SET);
    put32(f_, static_cast<std::uint32_t>(36 + bytes_));
    std::fseek(f_, 40, SEEK_SET);
    put32(f_, static_cast<std::uint32_t>(bytes_));
    std::fclose(f_);
    f_ = nullptr;
}

}  // namespace media
}  // namespace sim
