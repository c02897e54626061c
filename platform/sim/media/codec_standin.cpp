// Stand-in codecs and scaler for builds without FFmpeg (the 32-bit ARM
// build): streams of the platform's shape, no real compression.
//
// The encoder writes, for each picture, the packs a real encoder would:
// H.264 SPS, PPS and an IDR slice every gop pictures (and when asked), else
// one P slice; H.265 VPS, SPS, PPS and IDR, or P; JPEG and MJPEG one pack
// from FF D8 to FF D9. Each NAL unit is a start code, the header of its type
// and a few bytes: the parameter sets carry the picture size, the slices a
// checksum of the picture, so equal pictures give equal bytes.
//
// The decoder makes one grey picture for each picture it finds: a slice that
// starts a picture (H.264, H.265) or an end-of-image marker (JPEG), as soon
// as those bytes arrive. The size is the one the stand-in parameter sets (or
// a JPEG frame header) carry, else 16x16. It refuses bytes as the FFmpeg
// build does: NAL unit headers the payload cannot have, a JPEG stream that
// does not begin with its start marker.
//
// The scaler picks the nearest sample.
#include <cstring>

#include "media/bitstream.h"
#include "media/media.h"

namespace sim {
namespace media {
namespace {

constexpr std::uint8_t kStart[] = {0, 0, 0, 1};

std::uint64_t checksum(const Picture& pic) {
    std::uint64_t h = 1469598103934665603ull;  // FNV-1a
    for (std::uint8_t b : pic.bytes()) h = (h ^ b) * 1099511628211ull;
    return h;
}

// A value as bytes that never hold zero, so no start code appears inside a
// unit: four bits in each, high bit set.
void put_nibbles(std::vector<std::uint8_t>* b, std::uint64_t v, int count) {
    for (int i = count - 1; i >= 0; --i) b->push_back((std::uint8_t)(0x80 | ((v >> (4 * i)) & 0xf)));
}

std::uint64_t get_nibbles(const std::uint8_t* b, int count) {
    std::uint64_t v = 0;
    for (int i = 0; i < count; ++i) v = v << 4 | (b[i] & 0xf);
    return v;
}

class StandinEncoder : public Encoder {
public:
    explicit StandinEncoder(const EncoderConfig& c) : config_(c) {}

    bool encode(const Picture& pic, bool idr, Encoded* out) override {
        out->bytes.clear();
        out->packs.clear();
        std::uint64_t sum = checksum(pic);
        if (config_.type == PT_JPEG || config_.type == PT_MJPEG) {
            out->keyframe = true;
            jpeg(sum, out);
            return true;
        }
        bool h265 = config_.type == PT_H265;
        out->keyframe = idr || since_idr_ == 0 || since_idr_ >= std::max(config_.gop, 1u);
        since_idr_ = out->keyframe ? 1 : since_idr_ + 1;
        if (out->keyframe) {
            if (h265) unit(32, H265E_NALU_VPS, size_bytes(), out);
            unit(h265 ? 33 : 7, h265 ? (int)H265E_NALU_SPS : (int)H264E_NALU_SPS, size_bytes(), out);
            unit(h265 ? 34 : 8, h265 ? (int)H265E_NALU_PPS : (int)H264E_NALU_PPS, {0x80}, out);
        }
        // The slice's first byte says it starts a picture; then the checksum.
        std::vector<std::uint8_t> slice{0x80};
        put_nibbles(&slice, sum, 16);
        if (h265)
            unit(out->keyframe ? 19 : 1, out->keyframe ? H265E_NALU_IDRSLICE : H265E_NALU_PSLICE, slice, out);
        else
            unit(out->keyframe ? 5 : 1, out->keyframe ? H264E_NALU_IDRSLICE : H264E_NALU_PSLICE, slice, out);
        return true;
    }

private:
    std::vector<std::uint8_t> size_bytes() const {
        std::vector<std::uint8_t> b;
        put_nibbles(&b, config_.width, 4);
        put_nibbles(&b, config_.height, 4);
        return b;
    }

