// The simulator core: error codes, tracked VENC channels, the journal's
// forms, fault injection and reset.
#include <cstring>

#include "sim/types.h"
#include "sim_test_util.h"

namespace {

using simtest::h264Cbr;

TEST(SimErrors, CodesMatchThePlatformMacros) {
    EXPECT_EQ(sim::err(HI_ID_VENC, sim::EXIST), (HI_S32)0xA0088004);
    EXPECT_EQ(sim::err(HI_ID_VENC, sim::UNEXIST), HI_ERR_VENC_UNEXIST);
    EXPECT_EQ(sim::err(HI_ID_SYS, sim::SYS_NOTREADY), HI_ERR_SYS_NOTREADY);
    EXPECT_EQ(sim::err(HI_ID_VB, sim::NOBUF), HI_ERR_VB_NOBUF);
    EXPECT_EQ(sim::err(HI_ID_VPSS, sim::BUSY), HI_ERR_VPSS_BUSY);
    EXPECT_EQ(sim::err(HI_ID_VDEC, sim::NULL_PTR), HI_ERR_VDEC_NULL_PTR);
    EXPECT_EQ(sim::err(HI_ID_VOU, sim::INVALID_DEVID), HI_ERR_VO_INVALID_DEVID);
    EXPECT_EQ(sim::err(HI_ID_VIU, sim::SYS_NOTREADY), HI_ERR_VI_SYS_NOTREADY);
    EXPECT_EQ(sim::err(HI_ID_RGN, sim::NOMEM), HI_ERR_RGN_NOMEM);
    EXPECT_EQ(sim::err(HI_ID_AI, sim::NOBUF), HI_ERR_AI_NOBUF);
    EXPECT_EQ(sim::err(HI_ID_AO, sim::NOT_PERM), HI_ERR_AO_NOT_PERM);
}

using SimVenc = SimTest;

TEST_F(SimVenc, CreatingAChannelTwiceReportsExists) {
    VENC_CHN_ATTR_S a = h264Cbr(1920);
    EXPECT_EQ(HI_MPI_VENC_CreateChn(3, &a), HI_SUCCESS);
    EXPECT_EQ((HI_U32)HI_MPI_VENC_CreateChn(3, &a), 0xA0088004u);
    ASSERT_NE(sim::find({HI_ID_VENC, 0, 3}), nullptr);
    VENC_CHN_ATTR_S stored;
    ASSERT_TRUE(sim::find({HI_ID_VENC, 0, 3})->get("ChnAttr", &stored));
    EXPECT_EQ(stored.stVeAttr.stAttrH264e.u32PicWidth, 1920u);
}

TEST_F(SimVenc, CallsOnChannelsNeverCreatedReportMissing) {
    VENC_CHN_ATTR_S a;
    EXPECT_EQ((HI_U32)HI_MPI_VENC_StartRecvPic(5), 0xA0088005u);
    EXPECT_EQ((HI_U32)HI_MPI_VENC_GetChnAttr(5, &a), 0xA0088005u);
    EXPECT_EQ((HI_U32)HI_MPI_VENC_DestroyChn(5), 0xA0088005u);
    EXPECT_EQ(HI_MPI_VENC_StartRecvPic(128), HI_ERR_VENC_INVALID_CHNID);
    EXPECT_EQ(HI_MPI_VENC_CreateChn(-1, &a), HI_ERR_VENC_INVALID_CHNID);
    EXPECT_EQ(HI_MPI_VENC_CreateChn(1, nullptr), HI_ERR_VENC_NULL_PTR);
}

TEST_F(SimVenc, DestroyedChannelsCanBeCreatedAgain) {
    VENC_CHN_ATTR_S a = h264Cbr(640);
    ASSERT_EQ(HI_MPI_VENC_CreateChn(7, &a), HI_SUCCESS);
    EXPECT_EQ(HI_MPI_VENC_DestroyChn(7), HI_SUCCESS);
    EXPECT_EQ(HI_MPI_VENC_DestroyChn(7), HI_ERR_VENC_UNEXIST);
    EXPECT_EQ(HI_MPI_VENC_CreateChn(7, &a), HI_SUCCESS);
}

TEST_F(SimTest, RefusalsSayWhyAndRequestedFailuresAreMarked) {
    EXPECT_EQ(HI_MPI_VENC_StartRecvPic(5), HI_ERR_VENC_UNEXIST);
    EXPECT_EQ(last().reason, "VENC 0/5 does not exist");
    EXPECT_FALSE(last().injected);
    // what is not simulated says so, a handle or an address with it
    EXPECT_EQ(HI_MPI_VB_Handle2PhysAddr(0), 0xFFFFFFFFu);
    EXPECT_EQ(last().reason, "HI_MPI_VB_Handle2PhysAddr is not simulated");
    sim::fail("HI_MPI_VENC_Query", (HI_S32)0xA0FE8042, 1);
    HI_MPI_VENC_Query(5, nullptr);
    EXPECT_TRUE(last().injected);
    EXPECT_STREQ(last().reason.c_str(), sim::kInjectedReason);
    // the words of a code answered without a reason of its own
    EXPECT_EQ(sim::code_reason(HI_ERR_VENC_UNEXIST), "HI_ERR_VENC_UNEXIST: does not exist");
    EXPECT_EQ(sim::code_reason((HI_S32)0xA0FE8042), "0xA0FE8042: a code the platform does not define");
}

TEST_F(SimTest, ModulesWithoutBehaviourAnswerNotSupported) {
    EXPECT_EQ(HI_MPI_VDA_DestroyChn(0), sim::err(HI_ID_VDA, sim::NOT_SUPPORT));
    EXPECT_EQ(HI_MPI_AENC_RegeisterEncoder(nullptr, nullptr), sim::err(HI_ID_AENC, sim::NOT_SUPPORT));
    EXPECT_EQ(HI_MPI_ADEC_RegeisterDecoder(nullptr, nullptr), sim::err(HI_ID_ADEC, sim::NOT_SUPPORT));
}

using SimJournal = SimTest;

TEST_F(SimJournal, InputStructuresAreDecodedByFieldName) {
    VENC_CHN_ATTR_S a = h264Cbr(1280);
    HI_MPI_VENC_CreateChn(3, &a);
    const sim::Entry& e = last();
    EXPECT_EQ(e.name, "HI_MPI_VENC_CreateChn");
    ASSERT_EQ(e.args.size(), 2u);
    EXPECT_EQ(e.args[0].i, 3);
    EXPECT_EQ(e.ret.i, 0);
    const sim::Value& attr = e.args[1];
    EXPECT_EQ(at(attr, {"stVeAttr", "enType"})->i, PT_H264);
    EXPECT_EQ(at(attr, {"stVeAttr", "stAttrH264e", "u32PicWidth"})->i, 1280);
    EXPECT_EQ(at(attr, {"stVeAttr", "stAttrH264e", "bByFrame"})->i, 1);
    EXPECT_EQ(at(attr, {"stRcAttr", "stAttrH264Cbr", "u32Gop"})->i, 30);
    // only the union member that the type field selects
    EXPECT_EQ(at(attr, {"stVeAttr", "stAttrJpege"}), nullptr);
    EXPECT_EQ(at(attr, {"stRcAttr", "stAttrH265Cbr"}), nullptr);
}

TEST_F(SimJournal, NullPointersAreNilAndStillCounted) {
    HI_MPI_VENC_CreateChn(4, nullptr);
    EXPECT_EQ(last().args.size(), 2u);
    EXPECT_EQ(last().args[1].kind, sim::Value::Nil);
    EXPECT_EQ((HI_U32)last().ret.i, (HI_U32)HI_ERR_VENC_NULL_PTR);
}

TEST_F(SimJournal, NamedAndTypedefUnionsFollowTheirSelector) {
    RGN_ATTR_S rgn;
    std::memset(&rgn, 0, sizeof rgn);
    rgn.enType = OVERLAYEX_RGN;
    rgn.unAttr.stOverlayEx.u32BgColor = 0x7c00;
    sim::Value v = sim::decode(sim::ti::RGN_ATTR_S, &rgn);
    EXPECT_EQ(at(v, {"unAttr", "stOverlayEx", "u32BgColor"})->i, 0x7c00);
    EXPECT_EQ(at(v, {"unAttr", "stOverlay"}), nullptr);

    VI_USERPIC_ATTR_S pic;
    std::memset(&pic, 0, sizeof pic);
    pic.enUsrPicMode = VI_USERPIC_MODE_BGC;
    pic.unUsrPic.stUsrPicBg.u32BgColor = 0xff;
    v = sim::decode(sim::ti::VI_USERPIC_ATTR_S, &pic);
    EXPECT_EQ(at(v, {"unUsrPic", "stUsrPicBg", "u32BgColor"})->i, 0xff);

    pic.enUsrPicMode = VI_USERPIC_MODE_BUTT;  // no member selected: left out
    v = sim::decode(sim::ti::VI_USERPIC_ATTR_S, &pic);
    EXPECT_EQ(v.field("unUsrPic"), nullptr);
    EXPECT_NE(v.field("bPub"), nullptr);
}

TEST_F(SimJournal, ArraysBecomeSequencesAndCharArraysStrings) {
    VB_CONF_S conf;
    std::memset(&conf, 0, sizeof conf);
    conf.u32MaxPoolCnt = 2;
    conf.astCommPool[1].u32BlkSize = 4096;
    std::strcpy(conf.astCommPool[1].acMmzName, "ddr1");
    sim::Value v = sim::decode(sim::ti::VB_CONF_S, &conf);
    const sim::Value* pools = v.field("astCommPool");
    ASSERT_EQ(pools->kind, sim::Value::Seq);
    ASSERT_EQ(pools->items.size(), (size_t)VB_MAX_COMM_POOLS);
    EXPECT_EQ(pools->items[1].field("u32BlkSize")->i, 4096);
    EXPECT_EQ(pools->items[1].field("acMmzName")->s, "ddr1");
    EXPECT_EQ(pools->items[0].field("acMmzName")->s, "");

    VENC_PARAM_H265_TRANS_S trans;
    std::memset(&trans, 0, sizeof trans);
    trans.InterScalingList8X8[1][5] = 9;
    v = sim::decode(sim::ti::VENC_PARAM_H265_TRANS_S, &trans);
    const sim::Value* rows = v.field("InterScalingList8X8");
    ASSERT_EQ(rows->items.size(), 2u);
    EXPECT_EQ(rows->items[1].items[5].i, 9);
}

TEST_F(SimJournal, OutputsAreWhatTheCallWrote) {
    VENC_CHN_ATTR_S a = h264Cbr(352);
    HI_BOOL flag = HI_TRUE;
    {
        sim::Call c("HI_MPI_VENC_GetChnAttr", 3);
        c.num(0, 1);
        c.out(1, &a, sim::ti::VENC_CHN_ATTR_S, true);
        c.at(2, &flag, true);
        c.ret(0);
    }
    EXPECT_EQ(at(last().args[1], {"stVeAttr", "stAttrH264e", "u32PicWidth"})->i, 352);
    EXPECT_EQ(last().args[2].i, 1);
    {
        sim::Call c("HI_MPI_VENC_GetChnAttr", 2);  // a failed call wrote nothing
        c.out(1, &a, sim::ti::VENC_CHN_ATTR_S, false);
        c.ret(HI_ERR_VENC_UNEXIST);
    }
    EXPECT_EQ(last().args[1].kind, sim::Value::Nil);
    // through a stub: a Get on a missing channel journals its output as nil
    HI_MPI_VENC_GetChnAttr(9, &a);
    EXPECT_EQ(last().args[1].kind, sim::Value::Nil);
    EXPECT_EQ(last().ret.i, HI_ERR_VENC_UNEXIST);
}

using SimFaults = SimTest;

TEST_F(SimFaults, PendingFaultsAnswerTheGivenTimesAndChangeNothing) {
    VENC_CHN_ATTR_S a = h264Cbr(720);
    sim::fail("HI_MPI_VENC_CreateChn", HI_ERR_VENC_NOMEM, 2);
    EXPECT_EQ(HI_MPI_VENC_CreateChn(0, &a), HI_ERR_VENC_NOMEM);
    EXPECT_EQ(HI_MPI_VENC_CreateChn(0, &a), HI_ERR_VENC_NOMEM);
    EXPECT_EQ(sim::find({HI_ID_VENC, 0, 0}), nullptr);
    EXPECT_EQ(HI_MPI_VENC_CreateChn(0, &a), HI_SUCCESS);
    ASSERT_EQ(sim::journal_size(), 3u);
    EXPECT_EQ(sim::journal_entry(0).ret.i, HI_ERR_VENC_NOMEM);
    EXPECT_EQ(at(sim::journal_entry(0).args[1], {"stVeAttr", "enType"})->i, PT_H264);
    EXPECT_EQ(sim::journal_entry(2).ret.i, 0);
}

TEST_F(SimFaults, FaultsApplyOnlyToTheirFunction) {
    sim::fail("HI_MPI_VENC_DestroyChn", 0, 1);  // even success: nothing destroyed
    VENC_CHN_ATTR_S a = h264Cbr(720);
    ASSERT_EQ(HI_MPI_VENC_CreateChn(2, &a), HI_SUCCESS);
    EXPECT_EQ(HI_MPI_VENC_DestroyChn(2), 0);
    EXPECT_NE(sim::find({HI_ID_VENC, 0, 2}), nullptr);
    EXPECT_EQ(HI_MPI_VENC_DestroyChn(2), HI_SUCCESS);
    EXPECT_EQ(sim::find({HI_ID_VENC, 0, 2}), nullptr);
}

TEST_F(SimFaults, KnownFunctionsAreTheExportedOnes) {
    EXPECT_TRUE(sim::known_function("HI_MPI_SYS_Init"));
    EXPECT_TRUE(sim::known_function("HI_MPI_HDMI_Start"));
    EXPECT_TRUE(sim::known_function("ioctl"));
    EXPECT_FALSE(sim::known_function("HI_MPI_IVE_DMA"));
    EXPECT_FALSE(sim::known_function("HI_MPI_SYS_Nope"));
}

TEST_F(SimTest, ResetReturnsToPowerOn) {
    static int hooks = 0;
    static bool registered = false;
    if (!registered) sim::on_reset([] { ++hooks; });
    registered = true;
    VENC_CHN_ATTR_S a = h264Cbr(720);
    HI_MPI_VENC_CreateChn(1, &a);
    sim::bind({HI_ID_VPSS, 0, 1}, {HI_ID_VENC, 0, 1});
    sim::fail("HI_MPI_VENC_CreateChn", HI_ERR_VENC_BUSY, 5);
    const int before = hooks;
    sim::reset();
    EXPECT_EQ(hooks, before + 1);
    EXPECT_EQ(sim::journal_size(), 0u);
    EXPECT_EQ(sim::find({HI_ID_VENC, 0, 1}), nullptr);
    sim::Key src;
    EXPECT_FALSE(sim::source_of({HI_ID_VENC, 0, 1}, &src));
    EXPECT_EQ(HI_MPI_VENC_CreateChn(1, &a), HI_ERR_VENC_SYS_NOTREADY);  // the system is down again
    startSystem();
    EXPECT_EQ(HI_MPI_VENC_CreateChn(1, &a), HI_SUCCESS);  // fault gone
}

TEST_F(SimTest, ClearEmptiesTheJournalAndKeepsState) {
    VENC_CHN_ATTR_S a = h264Cbr(720);
    HI_MPI_VENC_CreateChn(1, &a);
    sim::journal_clear();
    EXPECT_EQ(sim::journal_size(), 0u);
    EXPECT_EQ(HI_MPI_VENC_CreateChn(1, &a), HI_ERR_VENC_EXIST);
}

}  // namespace

