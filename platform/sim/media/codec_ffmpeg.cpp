// The codec adapters and the scaler with FFmpeg: libx264, libx265 and mjpeg
// encode, h264, hevc and mjpeg decode, libswscale converts and scales.
//
// Encoders behave as the platform's do: no picture is held back (no
// B-frames, no lookahead), so each encode returns that picture's stream; an
// IDR, preceded by its parameter sets, comes every gop pictures and whenever
// one is asked for; the same pictures give the same bytes.
//
// Decoders cut the bytes they are fed into pictures with FFmpeg's parsers, so
// any chunking works; a picture is known to be complete when the next one
// begins, or at flush.
#include <algorithm>
#include <cmath>
#include <cstring>
#include <map>
#include <mutex>
#include <string>
#include <tuple>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavutil/log.h>
#include <libavutil/pixdesc.h>
#include <libswscale/swscale.h>
}

#include "media/bitstream.h"
#include "media/media.h"

namespace sim {
namespace media {
namespace {

// FFmpeg and the codecs it wraps report stream damage and settings on
// stderr; the simulator answers through its calls instead.
void quiet() {
    static std::once_flag once;
    std::call_once(once, [] { av_log_set_level(AV_LOG_QUIET); });
}

// ---- images -----------------------------------------------------------------------
// An image as libswscale takes it. The platform's semi-planar 4:2:2 (V before
// U) has no libswscale format: it is described as planar 4:2:2 with its one
// VU plane in data[1] (split), and the converter goes through planar planes.
struct Image {
    AVPixelFormat format = AV_PIX_FMT_NONE;
    int width = 0, height = 0;
    std::uint8_t* data[4] = {};
    int linesize[4] = {};
    bool split = false;
};

// The libswscale format of a platform format; NONE when there is none.
AVPixelFormat format_of(PIXEL_FORMAT_E f, bool* split) {
    *split = false;
    switch (f) {
    case PIXEL_FORMAT_YUV_SEMIPLANAR_420: return AV_PIX_FMT_NV21;
    case PIXEL_FORMAT_YUV_SEMIPLANAR_422: *split = true; return AV_PIX_FMT_YUV422P;
    default: return AV_PIX_FMT_NONE;
    }
}

// The crop rectangle of pic (all of it when crop is null), its corner and
// size made even so that chroma samples are whole (a last odd row or column
// is left out); false when nothing is left.
bool image_of(const Picture& pic, const RECT_S* crop, Image* out) {
    out->format = format_of(pic.format, &out->split);
    if (out->format == AV_PIX_FMT_NONE || pic.planes == 0 || pic.size() == 0) return false;
    std::int64_t x = 0, y = 0, w = pic.width, h = pic.height;
    if (crop) {
        x = std::min<std::int64_t>(std::max<std::int64_t>(crop->s32X, 0), pic.width) & ~1;
        y = std::min<std::int64_t>(std::max<std::int64_t>(crop->s32Y, 0), pic.height) & ~1;
        w = std::min<std::int64_t>(crop->u32Width, pic.width - x);
        h = std::min<std::int64_t>(crop->u32Height, pic.height - y);
    }
    w &= ~1;
    h &= ~1;
    if (w <= 0 || h <= 0) return false;
    const AVPixFmtDescriptor* d = av_pix_fmt_desc_get(out->format);
    out->width = (int)w;
    out->height = (int)h;
    for (std::uint32_t i = 0; i < pic.planes && i < 3; ++i) {
        std::int64_t px = i ? x >> d->log2_chroma_w : x, py = i ? y >> d->log2_chroma_h : y;
        std::int64_t step = i && pic.planes == 2 ? 2 : 1;  // interleaved chroma
        out->data[i] = const_cast<std::uint8_t*>(pic.plane(i)) + py * pic.stride[i] + px * step;
        out->linesize[i] = (int)pic.stride[i];
    }
    return true;
}

Image image_of(AVFrame* f) {
    Image im;
    im.format = (AVPixelFormat)f->format;
    im.width = f->width;
    im.height = f->height;
    for (int i = 0; i < 4; ++i) {
        im.data[i] = f->data[i];
        im.linesize[i] = f->linesize[i];
    }
    return im;
}

// Converts and scales with one libswscale context, made again only when the
// sizes or formats change.
class Converter {
public:
    Converter() = default;
    Converter(const Converter&) = delete;
    Converter& operator=(const Converter&) = delete;
    ~Converter() { sws_freeContext(ctx_); }

