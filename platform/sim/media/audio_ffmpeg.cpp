// The voice codecs, resampling and audio files with FFmpeg: pcm_alaw and
// pcm_mulaw for G.711, adpcm_g726le and adpcm_g726 for G.726 (RFC 3551 and
// ASF bit packing), libswresample, libavformat.
extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/channel_layout.h>
#include <libavutil/opt.h>
#include <libswresample/swresample.h>
}

#include <cstring>

#include "media/audio.h"

namespace sim {
namespace media {
namespace {

int g726Bits(int bps) { return 2 + bps % 4; }  // 16, 24, 32, 40 kbit/s: 2 to 5 bits a sample

// The codec of a payload; G.726's RFC 3551 packing is the little-endian one.
AVCodecID codecOf(const VoiceCodec& c) {
    switch (c.type) {
    case PT_G711A: return AV_CODEC_ID_PCM_ALAW;
    case PT_G711U: return AV_CODEC_ID_PCM_MULAW;
    case PT_G726: return c.g726 >= static_cast<int>(MEDIA_G726_16K) ? AV_CODEC_ID_ADPCM_G726 : AV_CODEC_ID_ADPCM_G726LE;
    default: return AV_CODEC_ID_NONE;
    }
}

AVCodecContext* open(const AVCodec* codec, const VoiceCodec& c) {
    if (!codec) return nullptr;
    AVCodecContext* ctx = avcodec_alloc_context3(codec);
    if (!ctx) return nullptr;
    ctx->sample_rate = 8000;
    ctx->sample_fmt = AV_SAMPLE_FMT_S16;
    av_channel_layout_default(&ctx->ch_layout, 1);
    if (c.type == PT_G726) {
        ctx->bits_per_coded_sample = g726Bits(c.g726);
        ctx->bit_rate = 8000 * ctx->bits_per_coded_sample;
    }
    if (avcodec_open2(ctx, codec, nullptr) < 0) avcodec_free_context(&ctx);
    return ctx;
}

class Encoder : public VoiceEncoder {
public:
    Encoder(AVCodecContext* ctx) : ctx_(ctx), frame_(av_frame_alloc()), packet_(av_packet_alloc()) {}
    ~Encoder() override {
        av_packet_free(&packet_);
        av_frame_free(&frame_);
        avcodec_free_context(&ctx_);
    }
    bool encode(const std::int16_t* s, std::size_t n, std::vector<std::uint8_t>* out) override {
        av_frame_unref(frame_);
        frame_->format = AV_SAMPLE_FMT_S16;
        frame_->sample_rate = ctx_->sample_rate;
        frame_->nb_samples = static_cast<int>(n);
        av_channel_layout_copy(&frame_->ch_layout, &ctx_->ch_layout);
        if (av_frame_get_buffer(frame_, 0) < 0) return false;
        std::memcpy(frame_->data[0], s, n * sizeof *s);
        if (avcodec_send_frame(ctx_, frame_) < 0) return false;
        while (avcodec_receive_packet(ctx_, packet_) == 0) {
            out->insert(out->end(), packet_->data, packet_->data + packet_->size);
            av_packet_unref(packet_);
        }
        return true;
    }

private:
    AVCodecContext* ctx_;
    AVFrame* frame_;
    AVPacket* packet_;
};

class Decoder : public VoiceDecoder {
public:
    Decoder(AVCodecContext* ctx) : ctx_(ctx), frame_(av_frame_alloc()), packet_(av_packet_alloc()) {}
    ~Decoder() override {
        av_packet_free(&packet_);
        av_frame_free(&frame_);
        avcodec_free_context(&ctx_);
    }
    bool decode(const std::uint8_t* b, std::size_t n, std::vector<std::int16_t>* out) override {
        if (av_new_packet(packet_, static_cast<int>(n)) < 0) return false;
        std::memcpy(packet_->data, b, n);
        const int sent = avcodec_send_packet(ctx_, packet_);
        av_packet_unref(packet_);
        if (sent < 0) return false;
        while (avcodec_receive_frame(ctx_, frame_) == 0) {
            const auto* s = reinterpret_cast<const std::int16_t*>(frame_->data[0]);
            out->insert(out->end(), s, s + frame_->nb_samples);
            av_frame_unref(frame_);
        }
        return true;
    }

private:
    AVCodecContext* ctx_;
    AVFrame* frame_;
    AVPacket* packet_;
};

class Swr : public Resampler {
public:
    Swr(std::uint32_t in, std::uint32_t out, std::uint32_t channels) : out_rate_(out), channels_(channels) {
        AVChannelLayout layout;
        av_channel_layout_default(&layout, static_cast<int>(channels));
        swr_alloc_set_opts2(&swr_, &layout, AV_SAMPLE_FMT_S16, static_cast<int>(out), &layout, AV_SAMPLE_FMT_S16,
                            static_cast<int>(in), 0, nullptr);
        if (swr_ && swr_init(swr_) < 0) swr_free(&swr_);
        av_channel_layout_uninit(&layout);
    }
    ~Swr() override { swr_free(&swr_); }
    void convert(const std::int16_t* in, std::size_t frames, std::vector<std::int16_t>* out) override {
        if (!swr_) return;
        const int room = swr_get_out_samples(swr_, static_cast<int>(frames));
        if (room <= 0) return;
        const std::size_t at = out->size();
        out->resize(at + static_cast<std::size_t>(room) * channels_);
        std::uint8_t* dst = reinterpret_cast<std::uint8_t*>(out->data() + at);
        const std::uint8_t* src = reinterpret_cast<const std::uint8_t*>(in);
        const int made = swr_convert(swr_, &dst, room, &src, static_cast<int>(frames));
        out->resize(at + static_cast<std::size_t>(made > 0 ? made : 0) * channels_);
    }

private:
    SwrContext* swr_ = nullptr;
    std::uint32_t out_rate_, channels_;
};

}  // namespace

std::unique_ptr<VoiceEncoder> make_voice_encoder(const VoiceCodec& c) {
    if (auto own = make_own_encoder(c)) return own;
    AVCodecContext* ctx = open(avcodec_find_encoder(codecOf(c)), c);
    return ctx ? std::unique_ptr<VoiceEncoder>(new Encoder(ctx)) : nullptr;
}

std::unique_ptr<VoiceDecoder> make_voice_decoder(const VoiceCodec& c) {
    if (auto own = make_own_decoder(c)) return own;
    AVCodecContext* ctx = open(avcodec_find_decoder(codecOf(c)), c);
    return ctx ? std::unique_ptr<VoiceDecoder>(new Decoder(ctx)) : nullptr;
}

std::unique_ptr<Resampler> make_resampler(std::uint32_t in, std::uint32_t out, std::uint32_t channels) {
    return std::unique_ptr<Resampler>(new Swr(in, out, channels));
}

bool real_audio_codecs() { return true; }

// The first audio stream, decoded and converted as it goes.
bool read_audio_file(const std::string& path, std::uint32_t rate, std::uint32_t channels,
                     std::vector<std::int16_t>* out, std::string* why) {
    AVFormatContext* fmt = nullptr;
    if (avformat_open_input(&fmt, path.c_str(), nullptr, nullptr) < 0) {
        *why = "cannot open " + path;
        return false;
    }
    bool ok = false;
    AVCodecContext* dec = nullptr;
    SwrContext* swr = nullptr;
    AVPacket* packet = av_packet_alloc();
    AVFrame* frame = av_frame_alloc();
    AVChannelLayout layout;
    av_channel_layout_default(&layout, static_cast<int>(channels));
    const AVCodec* codec = nullptr;
    const int stream = avformat_find_stream_info(fmt, nullptr) < 0
                           ? -1
                           : av_find_best_stream(fmt, AVMEDIA_TYPE_AUDIO, -1, -1, &codec, 0);
    if (stream < 0 || !codec) {
        *why = path + " has no audio stream FFmpeg decodes";
    } else if (!(dec = avcodec_alloc_context3(codec)) ||
               avcodec_parameters_to_context(dec, fmt->streams[stream]->codecpar) < 0 ||
               avcodec_open2(dec, codec, nullptr) < 0) {
        *why = "cannot decode the audio of " + path;
    } else if (swr_alloc_set_opts2(&swr, &layout, AV_SAMPLE_FMT_S16, static_cast<int>(rate), &dec->ch_layout,
                                   dec->sample_fmt, dec->sample_rate, 0, nullptr) < 0 ||
               swr_init(swr) < 0) {
        *why = "cannot convert the audio of " + path;
    } else {
        ok = true;
        auto drain = [&](AVFrame* f) {
            const int room = swr_get_out_samples(swr, f ? f->nb_samples : 0) + 32;
            const std::size_t at = out->size();
            out->resize(at + static_cast<std::size_t>(room) * channels);
            std::uint8_t* dst = reinterpret_cast<std::uint8_t*>(out->data() + at);
            const int made = swr_convert(swr, &dst, room, f ? const_cast<const std::uint8_t**>(f->extended_data) : nullptr,
                                         f ? f->nb_samples : 0);
            out->resize(at + static_cast<std::size_t>(made > 0 ? made : 0) * channels);
        };
        auto receive = [&]() {
            while (avcodec_receive_frame(dec, frame) == 0) {
                drain(frame);
                av_frame_unref(frame);
            }
        };
        while (av_read_frame(fmt, packet) >= 0) {
            if (packet->stream_index == stream && avcodec_send_packet(dec, packet) >= 0) receive();
            av_packet_unref(packet);
        }
        avcodec_send_packet(dec, nullptr);
        receive();
        drain(nullptr);
    }
    av_channel_layout_uninit(&layout);
    swr_free(&swr);
    av_frame_free(&frame);
    av_packet_free(&packet);
    avcodec_free_context(&dec);
    avformat_close_input(&fmt);
    return ok;
}

}  // namespace media
}  // namespace sim
