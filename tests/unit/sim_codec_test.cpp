// The emulated audio codec device behind tessel_dev_*.
#include <cerrno>
#include <fcntl.h>

#include "acodec.h"
#include "sim_test_util.h"
#include "tessel_dev.h"

namespace {

class SimCodec : public SimTest {
protected:
    void SetUp() override {
        SimTest::SetUp();
        fd = tessel_dev_open(ACODEC_DEVICE_PATH, O_RDWR);
        ASSERT_GE(fd, 0);
        ASSERT_EQ(last().name, "open");  // opening the codec is journaled too
        sim::journal_clear();
    }
    void TearDown() override {
        tessel_dev_close(fd);
        SimTest::TearDown();
    }
    int fd = -1;
};

TEST(AcodecRequests, HaveTheDriverNumbers) {
    EXPECT_EQ(ACODEC_RESET, 0x00004100ul);
    EXPECT_EQ(ACODEC_SET_INPUT_VOLUME, 0xC0044102ul);
    EXPECT_EQ(ACODEC_GET_OUTPUT_VOLUME, 0xC0044105ul);
    EXPECT_EQ(ACODEC_SELECT_SOURCE, 0xC0044108ul);
    EXPECT_EQ(ACODEC_SET_DAC_GAIN_LEFT, 0xC008410Ful);
    EXPECT_EQ(ACODEC_SET_ADC_GAIN_RIGHT, 0xC0084112ul);
    EXPECT_EQ(ACODEC_DAC_SOFT_UNMUTE, 0xC0044119ul);
    EXPECT_EQ(ACODEC_GET_ADC_GAIN_RIGHT, 0xC0084121ul);
    EXPECT_EQ(ACODEC_SET_I2S2_SAMPLE_RATE, 0xC0044135ul);
}

TEST_F(SimCodec, SetRequestsAreJournaledWithTheValueSent) {
    int vol = -12;
    EXPECT_EQ(tessel_dev_ioctl(fd, ACODEC_SET_INPUT_VOLUME, &vol), 0);
    ACODEC_GAIN_S gain = {0, 1};
    EXPECT_EQ(tessel_dev_ioctl(fd, ACODEC_SET_DAC_GAIN_LEFT, &gain), 0);
    ASSERT_EQ(sim::journal_size(), 2u);
    const sim::Entry& e = sim::journal_entry(0);
    EXPECT_EQ(e.name, "ioctl");
    ASSERT_EQ(e.args.size(), 2u);
    EXPECT_EQ(e.args[0].i, 0xC0044102ll);
    EXPECT_EQ(e.args[1].i, -12);
    EXPECT_EQ(e.ret.i, 0);
    const sim::Value& rec = last().args[1];
    ASSERT_EQ(rec.kind, sim::Value::Seq);
    EXPECT_EQ(rec.items[0].i, 0);
    EXPECT_EQ(rec.items[1].i, 1);
}

TEST_F(SimCodec, GetRequestsReadTheRegistersTheSetsWrote) {
    int vol = 6, got = 0;
    tessel_dev_ioctl(fd, ACODEC_SET_OUTPUT_VOLUME, &vol);
    EXPECT_EQ(tessel_dev_ioctl(fd, ACODEC_GET_OUTPUT_VOLUME, &got), 0);
    EXPECT_EQ(got, 6);
    EXPECT_EQ(last().args[1].i, 6);
    ACODEC_GAIN_S set = {3, 0}, out = {-1, -1};
    tessel_dev_ioctl(fd, ACODEC_SET_ADC_GAIN_RIGHT, &set);
    tessel_dev_ioctl(fd, ACODEC_GET_ADC_GAIN_RIGHT, &out);
    EXPECT_EQ(out.gain, 3);
    EXPECT_EQ(out.mute, 0);
    tessel_dev_ioctl(fd, ACODEC_GET_ADC_GAIN_LEFT, &out);  // other side untouched
    EXPECT_EQ(out.gain, 0);
}

TEST_F(SimCodec, ResetRequestAndSimulatorResetClearRegisters) {
    int vol = 20, got = -1;
    tessel_dev_ioctl(fd, ACODEC_SET_INPUT_VOLUME, &vol);
    EXPECT_EQ(tessel_dev_ioctl(fd, ACODEC_RESET, nullptr), 0);
    EXPECT_EQ(last().args.size(), 2u);
    EXPECT_EQ(last().args[1].kind, sim::Value::Nil);
    tessel_dev_ioctl(fd, ACODEC_GET_INPUT_VOLUME, &got);
    EXPECT_EQ(got, 0);
    tessel_dev_ioctl(fd, ACODEC_SET_INPUT_VOLUME, &vol);
    sim::reset();
    tessel_dev_ioctl(fd, ACODEC_GET_INPUT_VOLUME, &got);
    EXPECT_EQ(got, 0);
}

TEST_F(SimCodec, FaultsAndUnknownRequestsFail) {
    int vol = 5, got = 0;
    sim::fail("ioctl", -1, 1);
    EXPECT_EQ(tessel_dev_ioctl(fd, ACODEC_SET_INPUT_VOLUME, &vol), -1);
    EXPECT_EQ(last().ret.i, -1);
    tessel_dev_ioctl(fd, ACODEC_GET_INPUT_VOLUME, &got);
    EXPECT_EQ(got, 0);  // the faulted set changed nothing
    errno = 0;
    EXPECT_EQ(tessel_dev_ioctl(fd, _IOWR('A', 0x60, int), &vol), -1);
    EXPECT_EQ(errno, ENOTTY);
    EXPECT_EQ(tessel_dev_ioctl(fd, ACODEC_SET_INPUT_VOLUME, nullptr), -1);
}

TEST_F(SimCodec, RefusedRequestsSayWhyAndCountAsRefusals) {
    const size_t before = sim::refusals_count();
    int vol = 90;
    EXPECT_EQ(tessel_dev_ioctl(fd, ACODEC_SET_INPUT_VOLUME, &vol), -1);
    EXPECT_EQ(errno, EINVAL);
    EXPECT_EQ(last().reason, "input volume (dB) 90 outside [-78, 80] (EINVAL)");
    ACODEC_GAIN_S gain = {0, 2};
    EXPECT_EQ(tessel_dev_ioctl(fd, ACODEC_SET_ADC_GAIN_RIGHT, &gain), -1);
    EXPECT_EQ(last().reason, "right ADC mute 2 outside [0, 1] (EINVAL)");
    EXPECT_EQ(sim::refusals_count(), before + 2);
    EXPECT_EQ(sim::last_refusal(), "ioctl: right ADC mute 2 outside [0, 1] (EINVAL)");
    vol = 0;
    EXPECT_EQ(tessel_dev_ioctl(fd, ACODEC_SET_INPUT_VOLUME, &vol), 0);
    EXPECT_TRUE(last().reason.empty());
    sim::fail("ioctl", -1, 1);
    tessel_dev_ioctl(fd, ACODEC_SET_INPUT_VOLUME, &vol);
    EXPECT_TRUE(last().injected);
}

TEST_F(SimCodec, OtherPathsReachTheRealSystem) {
    int other = tessel_dev_open("/dev/null", O_RDWR);
    ASSERT_GE(other, 0);
    int v = 0;
    EXPECT_EQ(tessel_dev_ioctl(other, ACODEC_SET_INPUT_VOLUME, &v), -1);  // not a codec
    EXPECT_EQ(sim::journal_size(), 0u);
    EXPECT_EQ(tessel_dev_close(other), 0);
    EXPECT_EQ(tessel_dev_open("/nonexistent/acodec", O_RDWR), -1);
}

}  // namespace