    bool run(Image in, const Image& out) {
        if (in.split) split(&in);
        Image to = out;
        if (out.split) {
            int cw = out.width / 2;
            chroma_out_.resize((std::size_t)cw * out.height * 2);
            to.data[1] = chroma_out_.data();
            to.data[2] = chroma_out_.data() + (std::size_t)cw * out.height;
            to.linesize[1] = to.linesize[2] = cw;
        }
        // (sws_getCachedContext would make a new context for every picture
        // of a full-range format.)
        Sizes sizes{in.width, in.height, in.format, to.width, to.height, to.format};
        if (!ctx_ || sizes != sizes_) {
            sws_freeContext(ctx_);
            ctx_ = sws_getContext(in.width, in.height, in.format, to.width, to.height, to.format, SWS_BILINEAR,
                                  nullptr, nullptr, nullptr);
            sizes_ = sizes;
        }
        if (!ctx_) return false;
        sws_scale(ctx_, in.data, in.linesize, 0, in.height, to.data, to.linesize);
        if (out.split) merge(to, out);
        return true;
    }

private:
    // Interleaved V and U into planes of their own.
    void split(Image* in) {
        int cw = in->width / 2;
        chroma_in_.resize((std::size_t)cw * in->height * 2);
        std::uint8_t* u = chroma_in_.data();
        std::uint8_t* v = u + (std::size_t)cw * in->height;
        for (int r = 0; r < in->height; ++r) {
            const std::uint8_t* vu = in->data[1] + (std::size_t)r * in->linesize[1];
            for (int c = 0; c < cw; ++c) {
                v[r * cw + c] = vu[2 * c];
                u[r * cw + c] = vu[2 * c + 1];
            }
        }
        in->data[1] = u;
        in->data[2] = v;
        in->linesize[1] = in->linesize[2] = cw;
    }
    static void merge(const Image& planar, const Image& out) {
        int cw = out.width / 2;
        for (int r = 0; r < out.height; ++r) {
            std::uint8_t* vu = out.data[1] + (std::size_t)r * out.linesize[1];
            const std::uint8_t* u = planar.data[1] + (std::size_t)r * cw;
            const std::uint8_t* v = planar.data[2] + (std::size_t)r * cw;
            for (int c = 0; c < cw; ++c) {
                vu[2 * c] = v[c];
                vu[2 * c + 1] = u[c];
            }
        }
    }