    void unit(int nal, int type, const std::vector<std::uint8_t>& payload, Encoded* out) {
        std::vector<std::uint8_t>& b = out->bytes;
        std::size_t at = b.size();
        b.insert(b.end(), kStart, kStart + 4);
        if (config_.type == PT_H265) {
            b.push_back((std::uint8_t)(nal << 1));
            b.push_back(1);
        } else {
            b.push_back((std::uint8_t)((nal == 1 ? 2 : 3) << 5 | nal));  // nal_ref_idc, type
        }
        b.insert(b.end(), payload.begin(), payload.end());
        out->packs.push_back(Pack{type, at, b.size() - at});
    }

    // SOI, a baseline frame header with the size, a comment with the
    // checksum, EOI.
    void jpeg(std::uint64_t sum, Encoded* out) {
        std::uint32_t w = config_.width, h = config_.height;
        out->bytes = {0xff, 0xd8, 0xff, 0xc0, 0x00, 0x11, 0x08, (std::uint8_t)(h >> 8), (std::uint8_t)h,
                      (std::uint8_t)(w >> 8), (std::uint8_t)w, 0x03, 0x01, 0x22, 0x00, 0x02, 0x11, 0x01,
                      0x03, 0x11, 0x01, 0xff, 0xfe, 0x00, 0x12};
        put_nibbles(&out->bytes, sum, 16);
        out->bytes.insert(out->bytes.end(), {0xff, 0xd9});
        out->packs.push_back(Pack{JPEGE_PACK_ECS, 0, out->bytes.size()});
    }

    EncoderConfig config_;
    std::uint32_t since_idr_ = 0;  // pictures since the last IDR; 0 before the first
};

class StandinDecoder : public Decoder {
public:
    explicit StandinDecoder(PAYLOAD_TYPE_E type) : type_(type) {}

    bool feed(const std::uint8_t* bytes, std::size_t size, std::uint64_t pts,
              std::vector<PicturePtr>* out) override {
        bool jpeg = type_ == PT_JPEG || type_ == PT_MJPEG;
        if (jpeg && !jpeg_start_.feed(bytes, size)) return false;
        held_.insert(held_.end(), bytes, bytes + size);
        bool ok = true;
        std::size_t used = jpeg ? scan_jpeg(pts, out) : scan_nal(pts, out, &ok);
        held_.erase(held_.begin(), held_.begin() + (std::ptrdiff_t)used);
        return ok;
    }

    void flush(std::vector<PicturePtr>*) override {
        held_.clear();
        jpeg_start_.restart();
    }

private:
    // Units whose first bytes have arrived; what follows the last start code
    // is kept until its header and first bytes are there too.
    std::size_t scan_nal(std::uint64_t pts, std::vector<PicturePtr>* out, bool* ok) {
        const std::uint8_t* b = held_.data();
        std::size_t n = held_.size(), len = 0, at = find_start_code(b, n, 0, &len);
        constexpr std::size_t kHead = 11;  // header and the size of a stand-in SPS
        for (; at < n; at = find_start_code(b, n, at + len, &len)) {
            if (at + len + kHead > n) return at;
            const std::uint8_t* u = b + at + len;
            *ok = *ok && valid_header(type_, u, kHead);
            int nal = nal_type(type_, u[0]);
            int sps = type_ == PT_H265 ? 33 : 7, head = type_ == PT_H265 ? 2 : 1;
            int type = pack_type(type_, nal);
            if (nal == sps && (u[head] & 0xf0) == 0x80 && (u[head + 7] & 0xf0) == 0x80) {
                width_ = (std::uint32_t)get_nibbles(u + head, 4);
                height_ = (std::uint32_t)get_nibbles(u + head + 4, 4);
            }
            bool slice = type_ == PT_H265 ? nal < 32 : (type == H264E_NALU_PSLICE || type == H264E_NALU_IDRSLICE);
            if (slice && starts_picture(type_, u)) grey(pts, out);
        }
        return n > 3 ? n - 3 : 0;  // a start code may be cut at the end
    }

