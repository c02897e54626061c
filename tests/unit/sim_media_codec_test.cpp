// The media core's codec adapters and scaler: the shape of encoded streams
// (packs, parameter sets, IDR cadence), rate control, determinism, decoding
// in any chunking, and crop-and-scale. The FFmpeg build checks picture
// content too; the stand-in build only the shape.
#include <gtest/gtest.h>

#include <cmath>
#include <string>

#include "media/media.h"

namespace {

using namespace sim::media;

// A gradient sliding right and a bright box moving down-right: picture t of
// a sequence that changes everywhere.
MutablePicture pattern(std::uint32_t w, std::uint32_t h, int t,
                       PIXEL_FORMAT_E format = PIXEL_FORMAT_YUV_SEMIPLANAR_420) {
    MutablePicture p = Picture::make(w, h, format);
    for (std::uint32_t y = 0; y < h; ++y)
        for (std::uint32_t x = 0; x < w; ++x) {
            bool box = x - 4 * t < 48u && y - 2 * t < 48u;
            p->plane(0)[y * p->stride[0] + x] = (std::uint8_t)(box ? 220 : 16 + (x + 3 * t) % w * 180 / w);
        }
    for (std::uint32_t y = 0; y < p->rows[1]; ++y)
        for (std::uint32_t x = 0; x < w; ++x) p->plane(1)[y * p->stride[1] + x] = (std::uint8_t)(96 + (y + t) % 64);
    return p;
}

EncoderConfig config(PAYLOAD_TYPE_E type, std::uint32_t w = 320, std::uint32_t h = 240) {
    EncoderConfig c;
    c.type = type;
    c.width = w;
    c.height = h;
    c.gop = 16;
    c.kbps = 1000;
    return c;
}

// The stream of n pattern pictures; idr_at forces an IDR there.
std::vector<Encoded> encode(const EncoderConfig& c, int n, int idr_at = -1) {
    std::unique_ptr<Encoder> e = make_encoder(c);
    EXPECT_TRUE(e);
    std::vector<Encoded> out(e ? n : 0);
    for (int i = 0; i < (int)out.size(); ++i)
        EXPECT_TRUE(e->encode(*pattern(c.width, c.height, i), i == idr_at, &out[i])) << i;
    return out;
}

std::vector<std::uint8_t> joined(const std::vector<Encoded>& pics) {
    std::vector<std::uint8_t> b;
    for (const Encoded& e : pics) b.insert(b.end(), e.bytes.begin(), e.bytes.end());
    return b;
}

// Pictures decoded from bytes fed in chunks of the given size, then flushed.
std::vector<PicturePtr> decode(PAYLOAD_TYPE_E type, const std::vector<std::uint8_t>& bytes, std::size_t chunk) {
    std::unique_ptr<Decoder> d = make_decoder(type);
    std::vector<PicturePtr> pics;
    if (!d) {
        ADD_FAILURE() << "no decoder";
        return pics;
    }
    for (std::size_t at = 0; at < bytes.size(); at += chunk)
        EXPECT_TRUE(d->feed(bytes.data() + at, std::min(chunk, bytes.size() - at), at, &pics)) << at;
    d->flush(&pics);
    return pics;
}

// Of plane i (0 luma, 1 the VU pairs).
double psnr(const Picture& a, const Picture& b, int i = 0) {
    double sum = 0;
    for (std::uint32_t y = 0; y < a.rows[i]; ++y)
        for (std::uint32_t x = 0; x < a.width; ++x) {
            double d = (double)a.plane(i)[y * a.stride[i] + x] - b.plane(i)[y * b.stride[i] + x];
            sum += d * d;
        }
    double mse = sum / (a.width * a.rows[i]);
    return mse == 0 ? 99 : 10 * std::log10(255.0 * 255.0 / mse);
}

// The pack types of a picture, "7 8 5"; each pack must begin with a start
// code and the packs must cover the bytes in order.
std::string packs(const Encoded& e) {
    std::string s;
    std::size_t next = 0;
    for (const Pack& p : e.packs) {
        EXPECT_EQ(p.offset, next);
        EXPECT_GE(p.length, 4u);
        EXPECT_TRUE(e.bytes[p.offset] == 0 && e.bytes[p.offset + 1] == 0 &&
                    (e.bytes[p.offset + 2] == 1 || (e.bytes[p.offset + 2] == 0 && e.bytes[p.offset + 3] == 1)));
        next = p.offset + p.length;
        s += (s.empty() ? "" : " ") + std::to_string(p.type);
    }
    EXPECT_EQ(next, e.bytes.size());
    return s;
}

// Parameter sets, perhaps SEI, and an IDR slice on IDR pictures; P slices
// (perhaps after SEI) on the others; IDRs every gop and where forced.
void checkGop(PAYLOAD_TYPE_E type, const std::string& idr, const std::string& p, const std::string& sei) {
    std::vector<Encoded> pics = encode(config(type), 64, 40);
    ASSERT_EQ(pics.size(), 64u);
    for (int i = 0; i < 64; ++i) {
        bool want_idr = i < 40 ? i % 16 == 0 : (i - 40) % 16 == 0;  // the forced IDR restarts the count
        std::string got = packs(pics[i]), plain;
        for (std::size_t at = 0; at < got.size();) {  // SEI dropped
            std::size_t end = std::min(got.find(' ', at), got.size());
            std::string t = got.substr(at, end - at);
            if (t != sei) plain += (plain.empty() ? "" : " ") + t;
            at = end + 1;
        }
        EXPECT_EQ(plain, want_idr ? idr : p) << "picture " << i << ": " << got;
        EXPECT_EQ(pics[i].keyframe, want_idr) << i;
    }
}

TEST(SimMediaCodec, H264IdrEveryGopWithParameterSets) {
    checkGop(PT_H264, "7 8 5", "1", "6");
}

TEST(SimMediaCodec, H265IdrEveryGopWithParameterSets) {
    checkGop(PT_H265, "32 33 34 19", "1", "39");
}

TEST(SimMediaCodec, SamePicturesSameBytes) {
    for (PAYLOAD_TYPE_E type : {PT_H264, PT_H265, PT_MJPEG}) {
        EncoderConfig c = config(type);
        EXPECT_EQ(joined(encode(c, 20)), joined(encode(c, 20))) << type;
    }
}

TEST(SimMediaCodec, CbrHoldsTheTargetRate) {
    if (!real_codecs()) GTEST_SKIP() << "stand-in packs have no rate";
    for (PAYLOAD_TYPE_E type : {PT_H264, PT_H265}) {
        EncoderConfig c = config(type, 480, 272);
        c.kbps = 600;
        c.gop = 30;
        const int n = 240;  // 8 s
        double kbps = joined(encode(c, n)).size() * 8.0 / (n / 30.0) / 1000;
        EXPECT_NEAR(kbps, c.kbps, c.kbps * 0.15) << type;
    }
}

// I pictures take iqp, the others pqp.
TEST(SimMediaCodec, FixedQpFollowsTheQp) {
    if (!real_codecs()) GTEST_SKIP() << "stand-in packs have no rate";
    for (PAYLOAD_TYPE_E type : {PT_H264, PT_H265}) {
        EncoderConfig fine = config(type), coarse = config(type), mixed = config(type);
        fine.rate = coarse.rate = mixed.rate = EncoderConfig::FixQp;
        fine.iqp = fine.pqp = mixed.iqp = 20;
        coarse.iqp = coarse.pqp = mixed.pqp = 40;
        std::vector<Encoded> f = encode(fine, 4), c = encode(coarse, 4), m = encode(mixed, 4);
        EXPECT_GT(joined(f).size(), 1.5 * joined(c).size()) << type;
        EXPECT_NEAR(m[0].bytes.size(), f[0].bytes.size(), f[0].bytes.size() * 0.02) << type;
        EXPECT_LT(m[1].bytes.size(), f[1].bytes.size()) << type;
    }
}

TEST(SimMediaCodec, DecodesInAnyChunking) {
    for (PAYLOAD_TYPE_E type : {PT_H264, PT_H265}) {
        std::vector<Encoded> pics = encode(config(type), 64, 40);
        std::vector<PicturePtr> out = decode(type, joined(pics), 1000);
        ASSERT_EQ(out.size(), 64u) << type;
        for (std::size_t i = 0; i < out.size(); ++i) {
            EXPECT_EQ(out[i]->width, 320u);
            EXPECT_EQ(out[i]->height, 240u);
            EXPECT_EQ(out[i]->format, PIXEL_FORMAT_YUV_SEMIPLANAR_420);
            if (real_codecs()) {
                EXPECT_TRUE(out[i]->unmade()) << "a picture nobody read was converted";
                EXPECT_GT(psnr(*out[i], *pattern(320, 240, (int)i)), 28) << type << " " << i;
                EXPECT_GT(psnr(*out[i], *pattern(320, 240, (int)i), 1), 28) << type << " " << i;
            }
        }
    }
}

TEST(SimMediaCodec, JpegIsOnePictureOfItsSize) {
    EncoderConfig c = config(PT_JPEG, 176, 144);
    c.rate = EncoderConfig::FixQp;
    std::vector<Encoded> pics = encode(c, 1);
    ASSERT_EQ(pics.size(), 1u);
    const std::vector<std::uint8_t>& b = pics[0].bytes;
    ASSERT_EQ(pics[0].packs.size(), 1u);
    EXPECT_EQ(pics[0].packs[0].type, JPEGE_PACK_ECS);
    EXPECT_EQ(pics[0].packs[0].length, b.size());
    EXPECT_TRUE(b[0] == 0xff && b[1] == 0xd8 && b[b.size() - 2] == 0xff && b.back() == 0xd9);

    std::vector<PicturePtr> out = decode(PT_JPEG, b, 100);
    ASSERT_EQ(out.size(), 1u);
    EXPECT_EQ(out[0]->width, 176u);
    EXPECT_EQ(out[0]->height, 144u);
    if (real_codecs()) {
        EXPECT_GT(psnr(*out[0], *pattern(176, 144, 0)), 30);
    }
}

TEST(SimMediaCodec, RefusesAnotherPayloadsBytes) {
    std::vector<std::uint8_t> h265 = joined(encode(config(PT_H265), 2));
    std::vector<std::uint8_t> h264 = joined(encode(config(PT_H264), 2));
    std::vector<PicturePtr> out;
    EXPECT_FALSE(make_decoder(PT_H264)->feed(h265.data(), h265.size(), 0, &out));
    EXPECT_FALSE(make_decoder(PT_H265)->feed(h264.data(), h264.size(), 0, &out));
    // A JPEG stream must begin with its marker, however the bytes come.
    const std::uint8_t ff = 0xff, zero = 0;
    std::unique_ptr<Decoder> jpeg = make_decoder(PT_MJPEG);
    EXPECT_TRUE(jpeg->feed(&ff, 1, 0, &out));
    EXPECT_FALSE(jpeg->feed(&zero, 1, 0, &out));
    EXPECT_FALSE(jpeg->feed(h264.data(), h264.size(), 0, &out));
    EXPECT_TRUE(out.empty());
    // A stream joined after its start is taken (pictures come from the next
    // IDR on).
    std::vector<Encoded> pics = encode(config(PT_H264), 20);
    std::vector<std::uint8_t> late;
    for (int i = 5; i < 20; ++i) late.insert(late.end(), pics[i].bytes.begin(), pics[i].bytes.end());
    std::vector<PicturePtr> decoded = decode(PT_H264, late, 700);
    EXPECT_GE(decoded.size(), 4u);
}

TEST(SimMediaCodec, EncodesSemiPlanar422) {
    EncoderConfig c = config(PT_H264);
    std::unique_ptr<Encoder> e = make_encoder(c);
    Encoded pic;
    ASSERT_TRUE(e->encode(*pattern(320, 240, 0, PIXEL_FORMAT_YUV_SEMIPLANAR_422), false, &pic));
    std::vector<PicturePtr> out = decode(PT_H264, pic.bytes, pic.bytes.size());
    ASSERT_EQ(out.size(), 1u);
    if (real_codecs()) {
        EXPECT_GT(psnr(*out[0], *pattern(320, 240, 0)), 28);
    }
}

// Halves of different luma and chroma; the crop of the right half scaled
// down holds only the right half's values, in either semi-planar format.
TEST(SimMediaCodec, ScaleCropsAndConverts) {
    MutablePicture in = Picture::make(64, 48, PIXEL_FORMAT_YUV_SEMIPLANAR_420);
    for (std::uint32_t y = 0; y < 48; ++y)
        for (std::uint32_t x = 0; x < 64; ++x) in->plane(0)[y * 64 + x] = x < 32 ? 40 : 200;
    for (std::uint32_t y = 0; y < 24; ++y)
        for (std::uint32_t x = 0; x < 64; x += 2) {
            in->plane(1)[y * 64 + x] = x < 32 ? 60 : 100;       // V
            in->plane(1)[y * 64 + x + 1] = x < 32 ? 190 : 150;  // U
        }
    auto expectRightHalf = [](const Picture& out) {
        for (std::uint32_t i = 0; i < out.width * out.height; ++i) EXPECT_NEAR(out.plane(0)[i], 200, 2) << out.format;
        for (std::uint32_t r = 0; r < out.rows[1]; ++r)
            for (std::uint32_t x = 0; x < out.width; x += 2) {
                EXPECT_NEAR(out.plane(1)[r * out.stride[1] + x], 100, 2) << out.format;
                EXPECT_NEAR(out.plane(1)[r * out.stride[1] + x + 1], 150, 2) << out.format;
            }
    };
    RECT_S right{32, 0, 32, 48};
    MutablePicture out420 = Picture::make(16, 12, PIXEL_FORMAT_YUV_SEMIPLANAR_420);
    MutablePicture out422 = Picture::make(16, 12, PIXEL_FORMAT_YUV_SEMIPLANAR_422);
    scale(*in, &right, out420.get());
    scale(*in, &right, out422.get());
    expectRightHalf(*out420);
    expectRightHalf(*out422);
    // And back from 4:2:2.
    MutablePicture back = Picture::make(8, 6, PIXEL_FORMAT_YUV_SEMIPLANAR_420);
    scale(*out422, nullptr, back.get());
    expectRightHalf(*back);
    // Odd sizes stay inside their pictures (the last odd row and column are
    // left as they were).
    MutablePicture odd = Picture::make(15, 9, PIXEL_FORMAT_YUV_SEMIPLANAR_422);
    RECT_S odd_right{33, 1, 31, 47};
    scale(*in, &odd_right, odd.get());
    EXPECT_NEAR(odd->plane(0)[0], 200, 2);
    EXPECT_NEAR(odd->plane(1)[12], 100, 2);
    // Without a crop the whole picture is taken: both halves show.
    MutablePicture whole = Picture::make(16, 12, PIXEL_FORMAT_YUV_SEMIPLANAR_420);
    scale(*in, nullptr, whole.get());
    EXPECT_NEAR(whole->plane(0)[0], 40, 2);
    EXPECT_NEAR(whole->plane(0)[15], 200, 2);
}

}  // namespace