    using Sizes = std::tuple<int, int, AVPixelFormat, int, int, AVPixelFormat>;
    SwsContext* ctx_ = nullptr;
    Sizes sizes_;
    std::vector<std::uint8_t> chroma_in_, chroma_out_;
};

// ---- encoders ---------------------------------------------------------------------
// Cuts an Annex B stream into packs, one per NAL unit of a type the platform
// names; other units travel in the pack before them (or after, at the start).
void cut(PAYLOAD_TYPE_E payload, Encoded* out) {
    const std::uint8_t* b = out->bytes.data();
    std::size_t size = out->bytes.size(), len = 0;
    std::size_t at = find_start_code(b, size, 0, &len), lead = at;
    while (at < size) {
        std::size_t next_len = 0;
        std::size_t next = find_start_code(b, size, at + len, &next_len);
        int type = at + len < size ? pack_type(payload, nal_type(payload, b[at + len])) : -1;
        if (type >= 0) {
            out->packs.push_back(Pack{type, lead, next - lead});
        } else if (!out->packs.empty()) {
            out->packs.back().length = next - out->packs.back().offset;
        }
        if (type >= 0 || !out->packs.empty()) lead = next;
        at = next;
        len = next_len;
    }
}

// libx264 and libx265 take the same settings under different names: both
// are given them as "key=value:..." lists.
std::string x26x_params(const EncoderConfig& c, bool h265, unsigned threads) {
    std::string p;
    auto add = [&p](const std::string& kv) { p += (p.empty() ? "" : ":") + kv; };
    unsigned gop = std::max(c.gop, 1u);
    add("repeat-headers=1");
    add("scenecut=0");
    add("keyint=" + std::to_string(gop));
    add("min-keyint=" + std::to_string(gop));
    add("bframes=0");
    add("rc-lookahead=0");
    std::string kbps = std::to_string(std::max(c.kbps, 1u));
    switch (c.rate) {
    case EncoderConfig::Cbr:
        add("bitrate=" + kbps);
        add("vbv-maxrate=" + kbps);
        add("vbv-bufsize=" + kbps);
        add(h265 ? "strict-cbr=1" : "nal-hrd=cbr");
        break;
    case EncoderConfig::Vbr:
    case EncoderConfig::Avbr:
        add("crf=23");
        add("vbv-maxrate=" + kbps);
        add("vbv-bufsize=" + kbps);
        break;
    case EncoderConfig::FixQp: {
        // The I pictures' QP follows from the P pictures' and their ratio.
        double ratio = std::pow(2.0, ((double)c.pqp - (double)c.iqp) / 6.0);
        add("qp=" + std::to_string(c.pqp));
        add("ipratio=" + std::to_string(ratio));
        break;
    }
    }
    if (c.rate != EncoderConfig::FixQp) {
        add("qpmin=" + std::to_string(c.minqp));
        add("qpmax=" + std::to_string(c.maxqp));
    }
    if (!h265 && c.profile >= 1) {
        // The stream names the profile its tools need: main takes CABAC,
        // high the 8x8 transform as well (the fastest preset uses neither).
        add("cabac=1");
        if (c.profile >= 2) add("8x8dct=1");
    }
    if (h265) {
        add("open-gop=0");  // keyframes are IDR pictures, not CRA
        add("log-level=none");
        add("info=0");
        add("frame-threads=1");
        add("const-vbv=1");
        add("pools=" + std::to_string(threads));
    }
    return p;
}

// The JPEG quantizer scale (1 finest to 31) for a quality factor (99 finest).
int jpeg_scale(std::uint32_t qfactor) {
    std::uint32_t q = std::min(std::max(qfactor, 1u), 99u);
    return (int)(1 + ((99 - q) * 30 + 49) / 98);
}

class FfmpegEncoder : public Encoder {
public:
    ~FfmpegEncoder() override {
        av_packet_free(&packet_);
        av_frame_free(&frame_);
        avcodec_free_context(&ctx_);
    }

