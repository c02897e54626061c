// The simulator's media core at the platform's interface: pictures flow from
// capture through processing into an encoder, in virtual time.
#include <poll.h>

#include <cstring>
#include <vector>

#include "media/media.h"
#include "sim_test_util.h"
#include "tessel_dev.h"

namespace {

class SimMediaFlow : public SimTest {
protected:
    void SetUp() override {
        SimTest::SetUp();
        sim::media::set_clock(sim::media::Clock::Virtual);
        ASSERT_TRUE(simtest::startCamera(320, 240, simtest::h264Cbr(320, 240, 512)));
    }
    void TearDown() override {
        sim::media::set_clock(sim::media::Clock::Real);
        SimTest::TearDown();
    }

    // Gets one encoded picture; its packs stay valid until released.
    static HI_S32 get(VENC_STREAM_S* s, std::vector<VENC_PACK_S>* packs, HI_S32 ms) {
        VENC_CHN_STAT_S stat;
        packs->assign(16, VENC_PACK_S{});
        std::memset(s, 0, sizeof *s);
        s->pstPack = packs->data();
        s->u32PackCount = static_cast<HI_U32>(packs->size());
        (void)HI_MPI_VENC_Query(0, &stat);
        return HI_MPI_VENC_GetStream(0, s, ms);
    }
};

TEST_F(SimMediaFlow, ABlockingReadMovesVirtualTimeOnePictureAtATime) {
    VENC_STREAM_S s;
    std::vector<VENC_PACK_S> packs;
    const std::int64_t start = sim::media::now();
    ASSERT_EQ(HI_SUCCESS, get(&s, &packs, -1));
    EXPECT_EQ(start, sim::media::now());  // the first picture is due at once
    EXPECT_EQ(static_cast<std::uint64_t>(start), packs[0].u64PTS);
    EXPECT_GE(s.u32PackCount, 2u);  // parameter sets before the first IDR
    EXPECT_EQ(HI_SUCCESS, HI_MPI_VENC_ReleaseStream(0, &s));
    std::uint64_t last = packs[0].u64PTS;
    for (int i = 1; i < 10; ++i) {
        ASSERT_EQ(HI_SUCCESS, get(&s, &packs, -1));
        EXPECT_EQ(last + 33333, packs[0].u64PTS);
        last = packs[0].u64PTS;
        EXPECT_EQ(HI_SUCCESS, HI_MPI_VENC_ReleaseStream(0, &s));
    }
    EXPECT_EQ(static_cast<std::int64_t>(last), sim::media::now());
}

TEST_F(SimMediaFlow, NonBlockingReadsAnswerBufferEmptyAndStreamsComeBackInOrder) {
    VENC_STREAM_S s, t;
    std::vector<VENC_PACK_S> a, b;
    ASSERT_EQ(HI_SUCCESS, get(&s, &a, -1));
    EXPECT_EQ(HI_ERR_VENC_BUF_EMPTY, get(&t, &b, 0));
    ASSERT_EQ(HI_SUCCESS, get(&t, &b, 100));  // 100 ms of virtual time hold three more pictures
    EXPECT_EQ(HI_ERR_VENC_ILLEGAL_PARAM, HI_MPI_VENC_ReleaseStream(0, &t));
    EXPECT_EQ(HI_SUCCESS, HI_MPI_VENC_ReleaseStream(0, &s));
    EXPECT_EQ(HI_SUCCESS, HI_MPI_VENC_ReleaseStream(0, &t));
    EXPECT_EQ(HI_ERR_VENC_ILLEGAL_PARAM, HI_MPI_VENC_ReleaseStream(0, &t));
}

TEST_F(SimMediaFlow, TheDescriptorPollsReadableExactlyWhileAPictureWaits) {
    const int fd = HI_MPI_VENC_GetFd(0);
    ASSERT_GE(fd, 0);
    struct pollfd p = {fd, POLLIN, 0};
    VENC_STREAM_S s;
    std::vector<VENC_PACK_S> packs;
    EXPECT_EQ(1, ::poll(&p, 1, 0));  // the first picture is due at once
    ASSERT_EQ(HI_SUCCESS, get(&s, &packs, 0));
    EXPECT_EQ(HI_SUCCESS, HI_MPI_VENC_ReleaseStream(0, &s));
    EXPECT_EQ(0, ::poll(&p, 1, 0));
    const std::int64_t before = sim::media::now();
    EXPECT_EQ(1, tessel_dev_poll(&p, 1, 1000));  // moves virtual time to the next picture
    EXPECT_EQ(before + 33333, sim::media::now());
    EXPECT_EQ(1, ::poll(&p, 1, 0));
    ASSERT_EQ(HI_SUCCESS, get(&s, &packs, 0));
    EXPECT_EQ(0, ::poll(&p, 1, 0));
    EXPECT_EQ(HI_SUCCESS, HI_MPI_VENC_ReleaseStream(0, &s));
}

TEST_F(SimMediaFlow, AnUnreadStreamBufferOverflowsAndSaysSo) {
    if (!sim::media::real_codecs()) GTEST_SKIP() << "stand-in packs are too small to fill a buffer";
    struct pollfd p = {HI_MPI_VENC_GetFd(0), POLLIN, 0};
    for (int i = 0; i < 200; ++i) tessel_dev_poll(&p, 0, 40);  // 8 s without reading
    bool reported = false;
    for (size_t i = 0; i < sim::findings_kept(); ++i)
        reported |= sim::finding_kept(i).rule == "stream-buffer-overflow";
    EXPECT_TRUE(reported);
}

TEST_F(SimMediaFlow, ProcessingChannelsLendPicturesThatMapBackToTheirBytes) {
    VIDEO_FRAME_INFO_S f;
    EXPECT_EQ(HI_ERR_VPSS_NOT_PERM, HI_MPI_VPSS_GetChnFrame(0, 0, &f, 0));  // depth 0
    ASSERT_EQ(HI_SUCCESS, HI_MPI_VPSS_SetDepth(0, 0, 2));
    ASSERT_EQ(HI_SUCCESS, HI_MPI_VPSS_GetChnFrame(0, 0, &f, -1));
    EXPECT_EQ(320u, f.stVFrame.u32Width);
    EXPECT_EQ(PIXEL_FORMAT_YUV_SEMIPLANAR_420, f.stVFrame.enPixelFormat);
    auto* y = static_cast<unsigned char*>(HI_MPI_SYS_Mmap(f.stVFrame.u32PhyAddr[0], 320 * 240));
    ASSERT_NE(nullptr, y);
    EXPECT_EQ(180, y[320 * 200 + 10]);  // the white bar, below the text
    EXPECT_EQ(HI_SUCCESS, HI_MPI_SYS_Munmap(y, 320 * 240));
    EXPECT_EQ(HI_SUCCESS, HI_MPI_VPSS_ReleaseChnFrame(0, 0, &f));
    EXPECT_EQ(HI_ERR_VPSS_ILLEGAL_PARAM, HI_MPI_VPSS_ReleaseChnFrame(0, 0, &f));
    EXPECT_EQ(nullptr, HI_MPI_SYS_Mmap(f.stVFrame.u32PhyAddr[0], 16));
}

}  // namespace