    std::size_t scan_jpeg(std::uint64_t pts, std::vector<PicturePtr>* out) {
        std::size_t n = held_.size(), i = 0;
        for (; i + 1 < n; ++i) {
            if (held_[i] != 0xff) continue;
            std::uint8_t m = held_[i + 1];
            if (m >= 0xc0 && m <= 0xc2) {  // frame header: length, precision, height, width
                if (i + 9 > n) return i;
                height_ = (std::uint32_t)held_[i + 5] << 8 | held_[i + 6];
                width_ = (std::uint32_t)held_[i + 7] << 8 | held_[i + 8];
            } else if (m == 0xd9) {
                grey(pts, out);
            }
        }
        return i;
    }

    void grey(std::uint64_t pts, std::vector<PicturePtr>* out) {
        MutablePicture pic = Picture::make(width_ ? width_ : 16, height_ ? height_ : 16,
                                           PIXEL_FORMAT_YUV_SEMIPLANAR_420);
        if (!pic) return;
        std::memset(pic->bytes().data(), 128, pic->size());
        pic->pts = pts;
        out->push_back(pic);
    }

    PAYLOAD_TYPE_E type_;
    std::vector<std::uint8_t> held_;
    JpegStart jpeg_start_;
    std::uint32_t width_ = 0, height_ = 0;
};

// The sample of each plane nearest to each of out's, chroma samples taken
// in VU pairs. The rectangle's corner and size are even.
void nearest(const Picture& in, std::uint32_t x0, std::uint32_t y0, std::uint32_t w, std::uint32_t h,
             Picture* out) {
    for (std::uint32_t i = 0; i < 2; ++i) {
        std::uint32_t step = i ? 2 : 1;
        std::uint32_t sub = i && in.format == PIXEL_FORMAT_YUV_SEMIPLANAR_420 ? 2 : 1;
        std::uint32_t in_w = w / step, in_h = h / sub, out_w = out->width / step;
        for (std::uint32_t r = 0; r < out->rows[i]; ++r) {
            std::uint32_t sr = y0 / sub + r * in_h / out->rows[i];
            const std::uint8_t* src = in.plane(i) + (std::size_t)sr * in.stride[i] + x0;
            std::uint8_t* dst = out->plane(i) + (std::size_t)r * out->stride[i];
            for (std::uint32_t c = 0; c < out_w; ++c) std::memcpy(dst + c * step, src + c * in_w / out_w * step, step);
        }
    }
}

}  // namespace

std::unique_ptr<Encoder> make_encoder(const EncoderConfig& config) {
    bool known = config.type == PT_H264 || config.type == PT_H265 || config.type == PT_JPEG ||
                 config.type == PT_MJPEG;
    if (!known || config.width == 0 || config.height == 0) return nullptr;
    return std::make_unique<StandinEncoder>(config);
}

std::unique_ptr<Decoder> make_decoder(PAYLOAD_TYPE_E type) {
    bool known = type == PT_H264 || type == PT_H265 || type == PT_JPEG || type == PT_MJPEG;
    return known ? std::make_unique<StandinDecoder>(type) : nullptr;
}

bool real_codecs() { return false; }

void scale(const Picture& in, const RECT_S* crop, Picture* out) {
    auto semi = [](const Picture& p) {
        return (p.format == PIXEL_FORMAT_YUV_SEMIPLANAR_420 || p.format == PIXEL_FORMAT_YUV_SEMIPLANAR_422) &&
               p.planes == 2 && p.width && p.height;
    };
    if (!semi(in) || !semi(*out)) return;
    std::uint32_t x = 0, y = 0, w = in.width, h = in.height;
    if (crop) {
        x = std::min((std::uint32_t)std::max(crop->s32X, 0), in.width) & ~1u;
        y = std::min((std::uint32_t)std::max(crop->s32Y, 0), in.height) & ~1u;
        w = std::min(crop->u32Width, in.width - x);
        h = std::min(crop->u32Height, in.height - y);
    }
    w &= ~1u;  // whole chroma samples: a last odd row or column is left out
    h &= ~1u;
    if (w == 0 || h == 0 || out->width < 2) return;
    nearest(in, x, y, w, h, out);
}

}  // namespace media
}  // namespace sim