    bool open(const EncoderConfig& c) {
        quiet();
        payload_ = c.type;
        bool h265 = c.type == PT_H265, jpeg = c.type == PT_JPEG || c.type == PT_MJPEG;
        const char* name = h265 ? "libx265" : jpeg ? "mjpeg" : "libx264";
        if (c.type != PT_H264 && !h265 && !jpeg) return false;
        const AVCodec* codec = avcodec_find_encoder_by_name(name);
        if (!codec || c.width == 0 || c.height == 0) return false;
        ctx_ = avcodec_alloc_context3(codec);
        packet_ = av_packet_alloc();
        frame_ = av_frame_alloc();
        if (!ctx_ || !packet_ || !frame_) return false;
        unsigned fps = std::max(c.fps, 1u);
        ctx_->width = (int)c.width;
        ctx_->height = (int)c.height;
        ctx_->time_base = AVRational{1, (int)fps};
        ctx_->framerate = AVRational{(int)fps, 1};
        ctx_->gop_size = (int)std::max(c.gop, 1u);
        ctx_->keyint_min = ctx_->gop_size;
        ctx_->max_b_frames = 0;
        ctx_->pix_fmt = jpeg ? AV_PIX_FMT_YUVJ420P : AV_PIX_FMT_YUV420P;
        // x264 makes one slice per thread: one thread keeps one slice a
        // picture and the bytes the same on every machine.
        unsigned threads = h265 ? 2 : 1;
        ctx_->thread_count = (int)threads;

        AVDictionary* opts = nullptr;
        if (jpeg) {
            if (c.type == PT_MJPEG && c.rate != EncoderConfig::FixQp) {
                ctx_->bit_rate = (std::int64_t)std::max(c.kbps, 1u) * 1000;
                if (c.rate == EncoderConfig::Cbr) {
                    ctx_->rc_max_rate = ctx_->bit_rate;
                    ctx_->rc_buffer_size = (int)ctx_->bit_rate;
                }
            } else {
                quality_ = jpeg_scale(c.qfactor) * FF_QP2LAMBDA;
                ctx_->flags |= AV_CODEC_FLAG_QSCALE;
                ctx_->global_quality = quality_;
            }
        } else {
            static const char* const profiles[] = {"baseline", "main", "high", "high"};
            av_dict_set(&opts, "preset", "ultrafast", 0);
            av_dict_set(&opts, "tune", "zerolatency", 0);
            av_dict_set(&opts, "profile", h265 ? "main" : profiles[std::min(c.profile, 3u)], 0);
            av_dict_set(&opts, "forced-idr", "1", 0);
            av_dict_set(&opts, h265 ? "x265-params" : "x264-params", x26x_params(c, h265, threads).c_str(), 0);
        }
        int r = avcodec_open2(ctx_, codec, &opts);
        av_dict_free(&opts);
        if (r < 0) return false;
        frame_->format = ctx_->pix_fmt;
        frame_->width = ctx_->width;
        frame_->height = ctx_->height;
        return av_frame_get_buffer(frame_, 0) >= 0;
    }

    bool encode(const Picture& pic, bool idr, Encoded* out) override {
        out->bytes.clear();
        out->packs.clear();
        out->keyframe = false;
        Image in;
        if (av_frame_make_writable(frame_) < 0 || !image_of(pic, nullptr, &in) ||
            !convert_.run(in, image_of(frame_)))
            return false;
        frame_->pts = count_++;
        frame_->pict_type = idr ? AV_PICTURE_TYPE_I : AV_PICTURE_TYPE_NONE;
        frame_->quality = quality_;
        if (avcodec_send_frame(ctx_, frame_) < 0) return false;
        for (;;) {
            int r = avcodec_receive_packet(ctx_, packet_);
            if (r == AVERROR(EAGAIN)) break;
            if (r < 0) return false;
            out->bytes.insert(out->bytes.end(), packet_->data, packet_->data + packet_->size);
            out->keyframe = out->keyframe || (packet_->flags & AV_PKT_FLAG_KEY);
            av_packet_unref(packet_);
        }
        if (payload_ == PT_H264 || payload_ == PT_H265)
            cut(payload_, out);
        else if (!out->bytes.empty())
            out->packs.push_back(Pack{JPEGE_PACK_ECS, 0, out->bytes.size()});
        return true;
    }

private:
    PAYLOAD_TYPE_E payload_ = PT_H264;
    AVCodecContext* ctx_ = nullptr;
    AVFrame* frame_ = nullptr;
    AVPacket* packet_ = nullptr;
    Converter convert_;
    std::int64_t count_ = 0;
    int quality_ = 0;
};

// ---- decoders ---------------------------------------------------------------------
// A decoded picture's planar 4:2:0 planes, held (a reference on the
// decoder's buffer) until the picture's bytes are made from them: the luma
// rows, then V and U interleaved.
class DecodedPlanes : public Origin {
public:
    explicit DecodedPlanes(const AVFrame* f) : frame_(av_frame_clone(f)) {
        for (int i = 0; frame_ && i < 3; ++i) {
            planes_.plane[i] = frame_->data[i];
            planes_.stride[i] = frame_->linesize[i];
        }
    }
    ~DecodedPlanes() override { av_frame_free(&frame_); }
    DecodedPlanes(const DecodedPlanes&) = delete;
    DecodedPlanes& operator=(const DecodedPlanes&) = delete;
    bool kept() const { return frame_ != nullptr; }

