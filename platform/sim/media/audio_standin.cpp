// The voice codecs and resampling of builds without FFmpeg: G.711 by its
// tables' rule, a stand-in for G.726 that keeps the top bits of each sample
// (the same frame sizes, the sound coarser), and linear interpolation.
// Such builds read no audio files.
#include <algorithm>

#include "media/audio.h"

namespace sim {
namespace media {
namespace {

std::uint8_t alaw(int pcm) {
    int mask = pcm >= 0 ? 0xD5 : 0x55;
    if (pcm < 0) pcm = -pcm - 1;
    static const int seg[8] = {0xFF, 0x1FF, 0x3FF, 0x7FF, 0xFFF, 0x1FFF, 0x3FFF, 0x7FFF};
    int s = 0;
    while (s < 8 && pcm > seg[s]) ++s;
    if (s >= 8) return static_cast<std::uint8_t>(0x7F ^ mask);
    int v = s << 4 | ((pcm >> (s < 2 ? 4 : s + 3)) & 0xF);
    return static_cast<std::uint8_t>(v ^ mask);
}

int unalaw(std::uint8_t a) {
    a ^= 0x55;
    int t = (a & 0xF) << 4;
    const int s = (a & 0x70) >> 4;
    t = s == 0 ? t + 8 : s == 1 ? t + 0x108 : (t + 0x108) << (s - 1);
    return (a & 0x80) ? t : -t;
}

std::uint8_t ulaw(int pcm) {
    const int bias = 0x84;
    int mask = 0xFF;
    if (pcm < 0) {
        pcm = -pcm;
        mask = 0x7F;
    }
    pcm = std::min(pcm, 32635) + bias;
    int s = 0;
    for (int v = pcm >> 7; v > 1 && s < 7; v >>= 1) ++s;
    return static_cast<std::uint8_t>((s << 4 | ((pcm >> (s + 3)) & 0xF)) ^ mask);
}

int unulaw(std::uint8_t u) {
    u = ~u;
    int t = ((u & 0xF) << 3) + 0x84;
    t <<= (u & 0x70) >> 4;
    return (u & 0x80) ? 0x84 - t : t - 0x84;
}

class G711Encoder : public VoiceEncoder {
public:
    explicit G711Encoder(bool a) : a_(a) {}
    bool encode(const std::int16_t* s, std::size_t n, std::vector<std::uint8_t>* out) override {
        for (std::size_t i = 0; i < n; ++i) out->push_back(a_ ? alaw(s[i]) : ulaw(s[i]));
        return true;
    }

private:
    bool a_;
};

class G711Decoder : public VoiceDecoder {
public:
    explicit G711Decoder(bool a) : a_(a) {}
    bool decode(const std::uint8_t* b, std::size_t n, std::vector<std::int16_t>* out) override {
        for (std::size_t i = 0; i < n; ++i) out->push_back(static_cast<std::int16_t>(a_ ? unalaw(b[i]) : unulaw(b[i])));
        return true;
    }

private:
    bool a_;
};

// The top bits of each sample, packed most significant first.
class CoarseEncoder : public VoiceEncoder {
public:
    explicit CoarseEncoder(int bits) : bits_(bits) {}
    bool encode(const std::int16_t* s, std::size_t n, std::vector<std::uint8_t>* out) override {
        unsigned acc = 0;
        int have = 0;
        for (std::size_t i = 0; i < n; ++i) {
            acc = acc << bits_ | (static_cast<std::uint16_t>(s[i]) >> (16 - bits_));
            for (have += bits_; have >= 8; have -= 8) out->push_back(static_cast<std::uint8_t>(acc >> (have - 8)));
        }
        if (have) out->push_back(static_cast<std::uint8_t>(acc << (8 - have)));
        return true;
    }

private:
    int bits_;
};

class CoarseDecoder : public VoiceDecoder {
public:
    explicit CoarseDecoder(int bits) : bits_(bits) {}
    bool decode(const std::uint8_t* b, std::size_t n, std::vector<std::int16_t>* out) override {
        unsigned acc = 0;
        int have = 0;
        for (std::size_t i = 0; i < n; ++i) {
            acc = acc << 8 | b[i];
            for (have += 8; have >= bits_; have -= bits_) {
                const unsigned v = (acc >> (have - bits_)) & ((1u << bits_) - 1);
                out->push_back(static_cast<std::int16_t>(v << (16 - bits_) | 1u << (15 - bits_)));
            }
        }
        return true;
    }

private:
    int bits_;
};

class Linear : public Resampler {
public:
    Linear(std::uint32_t in, std::uint32_t out, std::uint32_t channels) : step_(double(in) / out), channels_(channels) {}
    void convert(const std::int16_t* in, std::size_t frames, std::vector<std::int16_t>* out) override {
        for (; pos_ < static_cast<double>(frames); pos_ += step_) {
            const std::size_t i = static_cast<std::size_t>(pos_);
            const double f = pos_ - static_cast<double>(i);
            for (std::uint32_t c = 0; c < channels_; ++c) {
                const double a = in[i * channels_ + c];
                const double b = i + 1 < frames ? in[(i + 1) * channels_ + c] : a;
                out->push_back(static_cast<std::int16_t>(a + (b - a) * f));
            }
        }
        pos_ -= static_cast<double>(frames);
    }

private:
    double step_, pos_ = 0;
    std::uint32_t channels_;
};

int g726Bits(int bps) { return 2 + bps % 4; }

}  // namespace

std::unique_ptr<VoiceEncoder> make_voice_encoder(const VoiceCodec& c) {
    if (auto own = make_own_encoder(c)) return own;
    if (c.type == PT_G711A || c.type == PT_G711U) return std::unique_ptr<VoiceEncoder>(new G711Encoder(c.type == PT_G711A));
    if (c.type == PT_G726) return std::unique_ptr<VoiceEncoder>(new CoarseEncoder(g726Bits(c.g726)));
    return nullptr;
}

std::unique_ptr<VoiceDecoder> make_voice_decoder(const VoiceCodec& c) {
    if (auto own = make_own_decoder(c)) return own;
    if (c.type == PT_G711A || c.type == PT_G711U) return std::unique_ptr<VoiceDecoder>(new G711Decoder(c.type == PT_G711A));
    if (c.type == PT_G726) return std::unique_ptr<VoiceDecoder>(new CoarseDecoder(g726Bits(c.g726)));
    return nullptr;
}

std::unique_ptr<Resampler> make_resampler(std::uint32_t in, std::uint32_t out, std::uint32_t channels) {
    return std::unique_ptr<Resampler>(new Linear(in, out, channels));
}

bool real_audio_codecs() { return false; }

bool read_audio_file(const std::string&, std::uint32_t, std::uint32_t, std::vector<std::int16_t>*, std::string* why) {
    *why = "this build has no FFmpeg: it reads no audio files (sources are tones)";
    return false;
}

}  // namespace media
}  // namespace sim