namespace {

using SimFindings = SimTest;

TEST_F(SimFindings, BlocksHeldAtPoolExitAreReportedAndTheExitStillSucceeds) {
    VB_BLK blk = HI_MPI_VB_GetBlock(VB_INVALID_POOLID, 1024, nullptr);
    ASSERT_NE(blk, VB_INVALID_HANDLE);
    ASSERT_EQ(HI_MPI_SYS_Exit(), HI_SUCCESS);
    ASSERT_EQ(HI_MPI_VB_Exit(), HI_SUCCESS);
    ASSERT_EQ(sim::findings_kept(), 1u);
    const sim::Finding& f = sim::finding_kept(0);
    EXPECT_EQ(f.rule, "blocks-held-at-exit");
    EXPECT_EQ(f.call, "HI_MPI_VB_Exit");
    EXPECT_EQ(f.index, 3u);  // GetBlock, SYS_Exit, VB_Exit
    EXPECT_NE(f.message.find("1 block(s) still held at VB exit"), std::string::npos);
}

TEST_F(SimFindings, TheJournalDropsTheOldestEntriesBeyondItsBound) {
    sim::journal_set_limit(2);
    for (int i = 0; i < 5; ++i) HI_MPI_SYS_CloseFd();
    HI_MPI_SYS_GetCurPts(nullptr);
    EXPECT_EQ(sim::journal_size(), 2u);
    EXPECT_EQ(sim::journal_dropped(), 4u);
    EXPECT_EQ(last().name, "HI_MPI_SYS_GetCurPts");
    sim::journal_set_limit(1024);
}

}  // namespace