    void make(const Picture& pic, std::uint8_t* bytes) const override {
        const std::size_t w = pic.width;
        for (std::uint32_t r = 0; r < pic.rows[0]; ++r)
            std::memcpy(bytes + r * w, planes_.plane[0] + (std::ptrdiff_t)r * planes_.stride[0], w);
        for (std::uint32_t r = 0; r < pic.rows[1]; ++r) {
            std::uint8_t* d = bytes + pic.offset[1] + r * w;
            const std::uint8_t* u = planes_.plane[1] + (std::ptrdiff_t)r * planes_.stride[1];
            const std::uint8_t* v = planes_.plane[2] + (std::ptrdiff_t)r * planes_.stride[2];
            for (std::size_t x = 0; x + 1 < w; x += 2) {
                d[x] = v[x / 2];
                d[x + 1] = u[x / 2];
            }
            if (w & 1) d[w - 1] = v[w / 2];
        }
    }
    const Planes420* planes() const override { return &planes_; }

private:
    AVFrame* frame_;
    Planes420 planes_{};
};

// Bytes become pictures through the payload's parser, which finds where one
// picture's bytes end, and the decoder. Bytes are taken as another payload's
// (feed answers false) when a NAL unit has a header H.264 or H.265 cannot
// have, when a JPEG stream does not begin with its start marker (until
// flush), or when the JPEG decoder refuses an image. A damaged or cut start
// of a stream (slices before the first IDR) is skipped without complaint.
class FfmpegDecoder : public Decoder {
public:
    ~FfmpegDecoder() override {
        av_parser_close(parser_);
        av_packet_free(&packet_);
        av_frame_free(&frame_);
        avcodec_free_context(&ctx_);
    }

    bool open(PAYLOAD_TYPE_E type) {
        quiet();
        const char* name = type == PT_H264 ? "h264" : type == PT_H265 ? "hevc"
                         : type == PT_JPEG || type == PT_MJPEG ? "mjpeg" : nullptr;
        payload_ = type;
        codec_ = name ? avcodec_find_decoder_by_name(name) : nullptr;
        if (!codec_) return false;
        packet_ = av_packet_alloc();
        frame_ = av_frame_alloc();
        return packet_ && frame_ && restart();
    }

    bool feed(const std::uint8_t* bytes, std::size_t size, std::uint64_t pts,
              std::vector<PicturePtr>* out) override {
        if (payload_ != PT_H264 && payload_ != PT_H265 && !jpeg_start_.feed(bytes, size)) return false;
        bool ok = true;
        // The parser reads past what it is given: it takes a copy with the
        // padding FFmpeg asks for.
        padded_.assign(bytes, bytes + size);
        padded_.resize(size + AV_INPUT_BUFFER_PADDING_SIZE, 0);
        bytes = padded_.data();
        while (size > 0) {
            std::uint8_t* data = nullptr;
            int got = 0;
            int used = av_parser_parse2(parser_, ctx_, &data, &got, bytes, (int)std::min<std::size_t>(size, INT32_MAX),
                                        (std::int64_t)pts, AV_NOPTS_VALUE, 0);
            if (used < 0) return false;
            bytes += used;
            size -= (std::size_t)used;
            if (got > 0) ok = decode(data, got, parser_->pts, out) && ok;
        }
        return ok;
    }

    void flush(std::vector<PicturePtr>* out) override {
        std::uint8_t* data = nullptr;
        int got = 0;
        av_parser_parse2(parser_, ctx_, &data, &got, nullptr, 0, AV_NOPTS_VALUE, AV_NOPTS_VALUE, 0);
        if (got > 0) decode(data, got, parser_->pts, out);
        if (avcodec_send_packet(ctx_, nullptr) >= 0) receive(out);
        restart();  // ready for a stream to follow
        jpeg_start_.restart();
    }

private:
    bool restart() {
        av_parser_close(parser_);
        avcodec_free_context(&ctx_);
        parser_ = av_parser_init(codec_->id);
        ctx_ = avcodec_alloc_context3(codec_);
        if (!parser_ || !ctx_) return false;
        ctx_->thread_count = 1;  // no frame threads: no pictures held back
        return avcodec_open2(ctx_, codec_, nullptr) >= 0;
    }

