// Weak fallbacks of the codec adapters, replaced by the codec files.
#include <cstring>

#include "media/media.h"

namespace sim {
namespace media {
namespace {

class Fallback : public Encoder {
public:
    explicit Fallback(const EncoderConfig& c) : c_(c) {}
    bool encode(const Picture& pic, bool idr, Encoded* out) override {
        const bool key = idr || n_ % (c_.gop ? c_.gop : 1) == 0;
        ++n_;
        out->bytes.clear();
        out->packs.clear();
        out->keyframe = key;
        auto nal = [&](int type, std::uint8_t header) {
            const std::size_t at = out->bytes.size();
            const std::uint8_t bytes[] = {0, 0, 0, 1, header, static_cast<std::uint8_t>(pic.data.empty() ? 0 : pic.data[0]),
                                          static_cast<std::uint8_t>(n_)};
            out->bytes.insert(out->bytes.end(), bytes, bytes + sizeof bytes);
            out->packs.push_back(Pack{type, at, sizeof bytes});
        };
        if (key) {
            nal(H264E_NALU_SPS, 0x67);
            nal(H264E_NALU_PPS, 0x68);
            nal(H264E_NALU_IDRSLICE, 0x65);
        } else {
            nal(H264E_NALU_PSLICE, 0x41);
        }
        return true;
    }

private:
    EncoderConfig c_;
    std::uint32_t n_ = 0;
};

}  // namespace

__attribute__((weak)) std::unique_ptr<Encoder> make_encoder(const EncoderConfig& c) {
    return std::unique_ptr<Encoder>(new Fallback(c));
}

__attribute__((weak)) std::unique_ptr<Decoder> make_decoder(PAYLOAD_TYPE_E) { return nullptr; }

__attribute__((weak)) bool real_codecs() { return false; }

__attribute__((weak)) void scale(const Picture& in, const RECT_S* crop, Picture* out) {
    const std::uint32_t cx = crop ? crop->s32X : 0, cy = crop ? crop->s32Y : 0;
    const std::uint32_t cw = crop ? crop->u32Width : in.width, ch = crop ? crop->u32Height : in.height;
    for (std::uint32_t p = 0; p < out->planes && p < in.planes; ++p)
        for (std::uint32_t y = 0; y < out->rows[p]; ++y) {
            const std::uint32_t sy = (cy * in.rows[p] / in.height) + y * (ch * in.rows[p] / in.height) / out->rows[p];
            for (std::uint32_t x = 0; x < out->width; x += p ? 2 : 1) {
                const std::uint32_t sx = (cx + x * cw / out->width) & (p ? ~1u : ~0u);
                out->plane(p)[y * out->stride[p] + x] = in.plane(p)[sy * in.stride[p] + sx];
                if (p) out->plane(p)[y * out->stride[p] + x + 1] = in.plane(p)[sy * in.stride[p] + sx + 1];
            }
        }
}

}  // namespace media
}  // namespace sim