namespace {

TEST_F(SimMediaFlow, RegionsAreDrawnOnTheChannelsTheyAreAttachedTo) {
    RGN_ATTR_S cover;
    std::memset(&cover, 0, sizeof cover);
    cover.enType = COVER_RGN;
    ASSERT_EQ(HI_SUCCESS, HI_MPI_RGN_Create(1, &cover));
    RGN_CHN_ATTR_S at;
    std::memset(&at, 0, sizeof at);
    at.bShow = HI_TRUE;
    at.enType = COVER_RGN;
    at.unChnAttr.stCoverChn.stRect = {16, 16, 64, 32};
    at.unChnAttr.stCoverChn.u32Color = 0x00FF00;  // green
    MPP_CHN_S vpss = {HI_ID_VPSS, 0, 0};
    ASSERT_EQ(HI_SUCCESS, HI_MPI_RGN_AttachToChn(1, &vpss, &at));

    RGN_ATTR_S osd;
    std::memset(&osd, 0, sizeof osd);
    osd.enType = OVERLAYEX_RGN;
    osd.unAttr.stOverlayEx.enPixelFmt = PIXEL_FORMAT_RGB_1555;
    osd.unAttr.stOverlayEx.stSize = {16, 16};
    ASSERT_EQ(HI_SUCCESS, HI_MPI_RGN_Create(2, &osd));
    std::vector<unsigned short> white(16 * 16, 0xFFFF);
    BITMAP_S bitmap = {PIXEL_FORMAT_RGB_1555, 16, 16, white.data()};
    ASSERT_EQ(HI_SUCCESS, HI_MPI_RGN_SetBitMap(2, &bitmap));
    std::memset(&at, 0, sizeof at);
    at.bShow = HI_TRUE;
    at.enType = OVERLAYEX_RGN;
    at.unChnAttr.stOverlayExChn.stPoint = {200, 200};
    at.unChnAttr.stOverlayExChn.u32FgAlpha = 128;
    ASSERT_EQ(HI_SUCCESS, HI_MPI_RGN_AttachToChn(2, &vpss, &at));

    ASSERT_EQ(HI_SUCCESS, HI_MPI_VPSS_SetDepth(0, 0, 1));
    VIDEO_FRAME_INFO_S f;
    ASSERT_EQ(HI_SUCCESS, HI_MPI_VPSS_GetChnFrame(0, 0, &f, -1));
    const auto* y = static_cast<const unsigned char*>(f.stVFrame.pVirAddr[0]);
    EXPECT_EQ(144, y[32 * 320 + 40]);    // green's luma inside the cover
    EXPECT_EQ(235, y[208 * 320 + 208]);  // the opaque white overlay
    EXPECT_EQ(HI_SUCCESS, HI_MPI_VPSS_ReleaseChnFrame(0, 0, &f));
}

}  // namespace

namespace {

TEST_F(SimMediaFlow, PicturesLargerThanEveryPoolBlockAreReportedOncePerMaker) {
    VENC_STREAM_S s;
    std::vector<VENC_PACK_S> packs;
    for (int i = 0; i < 3; ++i) {
        ASSERT_EQ(HI_SUCCESS, get(&s, &packs, -1));
        ASSERT_EQ(HI_SUCCESS, HI_MPI_VENC_ReleaseStream(0, &s));
    }
    std::vector<std::string> makers;  // the pools hold 4096-byte blocks; a 320x240 picture needs 115200
    for (size_t i = 0; i < sim::findings_kept(); ++i)
        if (sim::finding_kept(i).rule == "pool-too-small") makers.push_back(sim::finding_kept(i).message.substr(0, 9));
    EXPECT_EQ((std::vector<std::string>{"VIU 0/0 m", "VPSS 0/0 "}), makers);
}

}  // namespace