    bool decode(std::uint8_t* data, int size, std::int64_t pts, std::vector<PicturePtr>* out) {
        packet_->data = data;
        packet_->size = size;
        packet_->pts = pts;
        bool ok = payload_ == PT_H264 || payload_ == PT_H265 ? valid_units(payload_, data, (std::size_t)size) : true;
        int r = avcodec_send_packet(ctx_, packet_);
        av_packet_unref(packet_);
        int e = receive(out);
        bool jpeg = payload_ == PT_JPEG || payload_ == PT_MJPEG;
        return ok && !(jpeg && (r == AVERROR_INVALIDDATA || e == AVERROR_INVALIDDATA));
    }

    // The platform's picture of a decoded frame: planar 4:2:0 kept as it is
    // until read, anything else converted now; null when that fails.
    MutablePicture picture_of(AVFrame* f) {
        const auto w = (std::uint32_t)f->width, h = (std::uint32_t)f->height;
        if (f->format == AV_PIX_FMT_YUV420P) {
            auto planes = std::make_shared<DecodedPlanes>(f);
            if (planes->kept()) return Picture::make(w, h, PIXEL_FORMAT_YUV_SEMIPLANAR_420, planes);
        }
        MutablePicture pic = Picture::make(w, h, PIXEL_FORMAT_YUV_SEMIPLANAR_420);
        Image to;
        return pic && image_of(*pic, nullptr, &to) && convert_.run(image_of(f), to) ? pic : nullptr;
    }

    // Pictures the decoder has ready, in the platform's format; the
    // decoder's error, if it ended with one.
    int receive(std::vector<PicturePtr>* out) {
        for (;;) {
            int r = avcodec_receive_frame(ctx_, frame_);
            if (r == AVERROR(EAGAIN) || r == AVERROR_EOF) return 0;
            if (r < 0) return r;
            MutablePicture pic = picture_of(frame_);
            if (pic) {
                std::int64_t t = frame_->best_effort_timestamp;
                pic->pts = t == AV_NOPTS_VALUE ? 0 : (std::uint64_t)t;
                out->push_back(pic);
            }
            av_frame_unref(frame_);
        }
    }

    const AVCodec* codec_ = nullptr;
    AVCodecParserContext* parser_ = nullptr;
    std::vector<std::uint8_t> padded_;  // the bytes fed, with the parser's padding
    AVCodecContext* ctx_ = nullptr;
    AVPacket* packet_ = nullptr;
    AVFrame* frame_ = nullptr;
    Converter convert_;
    PAYLOAD_TYPE_E payload_ = PT_H264;
    JpegStart jpeg_start_;
};

}  // namespace

std::unique_ptr<Encoder> make_encoder(const EncoderConfig& config) {
    auto e = std::make_unique<FfmpegEncoder>();
    if (!e->open(config)) return nullptr;
    return e;
}

std::unique_ptr<Decoder> make_decoder(PAYLOAD_TYPE_E type) {
    auto d = std::make_unique<FfmpegDecoder>();
    if (!d->open(type)) return nullptr;
    return d;
}

bool real_codecs() { return true; }

// One converter for each pair of sizes and formats seen.
void scale(const Picture& in, const RECT_S* crop, Picture* out) {
    static std::mutex lock;
    static std::map<std::tuple<int, int, int, int, int, int>, std::unique_ptr<Converter>> converters;
    Image from, to;
    if (!image_of(in, crop, &from) || !image_of(*out, nullptr, &to)) return;
    std::lock_guard<std::mutex> hold(lock);
    auto& c = converters[std::make_tuple(from.width, from.height, (int)in.format, to.width, to.height,
                                         (int)out->format)];
    if (!c) c = std::make_unique<Converter>();
    c->run(from, to);
}

}  // namespace media
}  // namespace sim
